#include "platform/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/support/gathering.h"

namespace qx {
namespace {

TEST(WorkerPool, RunsEveryPartOnce) {
  for (int threads : {-1, 0, 1, 3, 40}) {
    const WorkerPoolPtr pool = worker_pool_create(threads);
    EXPECT_LE(worker_pool_threads(pool.get()), kMaxWorkers);
    for (int parts : {0, 1, 2, 100}) {
      std::vector<std::atomic<int>> calls(parts);
      EXPECT_EQ(RunParts(pool.get(), parts, [&](int part) { return ++calls[part], 0; }), 0);
      for (auto& count : calls) EXPECT_EQ(count, 1) << threads << " threads, " << parts << " parts";
    }
  }
}

TEST(WorkerPool, FailedPartDoesNotStopTheOthersOfAParallelRun) {
  const WorkerPoolPtr pool = worker_pool_create(2);
  std::atomic<int> calls{0};
  EXPECT_EQ(RunParts(pool.get(), 50, [&](int part) { return ++calls, part == 7 ? -3 : 0; }), -3);
  EXPECT_EQ(calls, 50);
}

TEST(WorkerPool, InlineRunStopsAtFirstFailure) {
  int calls = 0;
  EXPECT_EQ(RunParts(nullptr, 50, [&](int part) { return ++calls, part == 7 ? -3 : 0; }), -3);
  EXPECT_EQ(calls, 8);
}

// Hangs unless the caller and both threads work at the same time.
TEST(WorkerPool, RunsPartsAtTheSameTime) {
  const WorkerPoolPtr pool = worker_pool_create(2);
  Gathering gate(3);
  EXPECT_EQ(RunParts(pool.get(), 3, [&](int) { return gate.ArriveAndWait(), 0; }), 0);
}

TEST(WorkerPool, PartThatThrowsHasFailed) {
  const WorkerPoolPtr pool = worker_pool_create(1);
  for (bool onCaller : {true, false}) {
    const auto caller = std::this_thread::get_id();
    Gathering gate(2);
    EXPECT_EQ(RunParts(pool.get(), 2,
                       [&](int) {
                         gate.ArriveAndWait();
                         if ((std::this_thread::get_id() == caller) == onCaller) throw std::runtime_error("part");
                         return 0;
                       }),
              -1);
    std::atomic<int> calls{0};
    EXPECT_EQ(RunParts(pool.get(), 8, [&](int) { return ++calls, 0; }), 0) << "after a throw";
    EXPECT_EQ(calls, 8);
  }
  EXPECT_EQ(RunParts(nullptr, 2, [](int) -> int { throw std::runtime_error("part"); }), -1);
}

TEST(WorkerPool, ServesSeveralCallersAtOnce) {
  const WorkerPoolPtr pool = worker_pool_create(3);
  std::vector<std::thread> callers;
  std::atomic<int> total{0};
  for (int caller = 0; caller < 4; ++caller) {
    callers.emplace_back([&] {
      for (int run = 0; run < 50; ++run) RunParts(pool.get(), 8, [&](int) { return ++total, 0; });
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(total, 4 * 50 * 8);
}

}  // namespace
}  // namespace qx
