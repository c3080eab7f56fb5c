#include "options.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace tessel_bench {
namespace {

int positiveInt(const std::string& option, const std::string& text, int largest) {
  errno = 0;
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || errno != 0 || value < 1 || value > largest) {
    throw UsageError(option + " wants a whole number from 1 to " + std::to_string(largest) + ", not '" +
                     text + "'");
  }
  return static_cast<int>(value);
}

std::uint64_t unsignedValue(const std::string& option, const std::string& text) {
  errno = 0;
  char* end = nullptr;
  const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
  if (text.empty() || text[0] == '-' || *end != '\0' || errno != 0)
    throw UsageError(option + " wants a whole number from 0, not '" + text + "'");
  return value;
}

}  // namespace

Options parseOptions(int argc, const char* const* argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    // --name=value is accepted as well as --name value.
    std::string value;
    bool hasInlineValue = false;
    const std::size_t equals = argument.find('=');
    if (argument.rfind("--", 0) == 0 && equals != std::string::npos) {
      value = argument.substr(equals + 1);
      argument = argument.substr(0, equals);
      hasInlineValue = true;
    }
    const auto takeValue = [&]() -> std::string {
      if (hasInlineValue) return value;
      if (i + 1 >= argc) throw UsageError(argument + " needs a value");
      return argv[++i];
    };
    const auto noValue = [&] {
      if (hasInlineValue) throw UsageError(argument + " takes no value");
    };

    if (argument == "--help" || argument == "-h") {
      noValue();
      options.help = true;
    } else if (argument == "--version") {
      noValue();
      options.version = true;
    } else if (argument == "--list") {
      noValue();
      options.list = true;
    } else if (argument == "--quick") {
      noValue();
      options.quick = true;
    } else if (argument == "--threads") {
      options.threads = positiveInt(argument, takeValue(), 1024);
    } else if (argument == "--runs") {
      options.runs = positiveInt(argument, takeValue(), 10000);
    } else if (argument == "--sweep") {
      options.sweep = positiveInt(argument, takeValue(), 100000);
    } else if (argument == "--seed") {
      options.seed = unsignedValue(argument, takeValue());
    } else if (argument == "--case") {
      // Comma-separated names, and the option may be repeated.
      const std::string names = takeValue();
      std::size_t start = 0;
      while (start <= names.size()) {
        const std::size_t comma = std::min(names.find(',', start), names.size());
        const std::string name = names.substr(start, comma - start);
        if (name.empty()) throw UsageError("--case wants case names, separated by commas");
        if (std::find(options.cases.begin(), options.cases.end(), name) == options.cases.end())
          options.cases.push_back(name);
        start = comma + 1;
      }
    } else if (argument == "--json") {
      options.jsonPath = takeValue();
      if (options.jsonPath.empty()) throw UsageError("--json needs a file name");
    } else if (argument == "--wisdom") {
      options.wisdomPath = takeValue();
      if (options.wisdomPath.empty()) throw UsageError("--wisdom needs a file name");
    } else if (argument == "--svg") {
      options.svgPath = takeValue();
      if (options.svgPath.empty() || options.svgPath == "-") throw UsageError("--svg needs a file name");
    } else {
      throw UsageError("unknown option '" + std::string(argv[i]) + "'");
    }
  }
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
         "                   against one plain guru64 plan over the same arrays. Prints the table and\n"
         "                   the distribution of the ratios: geometric mean, p90, worst, and how many\n"
         "                   shapes are slower than plain FFTW. Some 2 to 7 s per shape\n"
         "  --seed S         the sweep's shapes (default 1): a seed always draws the same shapes\n"
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
