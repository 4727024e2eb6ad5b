// The one way for log lines to flow downwards: the adapter installs a line writer, everything below hands it finished messages.
#pragma once

#include <cstdarg>

#include "base/message.h"

namespace qx {

/// Writes one finished UTF-8 message, without line end, as a line of the diagnostic log. Any thread.
using LogSink = void (*)(const char* message);

/// Installs the writer; null switches logging off. Set before clips are opened.
void SetLogSink(LogSink sink);
/// The installed writer, null when logging is off. Guard costly arguments with `LogIsOn()`.
LogSink GetLogSink();
inline bool LogIsOn() {
  return GetLogSink() != nullptr;
}

/// Formats into 1,024 bytes (longer text is cut) and hands the line to the sink; does nothing when logging is off. Any thread.
void LogPipeline(const char* format, ...) QX_PRINTF(1, 2);
/// The same with its arguments already collected.
void LogV(const char* format, va_list arguments) QX_PRINTF(1, 0);

/// Develop on the processor only, for the whole process. Set once at start, before clips are opened.
void SetCpuOnly(bool cpuOnly);
bool CpuOnly();

}  // namespace qx
