#pragma once

namespace tessel_fft {

// Sets FFTW's planner thread count for precision T (float or double) under fftwApi's planner lock,
// after FFTW's threads have been initialised.
// Setting the count and the planning that follows are two critical sections: another thread may set a
// different count in between, and nothing guards against it.
template <typename T>
void planWithThreads(int numThreads);

}  // namespace tessel_fft
