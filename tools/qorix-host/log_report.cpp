#include "log_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

#include "line_pattern.h"

namespace tool {

namespace {

constexpr double kLongestPause = 1.5;  // seconds between the starts of two deliveries of one run
constexpr double kHalfDay = 43200, kDay = 86400;
constexpr size_t kMostMessages = 500;  // different ones
constexpr size_t kMostFrames = 200;    // named by one message
constexpr size_t kLongestLine = 4096;  // the plug-in writes 1,100 bytes at most

// "frame 4: frame 3 is shown" → "frame N: frame M is shown", and 4; -1 for a text about no frame.
std::string WithoutFrameNumbers(std::string_view text, int64_t* frame) {
  constexpr std::string_view kFrame = "frame ";
  std::string pattern;
  *frame = -1;
  while (!text.empty()) {
    const size_t at = text.find(kFrame);
    const size_t behind = at == std::string_view::npos ? text.size() : at + kFrame.size();
    pattern += text.substr(0, behind);
    text.remove_prefix(behind);
    int64_t number = 0;
    if (!line_pattern::TakeNumber(&text, &number) || number < 0) continue;
    if (*frame < 0) *frame = number;
    pattern += number == *frame ? 'N' : 'M';
  }
  return pattern;
}

class LogReader {
 public:
  void Add(std::string_view line);
  LogReport Finish() { return std::move(report_); }

 private:
  double TimeOf(const LogLine& line);
  void Take(const LogLine&, const OtherLine&) {}
  void Take(const LogLine&, const PluginStarted& started);
  void Take(const LogLine&, const ClipOpened& clip) { report_.clips.push_back({time_, clip}); }
  void Take(const LogLine& line, const FrameMade& made) { made_[line.thread] = made; }
  void Take(const LogLine& line, const FrameDelivered& delivered);
  void Take(const LogLine&, const SecondSummary& sum);
  void Take(const LogLine&, const RunSummary&);
  void Take(const LogLine& line, const Remark& remark);
  int32_t ClipOf(const FrameDelivered& delivered) const;
  void MarkFailed(std::string_view text);

  LogReport report_;
  double day_ = 0, lastOfDay_ = 0, time_ = 0;
  std::map<uint64_t, FrameMade> made_;  // the last one of each thread
  std::map<std::string, size_t> messageOf_;
  bool runEnded_ = true;
};

void LogReader::Add(std::string_view text) {
  ++report_.lines;
  const std::optional<LogLine> line = ParseLogLine(text.substr(0, kLongestLine));
  if (!line) {
    ++report_.foreignLines;
    return;
  }
  time_ = TimeOf(*line);
  std::visit([&](const auto& event) { Take(*line, event); }, line->event);
}

double LogReader::TimeOf(const LogLine& line) {
  const bool first = report_.lines == report_.foreignLines + 1;
  if (!first && line.seconds < lastOfDay_ - kHalfDay) day_ += kDay;  // midnight; lines may be a little out of order
  lastOfDay_ = line.seconds;
  const double time = day_ + line.seconds;
  if (first) report_.firstTime = time;
  report_.lastTime = first ? time : std::max(report_.lastTime, time);
  return time;
}

void LogReader::Take(const LogLine&, const PluginStarted& started) {
  report_.settings = started.settings;
  ++report_.starts;
  made_.clear();
  runEnded_ = true;
}

// The clip opened last that offers frames of this size, else the one opened last.
int32_t LogReader::ClipOf(const FrameDelivered& delivered) const {
  const auto offers = [&](const ClipOpened& clip) {
    return std::ranges::any_of(std::array{clip.full, clip.half, clip.quarter}, [&](const ClipOpened::FrameSize& size) {
      return size.width == delivered.width && size.height == delivered.height;
    });
  };
  for (size_t i = report_.clips.size(); i-- > 0;) {
    if (offers(report_.clips[i].opened)) return int32_t(i);
  }
  return int32_t(report_.clips.size()) - 1;
}

void LogReader::Take(const LogLine& line, const FrameDelivered& delivered) {
  LogReport::Frame frame;
  frame.delivered = delivered;
  frame.start = time_ - frame.totalMs() / 1000;
  const int32_t clip = ClipOf(delivered);
  if (clip >= 0) {
    const ClipOpened& opened = report_.clips[size_t(clip)].opened;
    if (opened.rateNumerator > 0 && opened.rateDenominator > 0) {
      frame.periodMs = 1000.0 * double(opened.rateDenominator) / double(opened.rateNumerator);
    }
  }
  const auto made = made_.find(line.thread);
  if (made != made_.end() && made->second.frame == delivered.frame) frame.made = std::move(made->second);
  if (made != made_.end()) made_.erase(made);

  if (!runEnded_) {
    const LogReport::Frame& last = report_.frames.back();
    runEnded_ = frame.start - last.start > kLongestPause || last.delivered.width != delivered.width;
  }
  if (runEnded_) report_.runs.push_back({report_.frames.size(), 0, report_.seconds.size(), 0, clip});
  runEnded_ = false;
  report_.frames.push_back(std::move(frame));
  ++report_.runs.back().frameCount;
}

void LogReader::Take(const LogLine&, const SecondSummary& sum) {
  report_.seconds.push_back({time_, sum});
  if (!report_.runs.empty()) ++report_.runs.back().secondCount;
}

// Written with the first delivery of the next run, or when the host flushes.
void LogReader::Take(const LogLine&, const RunSummary&) {
  if (!report_.runs.empty() && report_.runs.back().frameCount > 1) runEnded_ = true;
}

void LogReader::MarkFailed(std::string_view text) {
  int64_t number = 0;
  std::string shape;
  if (!MatchLine(text, "frame {} ({}): FAIL", &number, &shape)) return;
  for (size_t i = report_.frames.size(); i-- > 0;) {
    if (report_.frames[i].delivered.frame != number) continue;
    report_.frames[i].failed = true;
    return;
  }
}

void LogReader::Take(const LogLine& line, const Remark& remark) {
  MarkFailed(line.text);
  int64_t frame = -1;
  const std::string pattern = WithoutFrameNumbers(line.text, &frame);
  const auto known = messageOf_.find(pattern);
  if (known == messageOf_.end()) {
    if (report_.messages.size() == kMostMessages) return;
    messageOf_.emplace(pattern, report_.messages.size());
    report_.messages.push_back({time_, line.text, {}, remark, 1});
    if (frame >= 0) report_.messages.back().frames.push_back(frame);
    return;
  }
  LogReport::Message& message = report_.messages[known->second];
  ++message.count;
  if (message.text != line.text) message.text = pattern;
  const bool isNew = frame >= 0 && std::ranges::find(message.frames, frame) == message.frames.end();
  if (isNew && message.frames.size() < kMostFrames) message.frames.push_back(frame);
}

using Json = nlohmann::ordered_json;

// Two digits are more than a picture shows.
double Rounded(double value) {
  return std::round(value * 100) / 100;
}

Json FramesJson(const LogReport& report) {
  Json json = Json::array();
  for (const LogReport::Frame& frame : report.frames) {
    const FrameDelivered& delivered = frame.delivered;
    const FrameMade& made = frame.made;
    json.push_back({std::round((frame.start - report.firstTime) * 1000) / 1000, delivered.frame, Rounded(frame.totalMs()),
                    Rounded(frame.periodMs), Rounded(delivered.bufferMs), Rounded(made.waitMs), Rounded(made.deliveryMs),
                    Rounded(made.readMs), Rounded(made.developMs), made.size.empty() ? -1 : int(made.gpu), int(frame.failed),
                    Rounded(delivered.sinceLastMs), delivered.intent});
  }
  return json;
}

Json SecondsJson(const LogReport& report) {
  Json json = Json::array();
  for (const LogReport::Second& second : report.seconds) {
    const SecondSummary& sum = second.sum;
    json.push_back({std::round((second.time - report.firstTime) * 1000) / 1000, sum.framesPerSecond, sum.skipped, sum.oursMedianMs,
                    sum.oursP95Ms, sum.hostMedianMs, sum.hostP95Ms, sum.readyAhead, sum.queued, sum.running, sum.readersPercent,
                    sum.gpuPercent, sum.cores, sum.audioCalls, sum.audioAverageMs, sum.audioLongestMs});
  }
  return json;
}

Json RunsJson(const LogReport& report) {
  Json json = Json::array();
  for (const LogReport::Run& run : report.runs) {
    const FrameDelivered& first = report.frames[run.firstFrame].delivered;
    json.push_back({{"frame", run.firstFrame},
                    {"frames", run.frameCount},
                    {"second", run.firstSecond},
                    {"seconds", run.secondCount},
                    {"clip", run.clip},
                    {"width", first.width},
                    {"height", first.height},
                    {"format", first.format}});
  }
  return json;
}

Json ClipsJson(const LogReport& report) {
  Json json = Json::array();
  for (const LogReport::Clip& clip : report.clips) {
    const ClipOpened& opened = clip.opened;
    const auto size = [](const ClipOpened::FrameSize& frame) { return Json::array({frame.width, frame.height}); };
    json.push_back({{"time", clip.time},
                    {"path", opened.path},
                    {"sizes", Json::array({size(opened.full), size(opened.half), size(opened.quarter)})},
                    {"frames", opened.frames},
                    {"rate", Json::array({opened.rateNumerator, opened.rateDenominator})},
                    {"audio", opened.hasAudio != 0 ? Json::array({opened.audioChannels, opened.audioRate}) : Json()},
                    {"timecode", opened.timecode},
                    {"label", opened.label},
                    {"curve", opened.curve},
                    {"lut", opened.lut},
                    {"exposure", opened.exposureEv}});
  }
  return json;
}

Json MessagesJson(const LogReport& report) {
  static constexpr const char* kSeverities[] = {"note", "warning", "error"};
  Json json = Json::array();
  for (const LogReport::Message& message : report.messages) {
    json.push_back({{"time", message.time},
                    {"text", message.text},
                    {"frames", message.frames},
                    {"severity", kSeverities[int(message.remark.severity)]},
                    {"advice", message.remark.advice},
                    {"count", message.count}});
  }
  return json;
}

// JSON that may stand inside a script element: no text can end it.
std::string ForScript(const Json& json) {
  std::string text;
  for (const char c : json.dump(-1, ' ', false, Json::error_handler_t::replace)) {
    if (c == '<') {
      text += "\\u003c";
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

LogReport ReadLog(std::istream& log) {
  LogReader reader;
  for (std::string line; std::getline(log, line);) reader.Add(line);
  return reader.Finish();
}

std::string ReportPage(const LogReport& report, const std::string& logName) {
  const Json json = {{"name", logName},
                     {"first", report.firstTime},
                     {"last", report.lastTime},
                     {"lines", report.lines},
                     {"foreignLines", report.foreignLines},
                     {"starts", report.starts},
                     {"settings", report.settings},
                     {"clips", ClipsJson(report)},
                     {"runs", RunsJson(report)},
                     {"messages", MessagesJson(report)},
                     {"frames", FramesJson(report)},
                     {"seconds", SecondsJson(report)}};
  std::string page = kReportPage;
  const std::string_view place = "REPORT_DATA";
  return page.replace(page.find(place), place.size(), ForScript(json));
}

}  // namespace tool
