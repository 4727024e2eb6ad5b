#include "tools/qorix-host/log_report.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

namespace tool {
namespace {

LogReport Read(const std::string& log) {
  std::istringstream in(log);
  return ReadLog(in);
}

std::string OpenLine(const std::string& path, int width, int rate) {
  return "open " + path + ": " + std::to_string(width) + "x1080 (half 0x0, quarter 0x0), 100 frames, " + std::to_string(rate) +
         "/1 fps, audio 0 (0 ch, 0 Hz, 0), tc 01:00:00:00, CinemaDNG RAW-ZIP; curve 2, lut off, ev 0.00\n";
}

std::string DeliverLine(int frame, int width, double ms) {
  std::ostringstream line;
  line << "deliver " << frame << " sync " << width << "x1080 bgra: ppix 0.0, frame " << ms
       << " ms; since last 1.0 ms; parallel 1; intent 4 ratio 1.00 rate 1.00 quality 2\n";
  return line.str();
}

TEST(LogReport, SortsDeliveriesIntoRuns) {
  const std::string made = "frame 1: ok GPU, read 1.0, develop 2.0 (readback wait 0.0, copy 0.0), wait 3.0, copy 4.0 ms, step 1\n";
  const std::string session =
      "session: 0.1 s, 1280x, frames 2 (20.0/s), Premiere skipped 0, ours med 10.0 / p95 20.0 ms, Premiere med 30.0 / p95 30.0 ms, ours "
      "longer than frame period 0, readers busy 0 %, GPU thread busy 0 %, process 0.0 cores, min ready ahead 0\n";
  const std::string second =
      "sum: 1280x, 25.0 fr/s, skipped 3, ours med 10.0 / p95 20.0 ms, Premiere med 30.0 / p95 40.0 ms, ready ahead 6, queued 2, running 1, "
      "readers busy 50 %, GPU thread busy 25 %, process 2.5 cores; audio 4 calls, avg 1.25 / max 3.21 ms\n";
  const LogReport report = Read("23:59:59.000 [1] settings: async off\n" +             //
                                ("23:59:59.000 [1] " + OpenLine("a.zip", 1920, 25)) +  //
                                ("23:59:59.000 [1] " + OpenLine("b.zip", 1280, 50)) +  //
                                ("23:59:59.400 [1] " + DeliverLine(0, 1920, 40.1)) +   // 25 frames a second: late
                                ("23:59:59.500 [2] " + made) + ("23:59:59.500 [3] " + DeliverLine(9, 1920, 39.9)) +
                                ("23:59:59.510 [2] " + DeliverLine(1, 1920, 10)) +    // of the thread that made it
                                ("23:59:59.600 [1] " + DeliverLine(2, 1280, 20.1)) +  // 50 frames a second: late, and another width
                                ("00:00:01.000 [1] " + DeliverLine(3, 1280, 10)) + ("00:00:01.000 [1] " + second) +
                                ("00:00:01.100 [1] " + session) +                   // the host has flushed
                                ("00:00:01.200 [1] " + DeliverLine(4, 1280, 10)) +  //
                                ("00:00:02.800 [1] " + DeliverLine(5, 1280, 10)) +  // after a pause
                                ("00:00:02.801 [1] frame 5 (1280x1080 bgra): FAIL\n"));

  ASSERT_EQ(report.clips.size(), 2u);
  ASSERT_EQ(report.frames.size(), 7u);
  const auto& frames = report.frames;
  EXPECT_TRUE(frames[0].late());
  EXPECT_FALSE(frames[1].late());
  EXPECT_EQ(frames[1].made.size, "") << "made by another thread";
  EXPECT_EQ(frames[2].made.size, "full");
  EXPECT_TRUE(frames[2].made.gpu);
  EXPECT_TRUE(frames[3].late());
  EXPECT_NEAR(frames[4].start - frames[3].start, 1.4101, 1e-9) << "past midnight";
  EXPECT_FALSE(frames[5].failed);
  EXPECT_TRUE(frames[6].failed);

  std::vector<std::vector<int>> runs;  // first frame, frames, seconds, clip
  for (const auto& run : report.runs) runs.push_back({int(run.firstFrame), int(run.frameCount), int(run.secondCount), run.clip});
  EXPECT_EQ(runs, (std::vector<std::vector<int>>{{0, 3, 0, 0}, {3, 2, 1, 1}, {5, 1, 0, 1}, {6, 1, 0, 1}}));
  EXPECT_EQ(report.starts, 1);
  EXPECT_NEAR(report.lastTime - report.firstTime, 3.801, 1e-9);
}

TEST(LogReport, TellsMessagesThatDifferOnlyInTheirFrameOnce) {
  std::string log = "no log line\n";
  for (int i = 0; i < 2; ++i) log += "10:00:00.000 [1] frame 4: frame 3 is shown instead\n";
  for (const char* frame : {"4", "5", "4"}) {
    log += std::string("10:00:00.000 [1] frame ") + frame + " unreadable: frame " + frame + " not read (-3), nor frame 99\n";
  }
  log += "10:00:00.000 [1] frame 7 unreadable: cut\n";
  const LogReport report = Read(log + "10:00:00.000 [1] selector 1 first call\n10:00:00.000 [1] reader 0: cann");
  ASSERT_EQ(report.messages.size(), 4u);
  EXPECT_EQ(report.messages[0].text, "frame 4: frame 3 is shown instead");
  EXPECT_EQ(report.messages[0].count, 2);
  EXPECT_EQ(report.messages[1].text, "frame N unreadable: frame N not read (-3), nor frame M");
  EXPECT_EQ(report.messages[1].count, 3);
  EXPECT_EQ(report.messages[1].frames, (std::vector<int64_t>{4, 5}));
  EXPECT_EQ(report.messages[2].text, "frame 7 unreadable: cut");
  EXPECT_EQ(report.lines, 9);
  EXPECT_EQ(report.foreignLines, 1);
}

TEST(LogReport, ShowsHostileTextAsText) {
  const std::string hostile = "</script><script>alert(1)</script><!--\xFF\"\\ REPORT_DATA";
  const LogReport report = Read("10:00:00.000 [1] source: " + hostile + "\n10:00:00.000 [1] " + OpenLine(hostile, 1920, 25));
  const std::string page = ReportPage(report, hostile);
  EXPECT_EQ(page.find("alert(1)</script>"), std::string::npos);
  EXPECT_EQ(page.find("<!--"), std::string::npos);

  const std::string begin = "<script type=\"application/json\" id=\"data\">";
  const size_t at = page.find(begin) + begin.size();
  const nlohmann::json data = nlohmann::json::parse(page.substr(at, page.find("</script>", at) - at), nullptr, false);
  ASSERT_TRUE(data.is_object());
  const std::string shown = "</script><script>alert(1)</script><!--\xEF\xBF\xBD\"\\ REPORT_DATA";
  EXPECT_EQ(data["name"], shown);
  EXPECT_EQ(data["clips"][0]["path"], shown);
  EXPECT_EQ(data["messages"][0]["text"], "source: " + shown);
}

TEST(LogReport, NeedsNothingFromElsewhere) {
  const std::string page = ReportPage(Read(""), "empty.log");
  for (const char* reference : {" src=", " href=", "url(", "@import", "fetch(", "https://"}) {
    EXPECT_EQ(page.find(reference), std::string::npos) << reference;
  }
}

}  // namespace
}  // namespace tool
