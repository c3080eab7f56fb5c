// tessel-fft-bench: every family of the library against the plain FFTW code that does the same job, in
// one process, with a self-check of the results. See --help.
#include <fftw3.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cases.hpp"
#include "command_line.hpp"
#include "measure.hpp"
#include "options.hpp"
#include "report.hpp"
#include "run_context.hpp"
#include "sweep.hpp"
#include "tessel_fft/fftw_api.hpp"
#include "tessel_fft/wisdom.hpp"
#include "workload.hpp"

namespace {

using namespace tessel_bench;
using tessel_tools::UsageError;

// Where a report goes: a file opened before the run, standard output for "-", or nowhere for "".
class ReportFile {
 public:
  // False if the path can't be opened for writing.
  bool open(const std::string& path) {
    path_ = path;
    if (path.empty() || path == "-") return true;
    file_ = std::make_unique<std::ofstream>(path);
    return static_cast<bool>(*file_);
  }
  bool wanted() const { return !path_.empty(); }
  std::ostream& stream() { return file_ ? *file_ : std::cout; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::unique_ptr<std::ofstream> file_;
};

int run(int argc, char** argv) {
  const Options options = parseOptions(argc, argv);
  if (options.help) {
    std::cout << usageText();
    return 0;
  }
  RunInfo info;
  info.context = describeRun(argc > 0 ? argv[0] : nullptr);
  if (options.version) {
    std::cout << versionLine(info.context) << '\n';
    return 0;
  }
  const std::vector<CaseDefinition> all = allCases();
  if (options.list) {
    listCases(std::cout, all);
    return 0;
  }

  // A sweep's shapes are cases too, named s01, s02, ...: --case picks some of them to run again.
  // Named shapes are measured as drawn ones are.
  std::vector<StridedProblem> named;
  for (const std::string& text : options.shapes) {
    named.emplace_back();
    if (!parseProblem(text, named.back())) throw UsageError("--shape: no shape in '" + text + "'");
  }
  const bool swept = options.sweep > 0 || !named.empty();
  const std::vector<CaseDefinition> pool =
      !named.empty()      ? sweepCases(named)
      : options.sweep > 0 ? sweepCases(drawProblems(sweepSpace(options.quick),
                                                    static_cast<std::uint64_t>(options.sweep), options.seed))
                          : all;
  const std::vector<CaseDefinition> selected = selectCases(pool, options.cases);
  ReportFile json, svg;
  if (!json.open(options.jsonPath)) throw UsageError("cannot open '" + options.jsonPath + "' for writing");
  if (!svg.open(options.svgPath)) throw UsageError("cannot open '" + options.svgPath + "' for writing");
  // With the JSON on stdout, the table goes where the progress goes.
  std::ostream& tableOut = options.jsonPath == "-" ? std::cerr : std::cout;

  info.config.quick = options.quick;
  info.config.threads = options.threads > 0 ? options.threads : info.context.numCpus;
  // A quick run checks, it doesn't measure: estimating keeps its planning to milliseconds.
  info.config.planFlags = options.quick ? FFTW_ESTIMATE : FFTW_MEASURE;

  // The library's tasks get the same budget as the plain side's FFTW threads.
  const tbb::global_control parallelism(tbb::global_control::max_allowed_parallelism,
                                        static_cast<std::size_t>(info.config.threads));
  // The library initialises FFTW's threads, which the plain side's plans use too, on first use.
  tessel_fft::fftwApi::getInstance();
  std::string wisdomError;
  if (!options.wisdomPath.empty() && !tessel_fft::importWisdomFromFile(options.wisdomPath, &wisdomError))
    throw UsageError("cannot import wisdom: " + wisdomError);
  info.config.wisdomPath = options.wisdomPath;

  MeasureSettings settings = swept ? sweepSettings() : MeasureSettings();
  settings.runs = options.runs;
  if (options.quick) {
    settings.secondsPerCase = 0;
    settings.minRuns = 3;
    settings.maxRuns = 3;
  }

  const auto suiteStart = std::chrono::steady_clock::now();
  std::vector<CaseResult> results;
  for (std::size_t i = 0; i < selected.size(); ++i) {
    const std::string label =
        "[" + std::to_string(i + 1) + "/" + std::to_string(selected.size()) + "] " + selected[i].name + ":";
    results.push_back(measureCase(selected[i], info.config, settings, label));
  }

  if (swept) confirmSlowShapes(results, selected, info.config, settings);
  const double suiteSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - suiteStart).count();
  std::cerr << "finished " << selected.size() << " case(s) in " << static_cast<int>(suiteSeconds + 0.5)
            << " s\n\n";
  printTable(tableOut, results, info);
  if (swept) printDistribution(tableOut, results, options.seed);
  bool written = true;
  if (json.wanted() && !writeJson(json.stream(), results, info)) {
    std::cerr << "tessel-fft-bench: writing " << json.path() << " failed\n";
    written = false;
  }
  if (svg.wanted() && !writeSvg(svg.stream(), results, info)) {
    std::cerr << "tessel-fft-bench: writing " << svg.path() << " failed\n";
    written = false;
  }
  const bool passed =
      std::all_of(results.begin(), results.end(), [](const CaseResult& r) { return r.passed; });
  return passed && written ? 0 : tessel_tools::kFailureExit;
}

}  // namespace

int main(int argc, char** argv) {
  return tessel_tools::runProgram("tessel-fft-bench", [&] { return run(argc, argv); });
}
