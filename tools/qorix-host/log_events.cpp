#include "log_events.h"

#include "line_pattern.h"

namespace tool {

namespace {

std::optional<ClipOpened> ParseOpened(std::string_view text) {
  constexpr std::string_view kPrefix = "open ";
  if (!text.starts_with(kPrefix)) return std::nullopt;
  // A path may hold what stands behind it.
  for (size_t at = text.find(": "); at != std::string_view::npos; at = text.find(": ", at + 1)) {
    ClipOpened clip;
    if (!MatchLine(
            text.substr(at + 2),
            "{}x{} (half {}x{}, quarter {}x{}), {} frames, {}/{} fps, audio {} ({} ch, {} Hz, {}), tc {}, {}; curve {}, lut {}, ev {}",
            &clip.full.width, &clip.full.height, &clip.half.width, &clip.half.height, &clip.quarter.width, &clip.quarter.height,
            &clip.frames, &clip.rateNumerator, &clip.rateDenominator, &clip.hasAudio, &clip.audioChannels, &clip.audioRate,
            &clip.audioSamples, &clip.timecode, &clip.label, &clip.curve, &clip.lut, &clip.exposureEv)) {
      continue;
    }
    clip.path = text.substr(kPrefix.size(), at - kPrefix.size());
    return clip;
  }
  return std::nullopt;
}

std::optional<FrameMade> ParseFrameMade(std::string_view text) {
  FrameMade frame;
  std::string name, result, path, delivery;
  if (!MatchLine(text, "frame {}: {} {}, read {}, develop {} (readback wait {}, copy {}), wait {}, {} {} ms, step {}", &name, &result,
                 &path, &frame.readMs, &frame.developMs, &frame.readbackMs, &frame.copyMs, &frame.waitMs, &delivery, &frame.deliveryMs,
                 &frame.step)) {
    return std::nullopt;
  }
  frame.size = "full";
  if (!MatchLine(name, "{}", &frame.frame) && !MatchLine(name, "{} {}", &frame.frame, &frame.size)) return std::nullopt;
  frame.ok = result == "ok";
  frame.gpu = path == "GPU";
  frame.converted = delivery == "convert";
  return frame;
}

std::optional<FrameDelivered> ParseDelivered(std::string_view text) {
  FrameDelivered frame;
  std::string mode;
  if (!MatchLine(text, "deliver {} {} {}x{} {}: ppix {}, frame {} ms; since last {} ms; parallel {}; intent {} ratio {} rate {} quality {}",
                 &frame.frame, &mode, &frame.width, &frame.height, &frame.format, &frame.bufferMs, &frame.frameMs, &frame.sinceLastMs,
                 &frame.parallel, &frame.intent, &frame.ratio, &frame.rate, &frame.quality)) {
    return std::nullopt;
  }
  frame.async = mode == "async";
  return frame;
}

std::optional<SecondSummary> ParseSecond(std::string_view text) {
  SecondSummary sum;
  const bool matched = MatchLine(
      text,
      "sum: {}x, {} fr/s, skipped {}, ours med {} / p95 {} ms, Premiere med {} / p95 {} ms, ready ahead {}, queued {}, running {}, readers "
      "busy {} %, GPU thread busy {} %, process {} cores; audio {} calls, avg {} / max {} ms",
      &sum.width, &sum.framesPerSecond, &sum.skipped, &sum.oursMedianMs, &sum.oursP95Ms, &sum.hostMedianMs, &sum.hostP95Ms, &sum.readyAhead,
      &sum.queued, &sum.running, &sum.readersPercent, &sum.gpuPercent, &sum.cores, &sum.audioCalls, &sum.audioAverageMs,
      &sum.audioLongestMs);
  return matched ? std::optional(sum) : std::nullopt;
}

std::optional<RunSummary> ParseRun(std::string_view text) {
  RunSummary run;
  std::string suffix;
  const bool matched = MatchLine(
      text,
      "session: {} s, {}x{}, frames {} ({}/s), Premiere skipped {}, ours med {} / p95 {} ms, Premiere med {} / p95 {} ms, ours longer than "
      "frame period {}, readers busy {} %, GPU thread busy {} %, process {} cores, min ready ahead {}",
      &run.seconds, &run.width, &suffix, &run.frames, &run.framesPerSecond, &run.skipped, &run.oursMedianMs, &run.oursP95Ms,
      &run.hostMedianMs, &run.hostP95Ms, &run.late, &run.readersPercent, &run.gpuPercent, &run.cores, &run.leastReadyAhead);
  return matched ? std::optional(run) : std::nullopt;
}

// A source note that tells of nothing wrong.
bool IsRoutineNote(std::string_view note) {
  return note.starts_with(".qorix") || note.starts_with("numbers = ") ||
         note.find(" rows, timeline by sensor timestamps") != std::string_view::npos;
}

struct RemarkRule {
  std::string_view begins, contains;
  Severity severity;
  const char* advice;
};

// The first rule that fits decides.
constexpr RemarkRule kRemarkRules[] = {
    {"open ", ": announced as ", Severity::kError, "The file's name ends wrongly for what it is. Rename it, then import it again."},
    {"open ", ": not ours: ", Severity::kError,
     "The file was not opened. If it should be a recording, qorix-check tells what is left of it."},
    {"open ", ": defaults from the registry failed: ", Severity::kWarning,
     "The saved settings for new clips do not work; the clip opened with the built-in ones."},
    {"frame ", " unreadable: ", Severity::kWarning, "This frame of the recording is damaged. qorix-check lists all of them."},
    {"frame ", " is shown instead", Severity::kWarning, "Stands in for a damaged frame: the picture repeats there."},
    {"frame ", " slices damaged", Severity::kWarning, "Part of the frame shows an earlier frame, or is black. Look at it before delivery."},
    {"frame ", ": GPU failed, CPU from now on", Severity::kWarning,
     "This clip is developed on the processor from here on: the same picture. Expected where a \"GL:\" line found no card; else update the "
     "graphics driver and reopen the clip."},
    {"frame ", "): FAIL", Severity::kError, "The host received no frame. The lines before it say why."},
    {"GPU frame failed", "", Severity::kWarning, "A development on the graphics card failed; the processor takes over."},
    {"GPU direct buffers failed", "", Severity::kWarning, "The graphics card takes the slower upload path."},
    {"GPU output pass failed", "", Severity::kWarning, "Frames are converted on the processor instead of the graphics card."},
    {"output pass: not built", "", Severity::kWarning, "Frames are converted on the processor instead of the graphics card."},
    {"GL: ", "CPU path", Severity::kWarning, "No graphics card is used: everything is developed on the processor."},
    {"GL: ", " refused", Severity::kWarning, "A software renderer is slower than the processor path and is not used."},
    {"CPU frame ", "", Severity::kError, "The development of a frame failed."},
    {"CPU session: ", "", Severity::kError, "The development could not be set up, mostly for want of memory."},
    {"selector ", ": exception ", Severity::kError, "A fault inside the plug-in, caught before it reached the host. Please report it."},
    {"", "settings window closed: exception ", Severity::kError,
     "A fault inside the plug-in, caught before it reached the host. Please report it."},
    {"async selector ", ": exception ", Severity::kError,
     "A fault inside the plug-in, caught before it reached the host. Please report it."},
    {"reader ", ": ", Severity::kError, "A reader could not open the file: it was moved, or the disk went away."},
    {"prefs ", ": not applied: ", Severity::kWarning, "The settings saved with the clip do not work; it keeps those it had."},
    {"preview: settings not applied", "", Severity::kWarning, ""},
    {"", ": LUT path does not fit ", Severity::kWarning, "The LUT is not saved with this clip: shorten its path."},
    {"refresh ", ": no Importer File Manager Suite", Severity::kWarning, "The host cannot be told of changed settings: reopen the clip."},
};

// What a line says of a record that could not be read is a number.
const char* ReasonOfCode(std::string_view text) {
  struct Row {
    std::string_view end;
    const char* words;
  };
  for (const Row& row :
       {Row{"not read (-1)", "The file holds no such record there. "}, Row{"not read (-2)", "Its compression is not supported. "},
        Row{"not read (-3)", "Its compressed data is damaged. "}, Row{"not read (-4)", "It has not the recorded size. "},
        Row{"not read (-5)", "There was not enough memory. "}}) {
    if (text.ends_with(row.end)) return row.words;
  }
  return "";
}

std::optional<Remark> FindRemark(std::string_view text) {
  constexpr std::string_view kSource = "source: ";
  if (text.starts_with(kSource)) {
    if (IsRoutineNote(text.substr(kSource.size()))) return Remark{Severity::kNote, ""};
    return Remark{Severity::kWarning, "What the file says about itself. qorix-check tells more."};
  }
  for (const RemarkRule& rule : kRemarkRules) {
    if (!text.starts_with(rule.begins) || text.find(rule.contains) == std::string_view::npos) continue;
    return Remark{rule.severity, std::string(ReasonOfCode(text)) + rule.advice};
  }
  return std::nullopt;
}

LogEvent ParseEvent(std::string_view text) {
  constexpr std::string_view kSettings = "settings: ";
  if (text.starts_with(kSettings)) return PluginStarted{std::string(text.substr(kSettings.size()))};
  if (auto frame = ParseFrameMade(text)) return *frame;
  if (auto frame = ParseDelivered(text)) return *frame;
  if (auto sum = ParseSecond(text)) return *sum;
  if (auto run = ParseRun(text)) return *run;
  if (auto clip = ParseOpened(text)) return *clip;
  if (auto remark = FindRemark(text)) return *remark;
  return OtherLine{};
}

}  // namespace

std::optional<LogLine> ParseLogLine(std::string_view line) {
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
  LogLine parsed;
  int64_t hour = 0, minute = 0, second = 0, millisecond = 0, thread = 0;
  // Leading zeros are digits like any others to the pattern.
  if (!MatchLine(line, "{}:{}:{}.{} [{}] {}", &hour, &minute, &second, &millisecond, &thread, &parsed.text)) return std::nullopt;
  const auto below = [](int64_t value, int64_t limit) { return value >= 0 && value < limit; };
  if (!below(hour, 24) || !below(minute, 60) || !below(second, 61) || !below(millisecond, 1000) || thread < 0) return std::nullopt;
  parsed.seconds = double(hour * 3600 + minute * 60 + second) + double(millisecond) / 1000;
  parsed.thread = uint64_t(thread);
  parsed.event = ParseEvent(parsed.text);
  return parsed;
}

}  // namespace tool
