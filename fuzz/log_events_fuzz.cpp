// Lines of a diagnostic log: read without a fault, and never into numbers that are none.
#include "tools/qorix-host/log_events.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('\n'), rest.size() - 1);
    const std::optional<tool::LogLine> line = tool::ParseLogLine(rest.substr(0, end + 1));
    rest.remove_prefix(end + 1);
    if (!line) continue;
    if (!(line->seconds >= 0 && line->seconds < 86402)) std::abort();
    const auto* sum = std::get_if<tool::SecondSummary>(&line->event);
    if (sum != nullptr && !std::isfinite(sum->cores)) std::abort();
  }
  return 0;
}
