#include "options.hpp"

#include <algorithm>

namespace tessel_bench {

using tessel_tools::UsageError;
using tessel_tools::wholeNumber;

Options parseOptions(int argc, const char* const* argv) {
  Options options;
  // A file name that is needed, or "-" where `dash` allows it.
  const auto path = [](std::string& target, const char* option, bool dash) {
    return tessel_tools::valued({option}, [&target, option, dash](const std::string& value) {
      if (value.empty() || (value == "-" && !dash))
        throw UsageError(std::string(option) + " needs a file name");
      target = value;
    });
  };
  const auto count = [](int& target, const char* option, int largest) {
    return tessel_tools::valued({option}, [&target, option, largest](const std::string& value) {
      target = static_cast<int>(wholeNumber(option, value, 1, static_cast<std::uint64_t>(largest)));
    });
  };
  const std::vector<tessel_tools::Option> table = {
      tessel_tools::flag({"-h", "--help"}, options.help),
      tessel_tools::flag({"--version"}, options.version),
      tessel_tools::flag({"--list"}, options.list),
      tessel_tools::flag({"--quick"}, options.quick),
      count(options.threads, "--threads", 1024),
      count(options.runs, "--runs", 10000),
      count(options.sweep, "--sweep", 100000),
      tessel_tools::valued({"--seed"},
                           [&](const std::string& value) { options.seed = wholeNumber("--seed", value, 0); }),
      // Comma-separated names, and the option may be repeated.
      tessel_tools::valued({"--case"},
                           [&](const std::string& value) {
                             for (const std::string& name : tessel_tools::split(value, ',')) {
                               if (name.empty())
                                 throw UsageError("--case wants case names, separated by commas");
                               if (std::find(options.cases.begin(), options.cases.end(), name) ==
                                   options.cases.end())
                                 options.cases.push_back(name);
                             }
                           }),
      tessel_tools::valued({"--shape"}, [&](const std::string& value) { options.shapes.push_back(value); }),
      path(options.jsonPath, "--json", true),
      path(options.wisdomPath, "--wisdom", true),
      path(options.svgPath, "--svg", false),
  };
  tessel_tools::parseCommandLine(argc, argv, table, [](const std::string& operand) {
    throw UsageError("unexpected argument '" + operand + "'");
  });
  return options;
}

std::string usageText() {
  return "Usage: tessel-fft-bench [options]\n"
         "\n"
         "Runs every transform family of tessel_fft beside the plain FFTW code that does the same job\n"
         "(one plan on the caller's arrays, plus the mirror or scaling loop the result needs), prints one\n"
         "table of median times, ratios and errors, and exits non-zero if any result differs from plain\n"
         "FFTW by more than the tolerance. Progress goes to stderr, the table to stdout. The output\n"
         "files are opened before the run, so a path that can't be written fails at once.\n"
         "\n"
         "Options:\n"
         "  --quick          small sizes and FFTW_ESTIMATE planning: a smoke test of a few seconds,\n"
         "                   whose timings are not meaningful\n"
         "  --threads N      thread budget of both sides (default: the hardware's thread count)\n"
         "  --case NAME      run only these cases (repeatable, or comma-separated; each runs once);\n"
         "                   see --list; with --sweep, the sweep's shapes s01, s02, ...\n"
         "  --list           list the cases and exit\n"
         "  --sweep N        instead of the cases, N shapes drawn at random from the space a host calls:\n"
         "                   r2c, c2r and c2c FFTs and the eight DCT/DST kinds on real and interleaved\n"
         "                   complex data, float and double, along the middle dimension of\n"
         "                   stride x n x blocks with n 8 to 65536 (powers of two, 17, 60, 101, 243,\n"
         "                   1009, 1536 and any), stride 1 to 4096 and inputs of 2 to 96 MB; each\n"
         "                   against one plain guru64 plan over the same arrays. A shape whose ratio\n"
         "                   reads above 1.05 is measured twice more with fresh plans and keeps the\n"
         "                   median of its three readings, shown beside them. Prints the table and\n"
         "                   the distribution of the ratios: geometric mean, p90, worst, and how many\n"
         "                   shapes are slower than plain FFTW, and how many are confirmed slow. Some\n"
         "                   2 to 7 s per shape, more for one measured again\n"
         "  --seed S         the sweep's shapes (default 1): a seed always draws the same shapes\n"
         "  --shape TEXT     instead of drawn shapes, this one, as the sweep's table writes it, e.g.\n"
         "                   --shape \"c2c inv f32 4096 x 100 x 24\" (repeatable); measured and\n"
         "                   confirmed as a sweep's shape\n"
         "  --runs N         timed runs per side and case (default: chosen from the case's duration)\n"
         "  --json FILE      also write the results and the run's context as JSON; FILE - writes\n"
         "                   them to stdout, and the table to stderr\n"
         "  --svg FILE       also write a bar chart of the ratios as SVG\n"
         "  --wisdom FILE    import FFTW wisdom from FILE (made by tessel-fft-wisdom) before the run,\n"
         "                   for both sides; the first-call column shows what it saves\n"
         "  --version        show the program's, the library's and FFTW's versions and exit\n"
         "  -h, --help       show this text and exit\n"
         "\n"
         "Exit status: 0 all cases within tolerance, 1 a case failed or a file could not be written,\n"
         "2 bad command line, an output file that can't be opened or a wisdom file that can't be\n"
         "imported.\n";
}

}  // namespace tessel_bench
