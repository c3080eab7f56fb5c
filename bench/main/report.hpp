// The three forms of the results: the table, JSON and an SVG bar chart of the ratios.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "measure.hpp"
#include "run_context.hpp"
#include "workload.hpp"

namespace tessel_bench {

struct RunInfo {
  SuiteConfig config;
  RunContext context;
};

// "1.12 (1.10, 1.12, 1.15)" for a ratio read more than once, with every reading; "1.12" otherwise.
std::string ratioText(double ratio, const std::vector<double>& readings);

void printTable(std::ostream& out, const std::vector<CaseResult>& results, const RunInfo& info);

// Both return false when the stream failed.
bool writeJson(std::ostream& out, const std::vector<CaseResult>& results, const RunInfo& info);
bool writeSvg(std::ostream& out, const std::vector<CaseResult>& results, const RunInfo& info);

}  // namespace tessel_bench
