#include "tools/qorix-host/log_events.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tool {
namespace {

// An event in few words, so that a table can show it.
struct Words {
  std::string operator()(const OtherLine&) const { return "other"; }
  std::string operator()(const PluginStarted& start) const { return "start: " + start.settings; }
  std::string operator()(const ClipOpened& clip) const {
    return Join("clip", clip.path, clip.full.width, clip.full.height, clip.half.width, clip.quarter.height, clip.frames, clip.rateNumerator,
                clip.rateDenominator, clip.hasAudio, clip.audioChannels, clip.audioRate, clip.audioSamples, clip.timecode, clip.label,
                clip.curve, clip.lut, clip.exposureEv);
  }
  std::string operator()(const FrameMade& frame) const {
    return Join("made", frame.frame, frame.size, frame.ok ? "ok" : "FAIL", frame.gpu ? "GPU" : "CPU", frame.readMs, frame.developMs,
                frame.readbackMs, frame.copyMs, frame.waitMs, frame.converted ? "convert" : "copy", frame.deliveryMs, frame.step);
  }
  std::string operator()(const FrameDelivered& frame) const {
    return Join("delivered", frame.frame, frame.async ? "async" : "sync", frame.width, frame.height, frame.format, frame.bufferMs,
                frame.frameMs, frame.sinceLastMs, frame.parallel, frame.intent, frame.ratio, frame.rate, frame.quality);
  }
  std::string operator()(const SecondSummary& sum) const {
    return Join("second", sum.width, sum.framesPerSecond, sum.skipped, sum.oursMedianMs, sum.oursP95Ms, sum.hostMedianMs, sum.hostP95Ms,
                sum.readyAhead, sum.queued, sum.running, sum.readersPercent, sum.gpuPercent, sum.cores, sum.audioCalls, sum.audioAverageMs,
                sum.audioLongestMs);
  }
  std::string operator()(const RunSummary& run) const {
    return Join("run", run.seconds, run.width, run.frames, run.framesPerSecond, run.skipped, run.oursMedianMs, run.oursP95Ms,
                run.hostMedianMs, run.hostP95Ms, run.late, run.readersPercent, run.gpuPercent, run.cores, run.leastReadyAhead);
  }
  std::string operator()(const Remark& remark) const {
    static constexpr const char* kNames[] = {"note", "warning", "error"};
    return kNames[int(remark.severity)];
  }

  template <typename... Values>
  static std::string Join(const Values&... values) {
    std::ostringstream out;
    const char* separator = "";
    ((out << separator << values, separator = "|"), ...);
    return out.str();
  }
};

TEST(LogEvents, ReadsEveryKindOfLine) {
  struct Row {
    const char* text;  // without time and thread
    const char* event;
  };
  for (const Row& row : {
           Row{"settings: async off, tag on", "start: async off, tag on"},
           Row{"open /a: b/c.zip: 3840x2160 (half 1920x1080, quarter 960x540), 123 frames, 24000/1001 fps, audio 1 (2 ch, 48000 Hz, "
               "246000), tc 01:00:00:00, CinemaDNG RAW-ZIP; curve 2, lut off, ev -0.50",
               "clip|/a: b/c.zip|3840|2160|1920|540|123|24000|1001|1|2|48000|246000|01:00:00:00|CinemaDNG RAW-ZIP|2|off|-0.5"},
           Row{"frame 12: ok CPU, read 1.5, develop 20.0 (readback wait 0.0, copy 0.1), wait 3.2, copy 0.4 ms, step 1",
               "made|12|full|ok|CPU|1.5|20|0|0.1|3.2|copy|0.4|1"},
           Row{"frame 12 quarter: FAIL GPU, read 1.5, develop 2.0 (readback wait 0.5, copy 0.1), wait 3.2, convert 0.4 ms, step -8",
               "made|12|quarter|FAIL|GPU|1.5|2|0.5|0.1|3.2|convert|0.4|-8"},
           Row{"deliver 7 async 960x540 uyv7: ppix 0.2, frame 3.4 ms; since last -7.6 ms; parallel 2; intent 4 ratio 1.00 rate 0.50 "
               "quality 2",
               "delivered|7|async|960|540|uyv7|0.2|3.4|-7.6|2|4|1|0.5|2"},
           Row{"sum: 1920x, 25.0 fr/s, skipped 3, ours med 10.0 / p95 20.0 ms, Premiere med 30.0 / p95 40.0 ms, ready ahead 6, queued 2, "
               "running 1, readers busy 50 %, GPU thread busy 25 %, process 2.5 cores; audio 4 calls, avg 1.25 / max 3.21 ms",
               "second|1920|25|3|10|20|30|40|6|2|1|50|25|2.5|4|1.25|3.21"},
           Row{"session: 2.0 s, 1920x, frames 51 (25.5/s), Premiere skipped 5, ours med 10.0 / p95 20.0 ms, Premiere med 30.0 / p95 31.0 "
               "ms, ours longer than frame period 4, readers busy 76 %, GPU thread busy 25 %, process 2.5 cores, min ready ahead 3",
               "run|2|1920|51|25.5|5|10|20|30|31|4|76|25|2.5|3"},
           Row{"selector 47 first call", "other"},
           Row{"initiate 4 half", "other"},
           // What a person should see.
           Row{"frame 4 unreadable: frame 4 not read (-3)", "warning"},
           Row{"frame 4: frame 3 is shown instead", "warning"},
           Row{"frame 4: 1 of 4 slices damaged, 1 filled from frame 3", "warning"},
           Row{"frame 0: GPU failed, CPU from now on", "warning"},
           Row{"frame 4 (64x48 bgra): FAIL", "error"},
           Row{"GL: no OpenGL context in this build (no GPU, CPU path)", "warning"},
           Row{"open a.zip: not ours: not ZIP or no whole record", "error"},
           Row{"open a.zip: announced as a RAW-ZIP archive, is a .qorix recording — not opened under this name", "error"},
           Row{"open a.zip: defaults from the registry failed: no LUT — converter defaults", "warning"},
           Row{"source: central directory not read", "warning"},
           Row{"source: .qorix: 8 frames, timeline by sensor timestamps, slots by timestamp step (spec §6.4)", "note"},
           Row{"source: frame index: 8 rows, timeline by sensor timestamps", "note"},
           Row{"selector 47: exception c0000005", "error"},
           Row{"reader 1: cannot open", "error"},
           Row{"prefs a.zip: not applied: no LUT", "warning"},
           // Cut, damaged, from elsewhere.
           Row{"open a.zip: 3840x2160 (half 1920x1080, quarter", "other"},
           Row{"frame 12: ok CPU, read 1.5, develop", "other"},
           Row{"deliver 99999999999999999999 sync 960x540 uyv7: ppix 0.2, frame 3.4 ms", "other"},
           Row{"sum: 1920x, nan fr/s, skipped 3, ours med 10.0 / p95 20.0 ms", "other"},
           Row{"frame 1: ok CPU, read inf, develop 2.0 (readback wait 0.5, copy 0.1), wait 3.2, copy 0.4 ms, step 1", "other"},
           Row{"", "other"},
       }) {
    SCOPED_TRACE(row.text);
    const std::optional<LogLine> line = ParseLogLine(std::string("18:05:06.310 [6689] ") + row.text + "\r\n");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->text, row.text);
    EXPECT_EQ(std::visit(Words(), line->event), row.event);
  }
}

TEST(LogEvents, SaysWhatANumberMeans) {
  const std::optional<LogLine> line = ParseLogLine("10:00:00.000 [1] frame 4 unreadable: frame 4 not read (-3)");
  ASSERT_TRUE(line);
  EXPECT_TRUE(std::get<Remark>(line->event).advice.starts_with("Its compressed data is damaged. "));
}

TEST(LogEvents, ReadsTimeAndThread) {
  const std::optional<LogLine> line = ParseLogLine("23:59:58.007 [18446744] x");
  ASSERT_TRUE(line);
  EXPECT_DOUBLE_EQ(line->seconds, 86398.007);
  EXPECT_EQ(line->thread, 18446744u);
  for (const char* text : {"", "sum: 1920x", "24:00:00.000 [1] x", "10:60:00.000 [1] x", "10:00:00.000 [1]", "10:00:00 [1] x",
                           "a0:00:00.000 [1] x", "-1:00:00.000 [1] x", "10:00:00.000 [-1] x"}) {
    EXPECT_FALSE(ParseLogLine(text)) << text;
  }
}

}  // namespace
}  // namespace tool
