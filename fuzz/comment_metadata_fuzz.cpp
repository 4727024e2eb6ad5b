// The comment of an archive: any bytes must give metadata within its limits.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "rawzip/comment_metadata.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const qx::CommentMetadata metadata = qx::ParseCommentMetadata({reinterpret_cast<const char*>(data), size});
  if (metadata.rawType.size() > 31 || metadata.rawQuantizationType.size() > 31 || metadata.appVersion.size() > 127) std::abort();
  if (!(metadata.audioStretch >= 0 && metadata.audioStretch < 1000000)) std::abort();
  return 0;
}
