// Settings blocks put together byte by byte, as the format says.
#pragma once

#include <bit>
#include <cstdint>
#include <string_view>
#include <vector>

namespace qx {

class BlockMaker {
 public:
  explicit BlockMaker(size_t size) : bytes_(size) {}
  BlockMaker& U32(size_t at, uint32_t value) { return Put(at, value, 4); }
  BlockMaker& F32(size_t at, float value) { return Put(at, std::bit_cast<uint32_t>(value), 4); }
  BlockMaker& F64(size_t at, double value) { return Put(at, std::bit_cast<uint64_t>(value), 8); }
  BlockMaker& Text(size_t at, std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) bytes_.at(at + i) = uint8_t(text[i]);
    return *this;
  }
  BlockMaker& Text(size_t at, std::u16string_view text) {
    for (size_t i = 0; i < text.size(); ++i) Put(at + 2 * i, text[i], 2);
    return *this;
  }
  BlockMaker& Header(uint32_t version, uint32_t length, uint32_t generation) {
    return Text(0, "QXPS").U32(4, version).U32(8, length).U32(12, generation);
  }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  BlockMaker& Put(size_t at, uint64_t value, size_t count) {
    for (size_t i = 0; i < count; ++i) bytes_.at(at + i) = uint8_t(value >> (8 * i));
    return *this;
  }
  std::vector<uint8_t> bytes_;
};

}  // namespace qx
