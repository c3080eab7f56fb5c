// The three forms of the results: the table on stdout, JSON and an SVG bar chart of the ratios.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "measure.hpp"
#include "workload.hpp"

namespace tessel_bench {

struct RunInfo {
  SuiteConfig config;
  std::string fftwVersion;
  int hardwareThreads = 0;
};

void printTable(std::ostream& out, const std::vector<CaseResult>& results, const RunInfo& info);

// Both return false, with a message on stderr, when the file can't be written.
bool writeJson(const std::string& path, const std::vector<CaseResult>& results, const RunInfo& info);
bool writeSvg(const std::string& path, const std::vector<CaseResult>& results, const RunInfo& info);

}  // namespace tessel_bench
