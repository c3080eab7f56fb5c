// The command line of tessel-fft-bench.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "command_line.hpp"

namespace tessel_bench {

struct Options {
  bool help = false;
  bool version = false;
  bool list = false;
  bool quick = false;
  int threads = 0;                  // 0: the hardware's thread count
  int runs = 0;                     // 0: chosen per case from its duration
  int sweep = 0;                    // shapes of a sweep; 0: the default suite
  std::uint64_t seed = 1;           // of the sweep's shapes
  std::vector<std::string> shapes;  // measured as a sweep measures its shapes, in place of drawn ones
  std::vector<std::string> cases;   // empty: all; each name once, in the order first given
  std::string jsonPath;             // "-": standard output, and the table goes to standard error
  std::string svgPath;
  std::string wisdomPath;  // imported before the run; empty: none
};

// Throws tessel_tools::UsageError for unknown options, missing or malformed values. Case names are checked by
// the caller, which knows them.
Options parseOptions(int argc, const char* const* argv);

std::string usageText();

}  // namespace tessel_bench
