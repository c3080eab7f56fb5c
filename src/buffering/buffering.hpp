// All data-movement kernels of the library: copies, transposes, submatrices and output reconstruction.
#pragma once

#include "buffering/copy.hpp"
#include "buffering/element_functors.hpp"
#include "buffering/output_reconstruction.hpp"
#include "buffering/submatrix.hpp"
#include "buffering/transpose.hpp"
