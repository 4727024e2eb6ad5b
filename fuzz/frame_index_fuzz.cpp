// The frame index: the first line of the input names the frames, separated by "/", the rest is the CSV.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "rawzip/frame_index.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  const size_t lineEnd = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, lineEnd);
  text.remove_prefix(std::min(lineEnd + 1, text.size()));
  std::vector<std::string_view> names;
  while (!line.empty() && names.size() < 64) {
    const size_t end = std::min(line.find('/'), line.size());
    names.push_back(line.substr(0, end));
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  const qx::FrameIndex index = qx::ParseFrameIndex(text, names);
  const bool accepted = index.state == 1;
  if (index.note.empty() || index.note.size() > 255 || index.entries.size() != (accepted ? names.size() : 0)) std::abort();
  for (const qx::FrameIndexEntry& entry : index.entries) {
    if (entry.timestampNs < 1) std::abort();
  }
  return 0;
}
