#include "qorix/tiff_block.h"

#include <algorithm>
#include <cmath>

namespace qx {

namespace {

constexpr size_t kMostEntries = 128;
constexpr uint16_t kExifPointer = 34665, kGpsPointer = 34853;
constexpr size_t kHeaderBytes = 8;

void Put16(std::vector<uint8_t>& out, uint16_t value) {
  out.insert(out.end(), {uint8_t(value), uint8_t(value >> 8)});
}
void Put32(std::vector<uint8_t>& out, uint32_t value) {
  Put16(out, uint16_t(value));
  Put16(out, uint16_t(value >> 16));
}

// The largest power of two that keeps value × 2^n within `limit`, at most 2^30.
uint32_t DenominatorFor(double value, double limit) {
  uint32_t denominator = 1u << 30;
  while (denominator > 1 && value * denominator >= limit) denominator >>= 1;
  return denominator;
}

}  // namespace

Rational ToRational(double value) {
  if (!(value > 0)) return {};
  value = std::min(value, 4294967295.0);
  const uint32_t denominator = DenominatorFor(value, 4294967295.0);
  return {uint32_t(std::llround(value * denominator)), denominator};
}

SignedRational ToSignedRational(double value) {
  if (std::isnan(value)) return {};
  const double magnitude = std::min(std::fabs(value), 2147483647.0);
  const uint32_t denominator = DenominatorFor(magnitude, 2147483647.0);
  const auto numerator = int32_t(std::llround(magnitude * denominator));
  return {value < 0 ? -numerator : numerator, int32_t(denominator)};
}

void TiffBlock::Raw(uint16_t tag, Type type, Bytes value, uint32_t unitBytes) {
  std::vector<Entry>& entries = entries_[size_t(ifd_)];
  const bool known = std::any_of(entries.begin(), entries.end(), [=](const Entry& entry) { return entry.tag == tag; });
  if (known || entries.size() >= kMostEntries) return;
  entries.push_back({tag, type, uint32_t(value.size() / unitBytes), {value.begin(), value.end()}});
}

void TiffBlock::Ascii(uint16_t tag, std::string_view text) {
  std::vector<uint8_t> value(text.begin(), text.end());
  value.push_back(0);
  Raw(tag, kAscii, value, 1);
}

void TiffBlock::Short(uint16_t tag, std::span<const uint16_t> values) {
  std::vector<uint8_t> bytes;
  bytes.reserve(values.size() * 2);
  for (const uint16_t value : values) Put16(bytes, value);
  Raw(tag, kShort, bytes, 2);
}

void TiffBlock::Long(uint16_t tag, std::initializer_list<uint32_t> values) {
  std::vector<uint8_t> bytes;
  for (const uint32_t value : values) Put32(bytes, value);
  Raw(tag, kLong, bytes, 4);
}

void TiffBlock::Rationals(uint16_t tag, std::span<const Rational> values) {
  std::vector<uint8_t> bytes;
  for (const Rational& value : values) {
    Put32(bytes, value.numerator);
    Put32(bytes, value.denominator);
  }
  Raw(tag, kRational, bytes, 8);
}

void TiffBlock::SignedRationals(uint16_t tag, std::span<const SignedRational> values) {
  std::vector<uint8_t> bytes;
  for (const SignedRational& value : values) {
    Put32(bytes, uint32_t(value.numerator));
    Put32(bytes, uint32_t(value.denominator));
  }
  Raw(tag, kSignedRational, bytes, 8);
}

std::vector<uint8_t> TiffBlock::Build() && {
  Select(TiffIfdKind::kMain);
  if (!entries_[1].empty()) Long(kExifPointer, {0});
  if (!entries_[2].empty()) Long(kGpsPointer, {0});

  // All IFDs first, then the values that do not fit their entries.
  uint32_t ifdOffset[3] = {};
  uint32_t dataOffset = kHeaderBytes;
  for (size_t i = 0; i < 3; ++i) {
    if (entries_[i].empty()) continue;
    ifdOffset[i] = dataOffset;
    dataOffset += uint32_t(2 + 12 * entries_[i].size() + 4);
  }
  std::vector<uint8_t> out = {'I', 'I', 42, 0};
  Put32(out, kHeaderBytes);
  std::vector<uint8_t> data;
  for (size_t i = 0; i < 3; ++i) {
    std::vector<Entry>& entries = entries_[i];
    if (entries.empty()) continue;
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
    Put16(out, uint16_t(entries.size()));
    for (Entry& entry : entries) {
      if (i == 0 && entry.tag == kExifPointer) entry.value = {uint8_t(ifdOffset[1]), uint8_t(ifdOffset[1] >> 8), 0, 0};
      if (i == 0 && entry.tag == kGpsPointer) entry.value = {uint8_t(ifdOffset[2]), uint8_t(ifdOffset[2] >> 8), 0, 0};
      Put16(out, entry.tag);
      Put16(out, entry.type);
      Put32(out, entry.count);
      if (entry.value.size() <= 4) {
        entry.value.resize(4);
        out.insert(out.end(), entry.value.begin(), entry.value.end());
      } else {
        Put32(out, dataOffset + uint32_t(data.size()));
        data.insert(data.end(), entry.value.begin(), entry.value.end());
        if (data.size() % 2 != 0) data.push_back(0);  // values begin on even offsets
      }
    }
    Put32(out, 0);
  }
  out.insert(out.end(), data.begin(), data.end());
  return out;
}

}  // namespace qx
