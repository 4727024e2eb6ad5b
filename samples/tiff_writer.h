// Writes classic TIFF files: entries in any type, SubIFDs, EXIF and GPS IFDs, chained IFDs, image data before or after the tags.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qx {

enum class TiffOrder { kLittle, kBig };

/// One IFD under construction. An entry that is added twice replaces the first. Values that TIFF stores as fractions are given as doubles
/// and kept to a millionth.
class TiffIfd {
 public:
  explicit TiffIfd(TiffOrder order) : order_(order) {}

  TiffOrder order() const { return order_; }

  void Byte(uint16_t tag, std::span<const uint8_t> values) { Raw(tag, 1, values.size(), {values.begin(), values.end()}); }
  void Undefined(uint16_t tag, std::span<const uint8_t> values) { Raw(tag, 7, values.size(), {values.begin(), values.end()}); }
  /// The text and its terminating zero.
  void Ascii(uint16_t tag, std::string_view text);
  void Short(uint16_t tag, std::span<const uint16_t> values);
  void Short(uint16_t tag, uint16_t value) { Short(tag, std::span(&value, 1)); }
  void Long(uint16_t tag, std::span<const uint32_t> values);
  void Long(uint16_t tag, uint32_t value) { Long(tag, std::span(&value, 1)); }
  void Double(uint16_t tag, std::span<const double> values);
  void Rational(uint16_t tag, std::span<const double> values);
  void SRational(uint16_t tag, std::span<const double> values);
  /// Numerators and denominators as they stand; `type` 5 or 10.
  void Fractions(uint16_t tag, uint16_t type, std::span<const std::pair<int64_t, int64_t>> values);
  /// Any entry; `bytes` in this IFD's byte order. Count and type need not fit the bytes: that is how damaged entries are made.
  void Raw(uint16_t tag, uint16_t type, uint64_t count, std::vector<uint8_t> bytes);

  void Remove(uint16_t tag);

  /// An IFD that the entry `tag` points to: 330 SubIFDs (any number), 34665 EXIF, 34853 GPS.
  void AddChild(uint16_t tag, TiffIfd child) { children_.emplace_back(tag, std::move(child)); }

  /// Appends the IFD with its values and children to `file`, which begins with the TIFF header. Returns the IFD's offset.
  uint32_t AppendTo(std::vector<uint8_t>* file, uint32_t nextIfdOffset) const;

 private:
  struct Entry {
    uint16_t tag = 0, type = 0;
    uint32_t count = 0;
    std::vector<uint8_t> bytes;
  };

  TiffOrder order_;
  std::vector<Entry> entries_;
  std::vector<std::pair<uint16_t, TiffIfd>> children_;
};

/// A whole file: the header, `imageData` directly behind it (at offset 8), then the IFDs. The first IFD is IFD0, the others are chained to
/// it.
std::vector<uint8_t> WriteTiff(std::span<const TiffIfd> chain, std::span<const uint8_t> imageData);

/// Integers at the end of `bytes`, in that byte order.
void AppendTiff16(std::vector<uint8_t>* bytes, TiffOrder order, uint16_t value);
void AppendTiff32(std::vector<uint8_t>* bytes, TiffOrder order, uint32_t value);
void AppendTiff64(std::vector<uint8_t>* bytes, TiffOrder order, uint64_t value);
void AppendTiffF64(std::vector<uint8_t>* bytes, TiffOrder order, double value);

}  // namespace qx
