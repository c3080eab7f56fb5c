#pragma once

// Failure injection for the library's allocations, through the executable's own scalable_malloc and
// fftw_malloc (allocation_overrides.cpp), and the checks that a failure came out as it should.

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "backend/planner_lock.hpp"
#include "tessel_fft/errors.hpp"

namespace tessel_test {

long liveScratchBlocks();       // blocks from scalable_malloc not yet freed
long scratchAllocationCalls();  // scalable_malloc calls so far, failed ones included

// While alive, lets `skip` allocations (scalable_malloc and fftw_malloc, any thread) through, then fails
// the next `failCount` (negative: all).
struct FailAllocations {
  FailAllocations(long skip, long failCount);
  ~FailAllocations();
  FailAllocations(const FailAllocations&) = delete;
  FailAllocations& operator=(const FailAllocations&) = delete;
  long failures() const;  // how many were refused
};

// The text of the library failure that `call` throws, or "" if it returns normally. Each text must come
// with its type; a plain std::runtime_error is marked "untyped".
template <typename Call>
std::string errorText(Call call) {
  try {
    call();
  } catch (const tessel_fft::out_of_memory& error) {
    return error.what() == std::string("FFTW:nomem") ? error.what() : "out_of_memory with another text";
  } catch (const tessel_fft::backend_failure& error) {
    return error.what() == std::string("FFTWAssertionFailure") ? error.what()
                                                               : "backend_failure with another text";
  } catch (const std::runtime_error& error) {
    return std::string("untyped ") + error.what();
  }
  return "";
}

// Ends the test program, naming `what` on stderr, unless alarm(0) comes within `seconds`: a call that
// hangs (on a lock its own failure kept) fails at once instead of at the harness's timeout.
inline void endAfter(unsigned seconds, const std::string& what) {
  static char text[1024];
  static std::size_t length;
  length =
      std::min<std::size_t>(sizeof text - 1, std::snprintf(text, sizeof text, "hangs: %s\n", what.c_str()));
  std::signal(SIGALRM, [](int) {
    [[maybe_unused]] const ssize_t written = ::write(2, text, length);
    _exit(3);
  });
  alarm(seconds);
}

// Whether `call`, run on another thread while this one holds the planner lock, has not returned after
// 100 ms and returns once the lock is released.
inline bool waitsForThePlannerLock(const std::function<void()>& call) {
  std::optional<tessel_fft::PlannerLock> held(std::in_place);
  std::atomic<bool> returned{false};
  std::thread caller([&] {
    call();
    returned.store(true);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const bool waited = !returned.load();
  held.reset();
  caller.join();
  return waited && returned.load();
}

// Whether another thread takes the planner lock within a second. A failure that kept it would make the
// next planner call wait for ever; this fails instead (a waiter left behind is detached).
inline bool plannerLockFree() {
  auto taken = std::make_shared<std::atomic<bool>>(false);
  std::thread taker([taken] {
    const tessel_fft::PlannerLock lock;
    taken->store(true);
  });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  while (!taken->load() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  if (!taken->load()) {
    taker.detach();
    return false;
  }
  taker.join();
  return true;
}

}  // namespace tessel_test
