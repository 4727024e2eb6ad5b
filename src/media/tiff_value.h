// Values of TIFF fields, read in place from the record.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/byte_reader.h"
#include "media/dng_parser.h"

namespace qx {

/// TIFF 6.0 field types; 13 is IFD of the TIFF/EP supplement.
enum TiffType : uint16_t {
  kTiffByte = 1,
  kTiffAscii = 2,
  kTiffShort = 3,
  kTiffLong = 4,
  kTiffRational = 5,
  kTiffSByte = 6,
  kTiffUndefined = 7,
  kTiffSShort = 8,
  kTiffSLong = 9,
  kTiffSRational = 10,
  kTiffFloat = 11,
  kTiffDouble = 12,
  kTiffIfd = 13,
};

/// Bytes of one value, 0 for an unknown type.
uint32_t TiffTypeSize(uint16_t type);

/// The value of one entry, detached from the walk. Refers to the record's bytes, which must outlive it.
struct TiffValue {
  uint16_t type = 0;
  uint32_t count = 0;
  ByteOrder order = ByteOrder::kLittle;
  Bytes bytes;  // count × type size
  uint64_t offset = 0;
  bool present = false;

  TiffValue() = default;
  explicit TiffValue(const TiffEntry& entry)
      : type(entry.type), count(entry.count), order(entry.order), bytes(entry.value), offset(entry.valueOffset), present(entry.hasValue) {}

  bool Has(uint32_t values) const { return present && count >= values; }
  bool IsRational() const { return type == kTiffRational || type == kTiffSRational; }

  /// Value `index` as a double: rationals divided (a zero denominator gives 0), 0 past the end.
  double Number(uint64_t index) const;
  /// The same, limited to the range of the integer type; a fraction is cut, not a number gives 0.
  uint64_t U64(uint64_t index) const { return ToUnsigned<uint64_t>(Number(index), 0x1p64); }
  uint32_t U32(uint64_t index) const { return ToUnsigned<uint32_t>(Number(index), 0x1p32); }
  uint16_t U16(uint64_t index) const { return ToUnsigned<uint16_t>(Number(index), 0x1p16); }
  uint8_t U8(uint64_t index) const { return ToUnsigned<uint8_t>(Number(index), 0x1p8); }

 private:
  template <typename T>
  static T ToUnsigned(double value, double limit) {
    if (!(value > 0)) return 0;
    return value >= limit ? T(~T(0)) : T(value);
  }
};

}  // namespace qx
