// What the plug-in did wrong: collected here, reported at the end, a failure for tests.
#pragma once

#include <string>
#include <vector>

#if defined(__MINGW32__)
#define STANDIN_PRINTF(formatIndex, firstArgument) __attribute__((format(gnu_printf, formatIndex, firstArgument)))
#else
#define STANDIN_PRINTF(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))
#endif

namespace standin {

/// Adds a line; printf-style. Any thread.
void ReportViolation(const char* format, ...) STANDIN_PRINTF(1, 2);

/// All lines so far. Any thread.
std::vector<std::string> Violations();

}  // namespace standin
