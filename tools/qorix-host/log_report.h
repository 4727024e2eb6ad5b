// A diagnostic log as one page to look at.
#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <vector>

#include "log_events.h"

namespace tool {

/// What a log tells, sorted for showing. Times are seconds since the midnight before the first line, and go on past midnight.
struct LogReport {
  struct Frame {
    double start = 0;  // when the host asked
    FrameDelivered delivered;
    FrameMade made;       // of the same request; `made.size` is empty when its line is missing
    double periodMs = 0;  // of the clip's rate, 0 when no clip was opened before
    bool failed = false;  // the host received nothing
    double totalMs() const { return delivered.bufferMs + delivered.frameMs; }
    bool late() const { return periodMs > 0 && totalMs() > periodMs; }
  };
  struct Second {
    double time = 0;
    SecondSummary sum;
  };
  /// Deliveries without a long pause and of one size.
  struct Run {
    size_t firstFrame = 0, frameCount = 0;  // of `frames`
    size_t firstSecond = 0, secondCount = 0;
    int32_t clip = -1;  // of `clips`; -1 unknown
  };
  struct Clip {
    double time = 0;
    ClipOpened opened;
  };
  /// Texts that differ only in the frames they name are told once.
  struct Message {
    double time = 0;              // of the first
    std::string text;             // of the only one, or with N for the frame that it is about and M for others
    std::vector<int64_t> frames;  // that it is about, each once, the first 200
    Remark remark;
    int64_t count = 1;
  };

  std::vector<Frame> frames;  // in the order of their lines
  std::vector<Second> seconds;
  std::vector<Run> runs;
  std::vector<Clip> clips;
  std::vector<Message> messages;
  std::string settings;  // of the last start of the plug-in
  int64_t starts = 0;
  double firstTime = 0, lastTime = 0;
  int64_t lines = 0, foreignLines = 0;  // of the file; those that are no log lines
};

/// Reads a log of any size line by line. Damaged and unknown lines are counted and skipped.
LogReport ReadLog(std::istream& log);

/// The report as one HTML page that needs nothing else. Texts of the log are shown as text, whatever they hold.
std::string ReportPage(const LogReport& report, const std::string& logName);

/// The page before the data is put in: log_report.html.
extern const char* const kReportPage;

}  // namespace tool
