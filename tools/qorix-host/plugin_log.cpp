#include "plugin_log.h"

#include <fmt/core.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string_view>
#include <utility>

#include "standin/process.h"

namespace tool {

namespace {

constexpr const char* kLogVariable = "QORIX_IMPORT_LOG";

std::string TemporaryPath() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  return error ? "" : (folder / fmt::format("qorix-host-{:08x}.log", std::random_device()())).string();
}

}  // namespace

PluginLog::PluginLog() : path_(standin::ReadVariable(kLogVariable)) {
  temporary_ = path_.empty();
  if (temporary_) {
    path_ = TemporaryPath();
    standin::SetVariable(kLogVariable, path_);
  }
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(path_, error);
  position_ = error ? 0 : size;
}

PluginLog::~PluginLog() {
  std::error_code error;
  if (temporary_) std::filesystem::remove(path_, error);
}

std::vector<LogLine> PluginLog::TakeLines() {
  std::vector<LogLine> lines;
  std::ifstream log(path_, std::ios::binary);
  log.seekg(std::streamoff(position_));
  for (std::string line; std::getline(log, line);) {
    position_ += line.size() + 1;
    if (std::optional<LogLine> parsed = ParseLogLine(line)) lines.push_back(std::move(*parsed));
  }
  return lines;
}

std::vector<std::string> PluginLog::Take(const std::string& prefix) {
  std::vector<std::string> messages;
  for (const LogLine& line : TakeLines()) {
    if (line.text.starts_with(prefix)) messages.push_back(line.text);
  }
  return messages;
}

std::vector<RunSummary> PluginLog::TakeRuns() {
  std::vector<RunSummary> runs;
  for (const LogLine& line : TakeLines()) {
    if (const auto* run = std::get_if<RunSummary>(&line.event)) runs.push_back(*run);
  }
  return runs;
}

GraphicsFacts FindGraphics(const std::vector<LogLine>& lines) {
  constexpr std::string_view kPrefix = "GL: ", kOk = " (ok)", kNone = " (no GPU, CPU path)";
  GraphicsFacts facts = {false, "not asked for: frames are developed on the processor"};
  for (const LogLine& line : lines) {
    const std::string_view text = line.text;
    const auto inner = [&](std::string_view suffix) {
      return std::string(text.substr(kPrefix.size(), text.size() - kPrefix.size() - suffix.size()));
    };
    if (text.starts_with(kPrefix) && text.ends_with(kOk)) facts.text = inner(kOk);
    if (text.starts_with(kPrefix) && text.ends_with(kNone))
      facts.text = "none (" + inner(kNone) + "): frames are developed on the processor";
    const auto* frame = std::get_if<FrameMade>(&line.event);
    if (frame != nullptr && frame->ok) facts.used = frame->gpu;
  }
  return facts;
}

std::string RunText(const RunSummary& run) {
  const auto row = [](const char* name, const std::string& value) { return fmt::format("  {:<16} {}\n", name, value); };
  std::string text = row("frames", fmt::format("{} in {:.1f} s: {:.1f} frames/s", run.frames, run.seconds, run.framesPerSecond));
  text += row("late", fmt::format("{} longer than a frame period", run.late));
  text += row("skipped", fmt::format("{} by the host", run.skipped));
  text += row("plug-in's time", fmt::format("median {:.1f} ms, p95 {:.1f} ms a frame", run.oursMedianMs, run.oursP95Ms));
  text += row("host's pace", fmt::format("median {:.1f} ms, p95 {:.1f} ms between frames", run.hostMedianMs, run.hostP95Ms));
  if (run.seconds < 1) return text;  // the load is looked at once a second
  text += row("load", fmt::format("readers {:.0f} %, GPU {:.0f} %, {:.1f} processor cores", run.readersPercent, run.gpuPercent, run.cores));
  text += row("ready ahead", fmt::format("{} frames at the least", run.leastReadyAhead));
  return text;
}

}  // namespace tool
