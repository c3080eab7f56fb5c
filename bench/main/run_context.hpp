// What a report says about where and with what it ran, so that runs on different machines and builds
// can be told apart: in the manner of Google Benchmark's "context".
#pragma once

#include <string>

namespace tessel_bench {

struct RunContext {
  std::string date;  // local time, ISO 8601 with offset
  std::string hostName;
  std::string executable;      // argv[0]
  std::string cpuModel;        // "model name" of /proc/cpuinfo, or "unknown CPU"
  int numCpus = 1;             // hardware threads
  double loadAverage[3] = {};  // 1, 5 and 15 minutes; -1 where unknown
  std::string libraryVersion;  // of the shared library loaded
  std::string headerVersion;   // of the headers the program was compiled against
  std::string buildType;       // the CMake build type of the program and its library
  std::string fftwVersion;
};

RunContext describeRun(const char* executable);

// "tessel-fft-bench 0.1.0 (library 0.1.0, Release build), fftw-3.3.10": the --version line.
std::string versionLine(const RunContext& context);

}  // namespace tessel_bench
