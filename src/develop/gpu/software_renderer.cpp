#include "develop/gpu/software_renderer.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/log.h"
#include "platform/environment.h"

namespace qx {

namespace {

constexpr const char* kSoftwareRenderers[] = {"llvmpipe", "softpipe", "swrast", "SWR"};

}  // namespace

bool AllowsSoftwareRenderers() {
  return ReadEnvironment("QORIX_IMPORT_GPU", 16).value_or("") == "software";
}

bool IsSoftwareRenderer(const char* renderer) {
  return renderer != nullptr && std::any_of(std::begin(kSoftwareRenderers), std::end(kSoftwareRenderers),
                                            [&](const char* name) { return std::strstr(renderer, name) != nullptr; });
}

bool MayUseSoftwareRenderer(const char* renderer) {
  const bool allowed = AllowsSoftwareRenderers();
  if (!allowed) LogPipeline("GL: software renderer (%s) refused, set QORIX_IMPORT_GPU=software to use it", renderer);
  return allowed;
}

}  // namespace qx
