#include "media/frame_timeline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace qx {
namespace {

constexpr int64_t kHuge = std::numeric_limits<int64_t>::max();

SourceTimeline NumberedSource(std::vector<int64_t> numbers, double fps = 24) {
  SourceTimeline source;
  source.fps = source.captureFps = fps;
  source.timecodeStart = -1;
  for (int64_t number : numbers) {
    FrameRecord frame;
    frame.number = frame.nameNumber = number;
    source.frames.push_back(frame);
  }
  if (!numbers.empty()) source.firstNumber = numbers.front(), source.lastNumber = numbers.back();
  return source;
}

/// As an accepted frame index leaves it: time stamps in milliseconds, numbers as given.
SourceTimeline TimedSource(std::vector<int64_t> milliseconds, double fps, std::vector<int64_t> numbers) {
  SourceTimeline source = NumberedSource(std::move(numbers), fps);
  source.indexState = 1;
  for (size_t i = 0; i < milliseconds.size(); ++i) {
    source.frames[i].timestampNs = milliseconds[i] * 1000000;
    source.captureTimes.push_back(double(milliseconds[i] - milliseconds[0]) / 1000);
  }
  return source;
}

std::string BuildMessage(SourceTimeline& source) {
  FrameTimeline timeline;
  MessageBuffer<256> message;
  const int result = frame_timeline_build(&timeline, source, message);
  EXPECT_TRUE(result == 0 || (timeline.length == 0 && timeline.map.empty() && timeline.slots.empty()));
  return result == 0 ? "" : message.text();
}

FrameTimeline Built(SourceTimeline source) {
  FrameTimeline timeline;
  MessageBuffer<256> message;
  EXPECT_EQ(frame_timeline_build(&timeline, source, message), 0) << message.text();
  return timeline;
}

/// One letter group a position: the frame, then "=" its own slot, "r" repeat, "l" lead fill, then "*" where it is shown first.
std::string MapText(const FrameTimeline& timeline) {
  std::string text;
  for (const DisplaySlot& slot : timeline.map) {
    text += std::to_string(slot.frame) + "=rl"[slot.kind] + (slot.first ? "* " : " ");
  }
  return text;
}

TEST(FrameTimeline, SlotsFollowNumbersTimeStampsOrBoth) {
  struct Row {
    const char* what;
    SourceTimeline source;
    std::vector<int64_t> slots;
  };
  SourceTimeline recording = TimedSource({0, 33, 67}, 30, {7, 8, 11});
  recording.kind = ContainerKind::kQorix;
  SourceTimeline slowMotion = TimedSource({0, 10, 30}, 25, {0, 1, 2});
  slowMotion.captureFps = 100;
  Row rows[] = {
      {"numbers with a gap", NumberedSource({100, 101, 103}), {0, 1, 3}},
      {"equal numbers get a slot each", NumberedSource({5, 5, 5, 6, 9}), {0, 1, 2, 3, 4}},
      {"time stamps decide, not the index's slots", TimedSource({0, 40, 120}, 25, {0, 1, 2}), {0, 1, 3}},
      {"nearer than half a frame still advances", TimedSource({0, 1, 41}, 25, {0, 0, 0}), {0, 1, 2}},
      {"steps are counted at the capture rate", std::move(slowMotion), {0, 1, 3}},
      {"a recording's numbers are its slots", std::move(recording), {0, 1, 4}},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(Built(std::move(row.source)).slots, row.slots);
  }
}

TEST(FrameTimeline, RefusesWhatCannotBeShown) {
  struct Row {
    const char* what;
    std::vector<int64_t> numbers;
    const char* message;
  };
  const char* tooMany = "more than 50 million slots — the timeline is corrupt";
  for (const Row& row : {Row{"no frames", {}, "no frames in the clip"}, Row{"the last slot that is allowed", {1, 50000000}, ""},
                         Row{"one slot more", {1, 50000001}, tooMany}, Row{"the largest number", {0, kHuge, kHuge}, tooMany},
                         Row{"the widest span", {std::numeric_limits<int64_t>::min(), kHuge}, tooMany}}) {
    SCOPED_TRACE(row.what);
    SourceTimeline source = NumberedSource(row.numbers);
    EXPECT_EQ(BuildMessage(source), row.message);
  }
  SourceTimeline late = TimedSource({0, 1}, 1e9, {0, 1});
  late.frames[1].timestampNs = kHuge;
  EXPECT_EQ(BuildMessage(late), tooMany);
}

TEST(FrameTimeline, WritesRatesAsFractions) {
  struct Row {
    double fps;
    uint32_t numerator;
    uint16_t denominator;
  };
  for (const Row& row : {Row{25, 25, 1}, Row{29.97, 30000, 1001}, Row{24000.0 / 1001, 24000, 1001}, Row{23.976, 24000, 1001},
                         Row{59.94, 60000, 1001}, Row{23.5, 23500, 1000}, Row{0, 24, 1}, Row{-3, 24, 1}, Row{0.25, 250, 1000},
                         Row{1e300, 2147483647, 1}, Row{std::numeric_limits<double>::infinity(), 24, 1}, Row{1e-9, 24, 1}}) {
    const FrameTimeline timeline = Built(NumberedSource({0, 1}, row.fps));
    EXPECT_EQ(timeline.rateNumerator, row.numerator) << row.fps;
    EXPECT_EQ(timeline.rateDenominator, row.denominator) << row.fps;
  }
}

TEST(FrameTimeline, PresentationTimesAreRoundedAndNeverEqual) {
  const FrameTimeline ntsc = Built(NumberedSource({0, 1, 2, 1001}, 30000.0 / 1001));
  // 1001/30000 s = 33366.67 us, 2002/30000 s = 66733.33 us, 1002001/30000 s = 33400033.33 us
  EXPECT_EQ(ntsc.timesUs, (std::vector<int64_t>{0, 33367, 66733, 33400033}));
  EXPECT_EQ(ntsc.durationUs, 33433400);  // 1002 × 1001/30000 s
  EXPECT_NEAR(ntsc.durationSeconds, 33.4334, 1e-9);
  // Four million frames a second: 0.25 us apart.
  EXPECT_EQ(Built(NumberedSource({0, 1, 2, 3}, 4e6)).timesUs, (std::vector<int64_t>{0, 1, 2, 3}));
}

TEST(FrameTimeline, TimecodeCountsFromTheSourcesStart) {
  struct Row {
    const char* what;
    double fps;
    int64_t start;
    int32_t numbering;
    int64_t firstNumber;
    int32_t hours, minutes, seconds, frames;
  };
  for (const Row& row :
       {Row{"none: one hour", 25, -1, 0, 7, 1, 0, 0, 0},
        Row{"14:25:30:12 at 25", 25, ((14 * 60 + 25) * 60 + 30) * 25 + 12, 0, 7, 14, 25, 30, 12},
        Row{"verified numbers are added", 25, 0, 1, 30, 0, 0, 1, 5}, Row{"numbers that failed are not", 25, 0, -1, 30, 0, 0, 0, 0},
        Row{"30000/1001 counts thirty", 30000.0 / 1001, 61, 0, 0, 0, 0, 2, 1}, Row{"no name number", 25, 50, 1, -1, 0, 0, 2, 0},
        Row{"absurd start", 25, kHuge, 1, 9, 2147483647, 0, 15, 7}}) {
    SCOPED_TRACE(row.what);
    SourceTimeline source = NumberedSource({row.firstNumber}, row.fps);
    source.timecodeStart = row.start;
    source.numberingResult = row.numbering;
    const FrameTimeline timeline = Built(std::move(source));
    EXPECT_EQ(timeline.timecodeHours, row.hours);
    if (row.start == kHuge) continue;  // that it holds still is enough
    EXPECT_EQ(timeline.timecodeMinutes, row.minutes);
    EXPECT_EQ(timeline.timecodeSeconds, row.seconds);
    EXPECT_EQ(timeline.timecodeFrames, row.frames);
  }
  EXPECT_FALSE(Built(NumberedSource({0}, 256)).timecodeRateFits);
  EXPECT_TRUE(Built(NumberedSource({0}, 255)).timecodeRateFits);
}

TEST(FrameTimeline, BadFramesAreCoveredByTheirNeighbours) {
  FrameTimeline timeline = Built(NumberedSource({0, 1, 3}));
  EXPECT_EQ(MapText(timeline), "0=* 1=* 1r 2=* ");
  EXPECT_EQ(timeline.repeats, 1);

  ASSERT_EQ(frame_timeline_mark_bad(&timeline, 0, Message()), 0);
  EXPECT_EQ(MapText(timeline), "1l* 1= 1r 2=* ");
  EXPECT_EQ(timeline.leadFills, 1);
  EXPECT_EQ(timeline.displayOfFrame, (std::vector<int64_t>{-1, 1, 3}));

  ASSERT_EQ(frame_timeline_mark_bad(&timeline, 2, Message()), 0);
  ASSERT_EQ(frame_timeline_mark_bad(&timeline, 2, Message()), 0);
  ASSERT_EQ(frame_timeline_mark_bad(&timeline, 99, Message()), 0);
  EXPECT_EQ(MapText(timeline), "1l* 1= 1r 1r ");
  EXPECT_EQ(timeline.repeats, 2);
  EXPECT_EQ(timeline.badFrames, 2);
  EXPECT_EQ(timeline.goodFrames, 1);

  MessageBuffer<64> message;
  EXPECT_EQ(frame_timeline_mark_bad(&timeline, 1, message), -1);
  EXPECT_STREQ(message.text(), "no whole frame");
  EXPECT_EQ(timeline.goodFrames, 0);
  EXPECT_EQ(timeline.map.size(), 4u);
}

TEST(SourceTimeline, FindsFramesByTime) {
  struct Row {
    double seconds;
    int32_t byTime, byNumber;
  };
  // Time stamps at 0, 40, 120 and 160 ms; numbers 10, 11, 13, 14 at 25 frames per second are the same instants.
  const SourceTimeline timed = TimedSource({500, 540, 620, 660}, 25, {10, 11, 13, 14});
  const SourceTimeline numbered = NumberedSource({10, 11, 13, 14}, 25);
  for (const Row& row : {Row{-5, 0, 0}, Row{0, 0, 0}, Row{0.039, 0, 0}, Row{0.04, 1, 1}, Row{0.0399999, 1, 0}, Row{0.119, 1, 1},
                         Row{0.12, 2, 2}, Row{1e9, 3, 3}, Row{1e300, 3, 3}, Row{-1e300, 0, 0}, Row{std::nan(""), 0, 0}}) {
    EXPECT_EQ(frame_at_time(timed, row.seconds), row.byTime) << row.seconds;
    EXPECT_EQ(frame_at_time(numbered, row.seconds), row.byNumber) << row.seconds;
  }
  for (int32_t frame : {0, 1, 2, 3}) {
    EXPECT_EQ(frame_at_time(timed, frame_time_seconds(timed, frame)), frame);
    EXPECT_EQ(frame_at_time(numbered, frame_time_seconds(numbered, frame)), frame);
  }
  EXPECT_DOUBLE_EQ(frame_time_seconds(numbered, 2), 0.12);
  EXPECT_EQ(frame_number(numbered, -1), 10);
  EXPECT_EQ(frame_number(numbered, 99), 14);
  EXPECT_EQ(frame_at_time(NumberedSource({10}), 100), 0);
}

}  // namespace
}  // namespace qx
