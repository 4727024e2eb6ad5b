// A parsed `.cube` lookup table.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/grow_buffer.h"
#include "base/message.h"

namespace qx {

constexpr uint32_t kMaxLut1DSize = 65536;
constexpr uint32_t kMaxLut3DSize = 65;
constexpr uint64_t kMaxCubeFileBytes = 67108864;

/// Move-only. A size of 0 means that the table is absent.
struct CubeLut {
  uint32_t size1D = 0;
  GrowBuffer<float> table1D;  // size1D rows of red, green, blue, in file order
  std::array<float, 3> domainMin1D = {0, 0, 0}, domainMax1D = {1, 1, 1};
  uint32_t size3D = 0;
  GrowBuffer<float> table3D;  // size3D³ rows of red, green, blue; red varies fastest, then green, then blue
  std::array<float, 3> domainMin3D = {0, 0, 0}, domainMax3D = {1, 1, 1};
  std::string title;         // at most 127 bytes
  uint32_t contentHash = 0;  // changes with the content, never 0 for a parsed LUT
};

/// 0, or -1 with a message and an empty `lut`. Strict: any malformed line fails the whole text. Any thread.
[[nodiscard]] int ParseCubeLut(std::string_view text, CubeLut* lut, Message message);

/// Frees the tables and leaves an empty record.
void FreeCubeLut(CubeLut* lut);

}  // namespace qx
