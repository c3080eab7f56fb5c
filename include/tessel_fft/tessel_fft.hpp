#pragma once

// The whole public interface of tessel_fft.
#include "tessel_fft/checked.hpp"
#include "tessel_fft/dcst.hpp"
#include "tessel_fft/dct_nd.hpp"
#include "tessel_fft/errors.hpp"
#include "tessel_fft/fft.hpp"
#include "tessel_fft/fft_kinds.hpp"
#include "tessel_fft/fft_nd.hpp"
#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/fftw_context.hpp"
#include "tessel_fft/interleaved.hpp"
#include "tessel_fft/plan_cache.hpp"
#include "tessel_fft/ready_caches.hpp"
#include "tessel_fft/version.hpp"
#include "tessel_fft/wisdom.hpp"
