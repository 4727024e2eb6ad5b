// What the plug-in did wrong: collected here, reported at the end, a failure for tests.
#pragma once

#include <string>
#include <vector>

namespace standin {

/// Adds a line; printf-style. Any thread.
void ReportViolation(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// All lines so far. Any thread.
std::vector<std::string> Violations();

}  // namespace standin
