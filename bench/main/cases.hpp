// The benchmark's default suite, in the order of the table, and how a command line picks cases from it
// or from a sweep.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "workload.hpp"

namespace tessel_bench {

std::vector<CaseDefinition> allCases();

// One line per case: name, entry and description in columns.
void listCases(std::ostream& out, const std::vector<CaseDefinition>& cases);

// The cases of `pool` named in `names`, in that order; all of them if `names` is empty. An unknown name
// throws tessel_tools::UsageError.
std::vector<CaseDefinition> selectCases(const std::vector<CaseDefinition>& pool,
                                        const std::vector<std::string>& names);

}  // namespace tessel_bench
