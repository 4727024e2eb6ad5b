// Builds a small little-endian TIFF in memory: a main IFD, an EXIF IFD and a GPS IFD (TIFF 6.0, EXIF 2.32).
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"

namespace qx {

enum class TiffIfdKind { kMain = 0, kExif = 1, kGps = 2 };

struct Rational {
  uint32_t numerator = 0, denominator = 1;
};
struct SignedRational {
  int32_t numerator = 0, denominator = 1;
};
/// The closest fraction with a power of two below the line; negative or not a number gives 0.
Rational ToRational(double value);
SignedRational ToSignedRational(double value);

/// Entries go to the IFD chosen last, in any order; an IFD takes at most 128, more are left out. A tag that was added before is kept as it
/// is.
class TiffBlock {
 public:
  void Select(TiffIfdKind ifd) { ifd_ = ifd; }

  void Ascii(uint16_t tag, std::string_view text);  // the terminator is added
  void Short(uint16_t tag, std::initializer_list<uint16_t> values) { Short(tag, std::span(values.begin(), values.size())); }
  void Short(uint16_t tag, std::span<const uint16_t> values);
  void Long(uint16_t tag, std::initializer_list<uint32_t> values);
  void Byte(uint16_t tag, std::initializer_list<uint8_t> values) { Raw(tag, kByte, std::span(values.begin(), values.size()), 1); }
  void Undefined(uint16_t tag, Bytes bytes) { Raw(tag, kUndefined, bytes, 1); }
  void Rationals(uint16_t tag, std::span<const Rational> values);
  void SignedRationals(uint16_t tag, std::span<const SignedRational> values);

  /// Header, IFDs and data. Pointers to the EXIF and GPS IFDs are added when these have entries. Uses the
  /// block up.
  std::vector<uint8_t> Build() &&;

 private:
  enum Type : uint16_t { kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7, kSignedRational = 10 };
  struct Entry {
    uint16_t tag, type;
    uint32_t count;
    std::vector<uint8_t> value;
  };
  void Raw(uint16_t tag, Type type, Bytes value, uint32_t unitBytes);

  TiffIfdKind ifd_ = TiffIfdKind::kMain;
  std::vector<Entry> entries_[3];
};

}  // namespace qx
