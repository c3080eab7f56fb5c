#pragma once

#include <stdexcept>
#include <string>

namespace tessel_test {

// The text of the std::runtime_error that `call` throws, or "" if it returns normally.
template <typename Call>
std::string errorText(Call call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

}  // namespace tessel_test
