// What the plug-in tells of itself, out of its diagnostic log.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "log_events.h"

namespace tool {

/// Sees that the plug-in, which must not be loaded yet, writes a log: the user's, or else a temporary one that goes with the object.
class PlayLog {
 public:
  PlayLog();
  ~PlayLog();
  PlayLog(const PlayLog&) = delete;
  PlayLog& operator=(const PlayLog&) = delete;

  /// What the plug-in has written since the last call.
  std::vector<LogLine> TakeLines();
  /// The runs that it has told of since the last call, in their order.
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
