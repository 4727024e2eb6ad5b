#include "pipeline/pipeline_config.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "platform/worker_pool.h"

namespace qx {

namespace {

constexpr size_t kEnvironmentBufferSize = 64;
constexpr int32_t kMaxInFlight = 8;

/// The integer at the start of `text`, limited to 32 bits; `end` is behind it, or equals `text` when there is none.
int32_t LeadingInteger(const char* text, char** end) {
  const long value = std::strtol(text, end, 10);
  return int32_t(std::clamp(value, long(INT32_MIN), long(INT32_MAX)));
}

/// The integer that a variable's text begins with; 0 when the variable is unset or holds none.
int32_t IntegerVariable(const EnvironmentLookup& environment, const char* name) {
  const std::optional<std::string> text = environment(name, kEnvironmentBufferSize);
  char* end = nullptr;
  return text.has_value() ? LeadingInteger(text->c_str(), &end) : 0;
}

struct Tuning {
  int32_t readers = 0, prefetch = 0, inFlight = 0;  // 0: not given
};

/// Reads "%d,%d,%d"; fields that the text does not reach stay 0.
Tuning ParseTuning(const std::string& text) {
  Tuning tuning;
  const char* at = text.c_str();
  for (int32_t* field : {&tuning.readers, &tuning.prefetch, &tuning.inFlight}) {
    char* end = nullptr;
    const int32_t value = LeadingInteger(at, &end);
    if (end == at) break;
    *field = value;
    if (*end != ',') break;
    at = end + 1;
  }
  return tuning;
}

int32_t DefaultViewReaders(int processors) {
  return processors < 3 ? 1 : processors < 5 ? 2 : 3;
}

}  // namespace

PipelineConfig MakePipelineConfig(int processors, const EnvironmentLookup& environment) {
  PipelineConfig config;
  const Tuning tuning = ParseTuning(environment("QORIX_IMPORT_TUNE", kEnvironmentBufferSize).value_or(""));
  const bool readersTuned = tuning.readers >= 1 && tuning.readers <= kMaxReaders;
  config.viewReaders = readersTuned ? tuning.readers : DefaultViewReaders(processors);
  if (tuning.prefetch > 0) config.prefetch = tuning.prefetch;
  if (tuning.inFlight > 0) config.inFlight = std::min(tuning.inFlight, kMaxInFlight);

  const int32_t clipMegabytes = IntegerVariable(environment, "QORIX_IMPORT_CLIPMB");
  if (clipMegabytes > 0) config.clipCacheBytes = uint64_t(clipMegabytes) << 20;

  const int32_t exportReaders = IntegerVariable(environment, "QORIX_IMPORT_XREADERS");
  config.exportReaders = exportReaders >= 1 ? exportReaders : std::max(processors / 2, config.viewReaders);
  config.exportReaders = std::max(std::min(config.exportReaders, kMaxReaders), config.viewReaders);

  const int32_t copyThreads = IntegerVariable(environment, "QORIX_IMPORT_COPYTH");
  config.copyThreads = copyThreads >= 1 ? copyThreads : processors < 5 ? 1 : 3;
  config.exportCopyThreads = std::max(processors / 2, config.copyThreads);
  config.developThreads = std::clamp(processors - 1, 0, kMaxWorkers - 1);
  return config;
}

}  // namespace qx
