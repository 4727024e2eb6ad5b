#include "pipeline/gpu_switches.h"

namespace qx {

namespace {

constexpr size_t kEnvironmentBufferSize = 64;

}  // namespace

GpuSwitches ReadGpuSwitches(const EnvironmentLookup& environment) {
  const auto isSet = [&](const char* name) { return environment(name, kEnvironmentBufferSize).has_value(); };
  GpuSwitches switches;
  switches.outputPass = !isSet("QORIX_IMPORT_NOPASS");
  switches.direct = !isSet("QORIX_IMPORT_NOFAST");
  switches.readerUpload = !isSet("QORIX_IMPORT_NOUP");
  switches.packing = !isSet("QORIX_IMPORT_NOPACK");
  switches.timing = isSet("QORIX_IMPORT_GPUTIME");
  return switches;
}

}  // namespace qx
