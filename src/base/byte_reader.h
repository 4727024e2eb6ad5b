// Bounds-checked reading of integers from bytes that nobody vouches for.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace qx {

using Bytes = std::span<const uint8_t>;

enum class ByteOrder { kLittle, kBig };

/// Unchecked loads for places that have already proved the bounds. `p` needs no alignment.
inline uint16_t LoadU16Le(const uint8_t* p) {
  return uint16_t(p[0] | p[1] << 8);
}
inline uint16_t LoadU16Be(const uint8_t* p) {
  return uint16_t(p[1] | p[0] << 8);
}
inline uint32_t LoadU32Le(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline uint32_t LoadU32Be(const uint8_t* p) {
  return uint32_t(p[3]) | uint32_t(p[2]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[0]) << 24;
}
inline uint64_t LoadU64Le(const uint8_t* p) {
  return LoadU32Le(p) | uint64_t(LoadU32Le(p + 4)) << 32;
}
inline uint64_t LoadU64Be(const uint8_t* p) {
  return LoadU32Be(p + 4) | uint64_t(LoadU32Be(p)) << 32;
}
inline float LoadF32Le(const uint8_t* p) {
  return std::bit_cast<float>(LoadU32Le(p));
}

/// A cursor over bytes. The first read past the end makes the reader fail for good: every later read yields 0 or an empty span, so a whole
/// record can be read first and `ok()` asked once. Does not own the bytes. Not thread-safe.
class ByteReader {
 public:
  explicit ByteReader(Bytes bytes, ByteOrder order = ByteOrder::kLittle) : bytes_(bytes), order_(order) {}

  bool ok() const { return ok_; }
  size_t position() const { return at_; }
  size_t remaining() const { return ok_ ? bytes_.size() - at_ : 0; }
  ByteOrder order() const { return order_; }

  /// Moves to an absolute position; one past the last byte is allowed.
  void Seek(uint64_t position) {
    if (!ok_ || position > bytes_.size()) {
      ok_ = false;
    } else {
      at_ = size_t(position);
    }
  }
  void Skip(uint64_t count) { Take(count); }
  Bytes Take(uint64_t count) {
    if (!ok_ || count > bytes_.size() - at_) {
      ok_ = false;
      return {};
    }
    const Bytes part = bytes_.subspan(at_, size_t(count));
    at_ += size_t(count);
    return part;
  }

  uint8_t U8() {
    const Bytes part = Take(1);
    return part.empty() ? 0 : part[0];
  }
  uint16_t U16Le() { return Load<uint16_t>(LoadU16Le); }
  uint16_t U16Be() { return Load<uint16_t>(LoadU16Be); }
  uint32_t U32Le() { return Load<uint32_t>(LoadU32Le); }
  uint32_t U32Be() { return Load<uint32_t>(LoadU32Be); }
  uint64_t U64Le() { return Load<uint64_t>(LoadU64Le); }
  uint64_t U64Be() { return Load<uint64_t>(LoadU64Be); }
  float F32Le() { return std::bit_cast<float>(U32Le()); }
  double F64Be() { return std::bit_cast<double>(U64Be()); }

  /// The same in the reader's own byte order.
  uint16_t U16() { return order_ == ByteOrder::kLittle ? U16Le() : U16Be(); }
  uint32_t U32() { return order_ == ByteOrder::kLittle ? U32Le() : U32Be(); }
  uint64_t U64() { return order_ == ByteOrder::kLittle ? U64Le() : U64Be(); }

 private:
  template <typename T>
  T Load(T (*load)(const uint8_t*)) {
    const Bytes part = Take(sizeof(T));
    return part.empty() ? T(0) : load(part.data());
  }

  Bytes bytes_;
  ByteOrder order_;
  size_t at_ = 0;
  bool ok_ = true;
};

}  // namespace qx
