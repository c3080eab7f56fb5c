// The command lines of tessel_fft's programs (tessel-fft-bench, tessel-fft-wisdom): options read from a
// table, their numbers checked, and the exit statuses and messages a bad command line gets.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace tessel_tools {

inline constexpr int kFailureExit = 1;
inline constexpr int kUsageExit = 2;

// A command line that can't be followed: runProgram prints what() and exits with kUsageExit.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One row of a program's option table: its names ("-o", "--output") and what it does. A flag's `apply`
// gets an empty string; an option with a value gets the value, which may be empty.
struct Option {
  std::vector<std::string> names;
  bool takesValue = false;
  std::function<void(const std::string&)> apply;
};

Option flag(std::vector<std::string> names, bool& target);
Option valued(std::vector<std::string> names, std::function<void(const std::string&)> apply);

// Applies the options and hands the operands (the arguments that don't start with '-') to `operand`,
// all in the order given; a long option's value comes as --name VALUE or --name=VALUE. Throws UsageError
// for an unknown option or a missing or unwanted value, and passes on what the callbacks throw.
void parseCommandLine(int argc, const char* const* argv, const std::vector<Option>& table,
                      const std::function<void(const std::string&)>& operand);

// `text` as a whole number from `lowest` to `highest`; UsageError naming `what` otherwise.
std::uint64_t wholeNumber(const std::string& what, const std::string& text, std::uint64_t lowest,
                          std::uint64_t highest = std::numeric_limits<std::uint64_t>::max());

// The pieces of `text` between the separators, empty ones included: "a,,b" gives "a", "", "b".
std::vector<std::string> split(const std::string& text, char separator);

// Runs a program's body and returns its exit status: a UsageError prints "PROGRAM: message" and a hint
// to --help and gives kUsageExit, any other exception prints "PROGRAM: message" and gives kFailureExit.
int runProgram(const char* program, const std::function<int()>& body);

}  // namespace tessel_tools
