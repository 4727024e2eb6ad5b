// The lines of the plug-in's diagnostic log, read back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tool {

/// The plug-in was loaded: "settings: …".
struct PluginStarted {
  std::string settings;
};

/// "open PATH: WIDTHxHEIGHT …".
struct ClipOpened {
  struct FrameSize {
    int64_t width = 0, height = 0;
  };
  std::string path;
  FrameSize full, half, quarter;  // 0 × 0: not offered
  int64_t frames = 0, rateNumerator = 0, rateDenominator = 0;
  int64_t hasAudio = 0, audioChannels = 0, audioRate = 0, audioSamples = 0;
  std::string timecode, label, lut;
  int64_t curve = 0;
  double exposureEv = 0;
};

/// "frame N: ok CPU, read …": how a requested frame came to be. Milliseconds.
struct FrameMade {
  int64_t frame = 0, step = 0;
  std::string size;  // "full", "half", "quarter"
  bool ok = false, gpu = false, converted = false;
  double readMs = 0, developMs = 0, readbackMs = 0, copyMs = 0, waitMs = 0, deliveryMs = 0;
};

/// "deliver N sync WIDTHxHEIGHT …". Milliseconds.
struct FrameDelivered {
  int64_t frame = 0, width = 0, height = 0, parallel = 0, intent = 0, quality = 0;
  bool async = false;
  std::string format;
  double bufferMs = 0, frameMs = 0, sinceLastMs = 0, ratio = 0, rate = 0;
};

/// "sum: …": the last second.
struct SecondSummary {
  int64_t width = 0, skipped = 0, readyAhead = 0, queued = 0, running = 0, audioCalls = 0;
  double framesPerSecond = 0, oursMedianMs = 0, oursP95Ms = 0, hostMedianMs = 0, hostP95Ms = 0;
  double readersPercent = 0, gpuPercent = 0, cores = 0, audioAverageMs = 0, audioLongestMs = 0;
};

/// "session: …": a run of deliveries that has ended.
struct RunSummary {
  int64_t width = 0, frames = 0, skipped = 0, late = 0, leastReadyAhead = 0;
  double seconds = 0, framesPerSecond = 0, oursMedianMs = 0, oursP95Ms = 0, hostMedianMs = 0, hostP95Ms = 0;
  double readersPercent = 0, gpuPercent = 0, cores = 0;
};

enum class Severity { kNote, kWarning, kError };

/// A line that a person should read.
struct Remark {
  Severity severity = Severity::kNote;
  std::string advice;  // what it means and what to do; "" when the line says it all
};

/// A line of another kind: routine, or of a newer plug-in.
struct OtherLine {};

using LogEvent = std::variant<OtherLine, PluginStarted, ClipOpened, FrameMade, FrameDelivered, SecondSummary, RunSummary, Remark>;

struct LogLine {
  double seconds = 0;  // since midnight, local time
  uint64_t thread = 0;
  std::string text;  // without time and thread
  LogEvent event;
};

/// Reads one line, with or without its line end. Nothing for a line that does not begin as lines of the log do; a line that was cut or is
/// not known is an OtherLine. Numbers are finite; texts are as they stand in the line and may be anything.
std::optional<LogLine> ParseLogLine(std::string_view line);

}  // namespace tool
