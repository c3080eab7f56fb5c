// tessel-fft-bench: every family of the library against the plain FFTW code that does the same job, in
// one process, with a self-check of the results. See --help.
#include <fftw3.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "measure.hpp"
#include "options.hpp"
#include "report.hpp"
#include "tessel_fft/fftw_api.hpp"
#include "workload.hpp"

namespace {

using namespace tessel_bench;

constexpr int kUsageExit = 2;
constexpr int kFailureExit = 1;

int usageError(const std::string& message) {
  std::cerr << "tessel-fft-bench: " << message << "\nTry 'tessel-fft-bench --help'.\n";
  return kUsageExit;
}

void listCases(const std::vector<CaseSpec>& cases) {
  std::size_t nameWidth = 0;
  std::size_t entryWidth = 0;
  for (const CaseSpec& definition : cases) {
    nameWidth = std::max(nameWidth, definition.name.size());
    entryWidth = std::max(entryWidth, definition.entry.size());
  }
  for (const CaseSpec& definition : cases) {
    std::cout << definition.name << std::string(nameWidth - definition.name.size() + 2, ' ')
              << definition.entry << std::string(entryWidth - definition.entry.size() + 2, ' ')
              << definition.description << '\n';
  }
}

int run(int argc, char** argv) {
  Options options;
  try {
    options = parseOptions(argc, argv);
  } catch (const UsageError& error) {
    return usageError(error.what());
  }
  if (options.help) {
    std::cout << usageText();
    return 0;
  }
  const std::vector<CaseSpec> all = allCases();
  if (options.list) {
    listCases(all);
    return 0;
  }

  std::vector<CaseSpec> selected;
  if (options.cases.empty()) {
    selected = all;
  } else {
    for (const std::string& name : options.cases) {
      const auto found =
          std::find_if(all.begin(), all.end(), [&](const CaseSpec& s) { return s.name == name; });
      if (found == all.end()) return usageError("unknown case '" + name + "' (--list shows them)");
      selected.push_back(*found);
    }
  }

  RunInfo info;
  info.hardwareThreads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  info.config.quick = options.quick;
  info.config.threads = options.threads > 0 ? options.threads : info.hardwareThreads;
  // A quick run checks, it doesn't measure: estimating keeps its planning to milliseconds.
  info.config.planFlags = options.quick ? FFTW_ESTIMATE : FFTW_MEASURE;
  info.fftwVersion = fftw_version;

  // The library's tasks get the same budget as the plain side's FFTW threads.
  const tbb::global_control parallelism(tbb::global_control::max_allowed_parallelism,
                                        static_cast<std::size_t>(info.config.threads));
  // The library initialises FFTW's threads on first use; the plain side may plan before that.
  tessel_fft::fftwApi::getInstance();
  fftw_init_threads();
  fftwf_init_threads();

  MeasureSettings settings;
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

  const double suiteSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - suiteStart).count();
  std::cerr << "finished " << selected.size() << " case(s) in " << static_cast<int>(suiteSeconds + 0.5)
            << " s\n\n";
  printTable(std::cout, results, info);
  bool written = true;
  if (!options.jsonPath.empty()) written = writeJson(options.jsonPath, results, info) && written;
  if (!options.svgPath.empty()) written = writeSvg(options.svgPath, results, info) && written;
  const bool passed =
      std::all_of(results.begin(), results.end(), [](const CaseResult& r) { return r.passed; });
  return passed && written ? 0 : kFailureExit;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "tessel-fft-bench: " << error.what() << '\n';
    return kFailureExit;
  }
}
