#include "importer/session_statistics.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "tests/support/log_capture.h"

namespace qx {
namespace {

WindowLoad NoLoad() {
  return {};
}

// A delivery each 40 ms that takes 10 ms, at 25 frames a second.
Delivery Steady(int64_t frame, double startMs) {
  return {.frame = frame, .width = 1920, .startMs = startMs, .durationMs = 10, .intervalMs = 30, .framePeriodMs = 40};
}

TEST(PercentileOf, TakesTheElementAtTheRoundedDownShare) {
  struct Row {
    std::vector<double> samples;
    double p, expected;
  };
  for (const Row& row : {Row{{}, 0.5, 0}, Row{{7}, 0.95, 7}, Row{{4, 1, 3, 2}, 0.5, 3}, Row{{3, 1, 2}, 0.5, 2}, Row{{1, 2}, 1, 2},
                         Row{{20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1}, 0.95, 20}}) {
    std::vector<double> samples = row.samples;
    EXPECT_EQ(PercentileOf(&samples, row.p), row.expected) << row.samples.size() << " samples, p " << row.p;
  }
}

// What the session line says of runs that last less than a second, so that no window closes.
TEST(SessionStatistics, SumsUpARunOfDeliveries) {
  struct Row {
    const char* what;
    std::vector<Delivery> deliveries;
    std::vector<std::string> expected;
  };
  const auto run = [](std::vector<int64_t> frames) {
    std::vector<Delivery> deliveries;
    for (const int64_t frame : frames) deliveries.push_back(Steady(frame, 40.0 * double(deliveries.size())));
    return deliveries;
  };
  std::vector<Delivery> late = run({0, 1, 2, 3, 4});
  late[1].durationMs = 40;    // a frame period is not too long
  late[2].durationMs = 40.1;  // this is
  late[3].intervalMs = 1000;  // no pace but a pause
  late[4].intervalMs = -1;    // unknown
  std::vector<Delivery> first = run({0, 1, 2, 3, 4});
  first[0].intervalMs = 900;  // what was before the run does not count
  const std::string loads = ", readers busy 0 %, GPU thread busy 0 %, process 0.0 cores, min ready ahead 0";
  const std::string steady = "ours med 10.0 / p95 10.0 ms, Premiere med 30.0 / p95 30.0 ms, ours longer than frame period 0" + loads;
  for (const Row& row : {
           Row{"four frames are too few", run({0, 1, 2, 3}), {}},
           Row{"five frames", run({0, 1, 2, 3, 4}), {"session: 0.2 s, 1920x, frames 5 (31.2/s), Premiere skipped 0, " + steady}},
           Row{"skipped frames", run({10, 11, 14, 13, 15}), {"session: 0.2 s, 1920x, frames 5 (31.2/s), Premiere skipped 3, " + steady}},
           Row{"late deliveries and odd intervals",
               late,
               {"session: 0.2 s, 1920x, frames 5 (31.2/s), Premiere skipped 0, ours med 10.0 / p95 40.1 ms, "
                "Premiere med 30.0 / p95 30.0 ms, ours longer than frame period 1" +
                loads}},
           Row{"interval before the run", first, {"session: 0.2 s, 1920x, frames 5 (31.2/s), Premiere skipped 0, " + steady}},
           Row{"all at one moment",
               std::vector<Delivery>(5, Steady(0, 0)),
               {"session: 0.0 s, 1920x, frames 5 (5000.0/s), Premiere skipped 0, " + steady}},
       }) {
    SCOPED_TRACE(row.what);
    const LogCapture log;
    SessionStatistics statistics;
    for (const Delivery& delivery : row.deliveries) statistics.RecordDelivery(delivery, NoLoad);
    EXPECT_EQ(log.Take(), std::vector<std::string>());
    statistics.CloseSession();
    statistics.CloseSession();  // nothing is left to tell
    EXPECT_EQ(log.Take(), row.expected);
  }
}

TEST(SessionStatistics, StartsAnewAfterAPauseOrWithAnotherWidth) {
  struct Row {
    const char* what;
    double pauseMs;
    int32_t width;
    bool starts;
  };
  for (const Row& row :
       {Row{"1.5 s are no pause yet", 1500, 1920, false}, Row{"a longer pause", 1501, 1920, true}, Row{"another width", 40, 960, true}}) {
    SCOPED_TRACE(row.what);
    const LogCapture log;
    SessionStatistics statistics;
    for (int i = 0; i < 5; ++i) statistics.RecordDelivery(Steady(i, i * 10), NoLoad);
    Delivery next = Steady(100, 40 + row.pauseMs);
    next.width = row.width;
    statistics.RecordDelivery(next, NoLoad);
    const std::vector<std::string> told = log.Take();
    const bool closed = !told.empty() && told[0].starts_with("session: 0.0 s, 1920x, frames 5 (125.0/s), Premiere skipped 0,");
    EXPECT_EQ(closed, row.starts) << (told.empty() ? "nothing told" : told[0]);
  }
}

// 1 s and a frame at 25 frames a second: the window closes with the delivery that starts a second after the first.
TEST(SessionStatistics, ClosesAWindowAfterASecond) {
  const LogCapture log;
  SessionStatistics statistics;
  int asked = 0;
  const auto load = [&asked] {
    ++asked;
    WindowLoad answer;
    answer.pipeline = {.queued = 2,
                       .reading = 3,
                       .readyAhead = asked == 1 ? 6 : 4,
                       .jobs = 12,
                       .readerLoad = 0.505 * asked,
                       .gpuLoad = 0.25,
                       .processLoad = 2.5};
    answer.audio = {.calls = 4, .totalMicroseconds = 5000, .longestMicroseconds = 3210};
    return answer;
  };
  for (int i = 0; i <= 24; ++i) statistics.RecordDelivery(Steady(i < 20 ? i : i + 5, i * 40), load);
  EXPECT_EQ(log.Take(), std::vector<std::string>()) << "0.96 s";
  statistics.RecordDelivery(Steady(30, 1000), load);
  const char* const first =
      "sum: 1920x, 26.0 fr/s, skipped 5, ours med 10.0 / p95 10.0 ms, Premiere med 30.0 / p95 30.0 ms, ready ahead 6, queued 2, running 3, "
      "readers busy 50 %, GPU thread busy 25 %, process 2.5 cores; audio 4 calls, avg 1.25 / max 3.21 ms";
  EXPECT_EQ(log.Take(), std::vector<std::string>{first});

  // The second window starts empty, and the run averages both.
  for (int i = 1; i <= 25; ++i) {
    Delivery slow = Steady(30 + i, 1000 + i * 40);
    slow.durationMs = 20;
    statistics.RecordDelivery(slow, load);
  }
  const std::vector<std::string> second = log.Take();
  ASSERT_EQ(second.size(), 1u);
  EXPECT_TRUE(second[0].starts_with("sum: 1920x, 25.0 fr/s, skipped 0, ours med 20.0 / p95 20.0 ms, ")) << second[0];
  statistics.CloseSession();
  const char* const session =
      "session: 2.0 s, 1920x, frames 51 (25.5/s), Premiere skipped 5, ours med 10.0 / p95 20.0 ms, Premiere med 30.0 / p95 30.0 ms, ours "
      "longer than frame period 0, readers busy 76 %, GPU thread busy 25 %, process 2.5 cores, min ready ahead 4";
  EXPECT_EQ(log.Take(), std::vector<std::string>{session});
  EXPECT_EQ(asked, 2);
}

TEST(SessionStatistics, RecordsNothingWithTheLogOff) {
  SessionStatistics statistics;
  for (int i = 0; i < 50; ++i)
    statistics.RecordDelivery(Steady(i, i * 40), [] { return ADD_FAILURE() << "asked for the load", WindowLoad(); });
  const LogCapture log;
  statistics.CloseSession();
  EXPECT_EQ(log.Take(), std::vector<std::string>());
}

// No delivery is lost when host threads deliver side by side and a flush comes between.
TEST(SessionStatistics, CountsDeliveriesOfAllThreads) {
  constexpr int kThreads = 4, kDeliveries = 250;
  const LogCapture log;
  SessionStatistics statistics;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&statistics, t] {
      for (int i = 0; i < kDeliveries; ++i) {
        statistics.RecordDelivery(Steady(i, i), NoLoad);
        if (t == 0 && i == kDeliveries / 2) statistics.CloseSession();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  statistics.CloseSession();
  int frames = 0;
  for (const std::string& line : log.Take()) {
    const size_t at = line.find(", frames ");
    if (at != std::string::npos) frames += std::stoi(line.substr(at + 9));
  }
  // A run of fewer than five frames says nothing.
  EXPECT_GT(frames, kThreads * kDeliveries - 10);
  EXPECT_LE(frames, kThreads * kDeliveries);
}

}  // namespace
}  // namespace qx
