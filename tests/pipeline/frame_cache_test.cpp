#include "pipeline/frame_cache.h"

#include <gtest/gtest.h>

#include <vector>

#include "pipeline/buffer_pool.h"
#include "pipeline/clip.h"
#include "pipeline/gpu_path.h"
#include "pipeline/job_queue.h"

namespace qx {
namespace {

const OutputSizes kUhd = {{3840, 2160}, {1920, 1080}, {960, 540}};
constexpr uint64_t kDefaultBudget = 838860800;

TEST(ClipCapacity, DividesTheBudgetByTheBytesOfOneFrame) {
  struct Row {
    OutputPixelFormat format;
    int32_t level;
    bool gpuConverts;
    uint64_t budget, bytes;
    int32_t capacity;
  };
  for (const Row& row : {
           // 3840 · 2160 · 4; with the 16-bit frame · (6 + 4).
           Row{OutputPixelFormat::kBgra8, 0, true, kDefaultBudget, 33177600, 25},
           Row{OutputPixelFormat::kBgra8, 0, false, kDefaultBudget, 82944000, 10},
           Row{OutputPixelFormat::kRgb48, 0, false, kDefaultBudget, 82944000, 10},
           Row{OutputPixelFormat::kRgb48ReadBack, 0, true, kDefaultBudget, 33177600, 25},
           // Float keeps the 16-bit frame also on the graphics card: 3840 · 2160 · (6 + 16).
           Row{OutputPixelFormat::kBgraFloat, 0, true, kDefaultBudget, 182476800, 6},
           // v210: 3840 · 8 / 3 bytes a row.
           Row{OutputPixelFormat::kV210, 0, true, kDefaultBudget, 10240 * 2160, 37},
           // A quarter frame is developed at half size: 1920 · 1080 · 6 + 960 · 540 · 2.
           Row{OutputPixelFormat::kUyvy, 2, false, kDefaultBudget, 13478400, 62},
           Row{OutputPixelFormat::kUyvy, 1, false, 2 * kDefaultBudget, 1920 * 1080 * 8, 101},
           Row{OutputPixelFormat::kBgra8, 0, false, 100 << 20, 82944000, 6},
       }) {
    SCOPED_TRACE(testing::Message() << "format " << int(row.format) << ", level " << row.level);
    const CacheShape shape = {kUhd, row.format, row.gpuConverts};
    EXPECT_EQ(BytesPerFrame(shape, row.level), row.bytes);
    EXPECT_EQ(JobCapacity(shape, row.level, row.budget), row.capacity);
  }
}

/// Jobs as "frame, state, stamp, served, waiters".
struct JobRow {
  int64_t frame;
  JobState state;
  uint64_t stamp;
  bool served;
  int32_t waiters;
};

void Fill(JobList& jobs, const std::vector<JobRow>& rows) {
  for (const JobRow& row : rows) {
    auto job = std::make_unique<FrameJob>();
    job->frame = row.frame;
    job->state = row.state;
    job->stamp = row.stamp;
    job->served = row.served;
    job->waiters = row.waiters;
    jobs.PushFront(std::move(job));
  }
}

int64_t FrameOf(const FrameJob* job) {
  return job == nullptr ? -1 : job->frame;
}

TEST(Eviction, TakesWhatIsLeastNeeded) {
  using enum JobState;
  struct Row {
    const char* why;
    std::vector<JobRow> jobs;
    int64_t finished, queued;  // the frames of the victims, -1 for none
  };
  const int64_t lastRequested = 100;
  const std::vector<Row> rows = {
      {"the least recent of failed, dropped and served jobs",
       {{99, kReady, 5, true, 0}, {101, kFailed, 3, false, 0}, {103, kDropped, 4, false, 0}, {50, kReady, 1, false, 0}},
       101,
       -1},
      {"else the least recent ready job more than 8 frames behind",
       {{92, kReady, 1, false, 0}, {91, kReady, 3, false, 0}, {20, kReady, 2, false, 0}, {150, kReady, 4, false, 0}},
       20,
       -1},
      {"else the ready job furthest ahead", {{92, kReady, 1, false, 0}, {105, kReady, 2, false, 0}, {102, kReady, 3, false, 0}}, 105, -1},
      {"jobs with waiters and jobs being read stay",
       {{1, kFailed, 1, false, 1}, {2, kReading, 2, false, 0}, {3, kReady, 3, true, 2}},
       -1,
       -1},
      {"queued jobs from the far end", {{103, kQueued, 1, false, 0}, {109, kQueued, 2, false, 0}, {120, kQueued, 3, false, 1}}, -1, 109},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    JobList jobs;
    Fill(jobs, row.jobs);
    EXPECT_EQ(FrameOf(ChooseFinishedVictim(jobs, lastRequested)), row.finished);
    EXPECT_EQ(FrameOf(ChooseQueuedVictim(jobs)), row.queued);
  }
}

TEST(StaleJobs, AreMoreThanEightFramesBehindAndUnwanted) {
  FrameJob job;
  job.frame = 91;
  EXPECT_TRUE(IsStale(job, 100));
  EXPECT_FALSE(IsStale(job, 99));
  job.waiters = 1;
  EXPECT_FALSE(IsStale(job, 100));
}

TEST(RequestHistory, DetectsTheHostsStep) {
  struct Request {
    int64_t frame, lastRequested, step;
  };
  const std::vector<std::vector<Request>> runs = {
      {{100, 100, 1}, {101, 101, 1}, {102, 102, 1}, {104, 104, 1}, {108, 108, 2}},  // (108 − 100) / 4
      {{10, 10, 1}, {12, 12, 2}, {500, 500, 1}, {503, 503, 3}},                     // a jump starts over
      {{100, 100, 1}, {95, 100, 5}, {101, 101, 3}},                                 // 5 back keeps 100; (101 − 95) / 2
      {{100, 100, 1}, {92, 100, 8}, {91, 91, 1}},                                   // 9 behind 100 is a jump
      {{0, 0, 1}, {64, 64, 8}, {129, 129, 1}},                                      // 64 ahead goes on, 65 does not
      // Nine requests: the ring holds the last eight, 20 … 160 in steps of 20, limited to 8.
      {{0, 0, 1}, {20, 20, 8}, {40, 40, 8}, {60, 60, 8}, {80, 80, 8}, {100, 100, 8}, {120, 120, 8}, {140, 140, 8}, {160, 160, 8}},
      // The first 6 leaves the ring with the ninth request: (14 − 7) / 7.
      {{6, 6, 1}, {7, 7, 1}, {8, 8, 1}, {9, 9, 1}, {10, 10, 1}, {11, 11, 1}, {12, 12, 1}, {13, 13, 1}, {14, 14, 1}},
  };
  for (const std::vector<Request>& run : runs) {
    RequestHistory history;
    for (const Request& request : run) {
      history.Record(request.frame);
      EXPECT_EQ(history.lastRequested(), request.lastRequested) << request.frame;
      EXPECT_EQ(history.step(), request.step) << request.frame;
    }
  }
}

TEST(JobQueue, KeepsOrderThroughRemovals) {
  std::array<FrameJob, 6> jobs;
  for (size_t i = 0; i < jobs.size(); ++i) jobs[i].frame = int64_t(i);
  JobQueue queue;
  for (size_t i = 0; i < 5; ++i) queue.PushBack(&jobs[i]);
  EXPECT_TRUE(queue.Remove(&jobs[4])) << "the tail";
  EXPECT_FALSE(queue.Remove(&jobs[4]));
  queue.PushBack(&jobs[5]);
  queue.PushFront(&jobs[4]);
  FrameJob* removed = queue.RemoveIf([](const FrameJob& job) { return job.frame == 1 || job.frame == 3; });
  ASSERT_EQ(removed, &jobs[1]);
  EXPECT_EQ(removed->nextInQueue, &jobs[3]);
  std::vector<int64_t> order;
  while (FrameJob* job = queue.PopFront()) order.push_back(job->frame);
  EXPECT_EQ(order, (std::vector<int64_t>{4, 0, 2, 5}));
  queue.PushBack(&jobs[0]);
  EXPECT_EQ(queue.PopFront(), &jobs[0]) << "usable again after it ran empty";
}

TEST(SpareBuffers, GivesBackExactSizesWithinItsLimits) {
  SpareBuffers spares;
  FrameBuffer first = spares.Take(1000);
  ASSERT_EQ(first.capacity(), 1000u);
  const uint8_t* const block = first.data();
  EXPECT_EQ(spares.Keep(std::move(first), 0).data(), nullptr);
  EXPECT_NE(spares.Take(999).data(), block);
  EXPECT_EQ(spares.Take(1000).data(), block);

  std::vector<FrameBuffer> buffers(13);
  for (FrameBuffer& buffer : buffers) buffer = spares.Take(16);
  for (size_t i = 0; i < 12; ++i) EXPECT_EQ(spares.Keep(std::move(buffers[i]), 0).data(), nullptr);
  const uint8_t* const thirteenth = buffers[12].data();
  EXPECT_EQ(spares.Keep(std::move(buffers[12]), 0).data(), thirteenth) << "twelve buffers at most";
}

TEST(SpareBuffers, MakeWayForTheSizeThatIsAskedForNow) {
  SpareBuffers spares;
  std::vector<FrameBuffer> scrubbed(12), full(2);
  for (FrameBuffer& buffer : scrubbed) buffer = spares.Take(16);
  for (FrameBuffer& buffer : full) buffer = spares.Take(64);
  const uint8_t* const blocks[] = {full[0].data(), full[1].data()};
  const uint8_t* const oldest = scrubbed[0].data();
  for (FrameBuffer& buffer : scrubbed) EXPECT_EQ(spares.Keep(std::move(buffer), 0).data(), nullptr);
  EXPECT_EQ(spares.Keep(std::move(full[0]), 0).data(), oldest);
  EXPECT_EQ(spares.Keep(std::move(full[1]), 0).capacity(), 16u);
  EXPECT_EQ(spares.Take(64).data(), blocks[0]);
  EXPECT_EQ(spares.Take(64).data(), blocks[1]);

  FrameBuffer large;
  ASSERT_TRUE(large.Reserve(uint64_t(301) << 20));
  EXPECT_EQ(spares.Keep(std::move(large), 0).capacity(), uint64_t(301) << 20) << "too large even in the place of another";
}

TEST(SpareBuffers, MemoryIsLimitedTo300MiBOrThreeFrames) {
  struct Row {
    uint64_t frameBytes;
    int kept;
  };
  // 100 MiB buffers, never touched and so never really there: three fill 300 MiB, four fit three frames of 134 MiB.
  for (const Row& row : {Row{1, 3}, Row{uint64_t(134) << 20, 4}}) {
    SpareBuffers spares;
    int kept = 0;
    for (int i = 0; i < 6; ++i) {
      FrameBuffer buffer;
      ASSERT_TRUE(buffer.Reserve(uint64_t(100) << 20));
      kept += spares.Keep(std::move(buffer), row.frameBytes).data() == nullptr;
    }
    EXPECT_EQ(kept, row.kept);
  }
}

TEST(GpuOutputCode, IsTheHostsFormatWhereTheOutputPassCanWriteIt) {
  using enum OutputPixelFormat;
  struct Row {
    OutputPixelFormat host;
    OutputKind kind;
    int32_t level;
    OutputPixelFormat expected;
  };
  for (const Row& row : {Row{kBgra8, OutputKind::kLinear, 2, kBgra8}, Row{kBgra16, OutputKind::kSLog3, 0, kBgra16},
                         Row{kBgraFloat, OutputKind::kLinear, 2, kBgraFloat}, Row{kBgraFloat, OutputKind::kRec709, 0, kRgb48ReadBack},
                         Row{kUyvy, OutputKind::kRec709, 1, kUyvy}, Row{kV210, OutputKind::kRec709, 2, kRgb48ReadBack},
                         Row{kVuyaFloat, OutputKind::kLinear, 0, kRgb48ReadBack}, Row{kRgb48, OutputKind::kRec709, 0, kRgb48ReadBack}}) {
    EXPECT_EQ(ChooseGpuOutputCode(true, row.host, row.kind, row.level), row.expected) << int(row.host);
    EXPECT_EQ(ChooseGpuOutputCode(false, row.host, row.kind, row.level), kRgb48ReadBack) << int(row.host);
  }
}

}  // namespace
}  // namespace qx
