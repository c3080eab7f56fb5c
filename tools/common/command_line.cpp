// Reads command lines from option tables, for every program of the project alike.
#include "command_line.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <utility>

namespace tessel_tools {

Option flag(std::vector<std::string> names, bool& target) {
  return {std::move(names), false, [&target](const std::string&) { target = true; }};
}

Option valued(std::vector<std::string> names, std::function<void(const std::string&)> apply) {
  return {std::move(names), true, std::move(apply)};
}

void parseCommandLine(int argc, const char* const* argv, const std::vector<Option>& table,
                      const std::function<void(const std::string&)>& operand) {
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    if (argument.empty() || argument[0] != '-') {
      operand(argument);
      continue;
    }
    std::string value;
    const std::size_t equals = argument.find('=');
    const bool inlineValue = argument.rfind("--", 0) == 0 && equals != std::string::npos;
    if (inlineValue) {
      value = argument.substr(equals + 1);
      argument.resize(equals);
    }
    const auto option = std::find_if(table.begin(), table.end(), [&](const Option& o) {
      return std::find(o.names.begin(), o.names.end(), argument) != o.names.end();
    });
    if (option == table.end()) throw UsageError("unknown option '" + std::string(argv[i]) + "'");
    if (!option->takesValue && inlineValue) throw UsageError(argument + " takes no value");
    if (option->takesValue && !inlineValue) {
      if (i + 1 >= argc) throw UsageError(argument + " needs a value");
      value = argv[++i];
    }
    option->apply(value);
  }
}

std::uint64_t wholeNumber(const std::string& what, const std::string& text, std::uint64_t lowest,
                          std::uint64_t highest) {
  errno = 0;
  char* end = nullptr;
  // strtoull would take a sign, spaces and wrap a negative number around: only digits are a number here.
  const bool digits = !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0;
  const unsigned long long value = digits ? std::strtoull(text.c_str(), &end, 10) : 0;
  if (!digits || *end != '\0' || errno != 0 || value < lowest || value > highest) {
    const std::string range = highest == std::numeric_limits<std::uint64_t>::max()
                                  ? "from " + std::to_string(lowest)
                                  : "from " + std::to_string(lowest) + " to " + std::to_string(highest);
    throw UsageError(what + " wants a whole number " + range + ", not '" + text + "'");
  }
  return value;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
    parts.push_back(text.substr(start, end - start));
  parts.push_back(text.substr(start));
  return parts;
}

int runProgram(const char* program, const std::function<int()>& body) {
  try {
    return body();
  } catch (const UsageError& error) {
    std::cerr << program << ": " << error.what() << "\nTry '" << program << " --help'.\n";
    return kUsageExit;
  } catch (const std::exception& error) {
    std::cerr << program << ": " << error.what() << '\n';
    return kFailureExit;
  }
}

}  // namespace tessel_tools
