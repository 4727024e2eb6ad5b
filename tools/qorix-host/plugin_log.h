// What the plug-in writes into its diagnostic log while this program drives it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "log_events.h"

namespace tool {

/// Make it before the plug-in is loaded. Reads the log that QORIX_IMPORT_LOG names, or switches one on in a temporary file that goes with
/// the object.
class PluginLog {
 public:
  PluginLog();
  ~PluginLog();
  PluginLog(const PluginLog&) = delete;
  PluginLog& operator=(const PluginLog&) = delete;

  /// What the plug-in has written since the last call.
  std::vector<LogLine> TakeLines();
  /// Of these lines, the messages that begin with `prefix`.
  std::vector<std::string> Take(const std::string& prefix);
  /// Of these lines, the runs of deliveries.
  std::vector<RunSummary> TakeRuns();

 private:
  std::string path_;
  bool temporary_ = false;
  uint64_t position_ = 0;  // what was in the log before is not ours
};

/// Where frames were developed, as the lines up to a delivered frame tell: the graphics card and its OpenGL version, or why there is none.
struct GraphicsFacts {
  bool used = false;
  std::string text;
};
GraphicsFacts FindGraphics(const std::vector<LogLine>& lines);

/// The run as lines for people.
std::string RunText(const RunSummary& run);

}  // namespace tool
