// The version this library was built as, for hosts to compare with the headers they compiled against.
#include "tessel_fft/version.hpp"

namespace tessel_fft {

const char* getLibraryVersion() { return TESSEL_FFT_VERSION_STRING; }

}  // namespace tessel_fft
