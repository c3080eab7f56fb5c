// The batch layer both families run on: tasks over the scratch pool, a task's nested parallel loops, and
// a task that fails.

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "batch/batch_run.hpp"
#include "support/allocation_control.hpp"

namespace {

// A task holds its scratch pair while the movement kernels run nested parallel loops. If the thread
// waiting for such a loop picked up another task of the same run, that task could wait for a pair
// (under memory shortage the pool doesn't grow) that its own thread holds further down its stack: a
// hang. So no thread may enter a task of the run while it is inside one. More workers than cores make
// the interleaving likely.
TEST(PooledRun, NestedLoopsNeverStartAnotherTaskOfTheRun) {
  std::atomic<int> reentered{0};
  tbb::global_control workers(tbb::global_control::max_allowed_parallelism, 8);
  tbb::task_arena arena(8);
  arena.execute([&] {
    tessel_fft::MultiBufferMgr manager(64, 64);
    const auto loop = [&](void*, void*, std::size_t, std::size_t) {
      static thread_local int depth = 0;
      if (depth++ != 0) reentered.fetch_add(1);
      tbb::parallel_for(0, 32, [](int) { std::this_thread::sleep_for(std::chrono::microseconds(20)); });
      --depth;
    };
    tessel_fft::runTasks(manager, {{2, 8, 8, 2048}, 8}, 1 << 20, loop);
  });
  EXPECT_EQ(reentered.load(), 0);
}

// A loop body that fails in the task holding vector `poisoned` once another task has taken a pair; the
// other tasks keep their pairs until the failure has happened. Nobody waits past `deadline`, so a lone
// worker thread only makes the test weaker, not stuck.
struct FailingLoopBody {
  static inline std::atomic<int> running{0};
  static inline std::atomic<bool> failed{false};
  static inline std::size_t poisoned = 0;
  static inline std::chrono::steady_clock::time_point deadline;

  void operator()(void*, void*, std::size_t begin, std::size_t end) const {
    running.fetch_add(1);
    const bool mine = begin <= poisoned && poisoned < end;
    while ((mine ? running.load() < 2 : !failed.load()) && std::chrono::steady_clock::now() < deadline)
      std::this_thread::yield();
    running.fetch_sub(1);
    if (mine) {
      failed.store(true);
      throw std::runtime_error("task failure");
    }
  }
};

TEST(PooledRun, ExceptionInOneTaskComesOutOnceAndFreesAllPairs) {
  const long liveBefore = tessel_test::liveScratchBlocks();
  // The first vectors of the calling thread's and of a thief's first task.
  for (std::size_t poisoned : {0, 128}) {
    FailingLoopBody::poisoned = poisoned;
    FailingLoopBody::failed = false;
    FailingLoopBody::deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    int caught = 0;
    {
      tessel_fft::MultiBufferMgr manager(64, 64);
      try {
        tessel_fft::runTasks(manager, {{1, 4, 4, 256}, 4}, 1 << 20, FailingLoopBody{});
      } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "task failure");
        ++caught;
      }
    }
    EXPECT_EQ(caught, 1);
    EXPECT_TRUE(FailingLoopBody::failed.load());
    EXPECT_EQ(tessel_test::liveScratchBlocks(), liveBefore);
  }
}

}  // namespace
