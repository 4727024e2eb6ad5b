// The diagnostic log: a text file that is opened for each line, so that it can be read, moved or deleted while the host runs.
#pragma once

#include <string>

#include "base/log.h"

namespace qx {

/// Names the log file (UTF-8; empty: log off) and installs or removes the sink of the layers below. Called once, before clips are opened.
void SetLogPath(const std::string& path);

/// Formats into 1,024 bytes and appends the line "hh:mm:ss.mmm [thread] message"; does nothing when the log is off. Any thread; lines do
/// not interleave. A line that cannot be written is lost silently.
void LogLine(const char* format, ...) QX_PRINTF(1, 2);

}  // namespace qx
