#include "samples/tiff_writer.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>

namespace qx {

namespace {

constexpr double kFractionDenominator = 1000000;

template <typename T>
void AppendInteger(std::vector<uint8_t>* bytes, TiffOrder order, T value) {
  for (size_t i = 0; i < sizeof(T); ++i) {
    const size_t shift = 8 * (order == TiffOrder::kLittle ? i : sizeof(T) - 1 - i);
    bytes->push_back(uint8_t(value >> shift));
  }
}

std::vector<std::pair<int64_t, int64_t>> AsFractions(std::span<const double> values) {
  std::vector<std::pair<int64_t, int64_t>> fractions;
  for (const double value : values) fractions.emplace_back(std::llround(value * kFractionDenominator), int64_t(kFractionDenominator));
  return fractions;
}

void PadToEven(std::vector<uint8_t>* file) {
  if (file->size() % 2 != 0) file->push_back(0);
}

}  // namespace

void AppendTiff16(std::vector<uint8_t>* bytes, TiffOrder order, uint16_t value) {
  AppendInteger(bytes, order, value);
}
void AppendTiff32(std::vector<uint8_t>* bytes, TiffOrder order, uint32_t value) {
  AppendInteger(bytes, order, value);
}
void AppendTiff64(std::vector<uint8_t>* bytes, TiffOrder order, uint64_t value) {
  AppendInteger(bytes, order, value);
}
void AppendTiffF64(std::vector<uint8_t>* bytes, TiffOrder order, double value) {
  AppendTiff64(bytes, order, std::bit_cast<uint64_t>(value));
}

void TiffIfd::Ascii(uint16_t tag, std::string_view text) {
  std::vector<uint8_t> bytes(text.begin(), text.end());
  bytes.push_back(0);
  const size_t count = bytes.size();
  Raw(tag, 2, count, std::move(bytes));
}

void TiffIfd::Short(uint16_t tag, std::span<const uint16_t> values) {
  std::vector<uint8_t> bytes;
  for (const uint16_t value : values) AppendTiff16(&bytes, order_, value);
  Raw(tag, 3, values.size(), std::move(bytes));
}

void TiffIfd::Long(uint16_t tag, std::span<const uint32_t> values) {
  std::vector<uint8_t> bytes;
  for (const uint32_t value : values) AppendTiff32(&bytes, order_, value);
  Raw(tag, 4, values.size(), std::move(bytes));
}

void TiffIfd::Double(uint16_t tag, std::span<const double> values) {
  std::vector<uint8_t> bytes;
  for (const double value : values) AppendTiffF64(&bytes, order_, value);
  Raw(tag, 12, values.size(), std::move(bytes));
}

void TiffIfd::Rational(uint16_t tag, std::span<const double> values) {
  Fractions(tag, 5, AsFractions(values));
}

void TiffIfd::SRational(uint16_t tag, std::span<const double> values) {
  Fractions(tag, 10, AsFractions(values));
}

void TiffIfd::Fractions(uint16_t tag, uint16_t type, std::span<const std::pair<int64_t, int64_t>> values) {
  std::vector<uint8_t> bytes;
  for (const auto& [numerator, denominator] : values) {
    AppendTiff32(&bytes, order_, uint32_t(numerator));
    AppendTiff32(&bytes, order_, uint32_t(denominator));
  }
  Raw(tag, type, values.size(), std::move(bytes));
}

void TiffIfd::Raw(uint16_t tag, uint16_t type, uint64_t count, std::vector<uint8_t> bytes) {
  Remove(tag);
  entries_.push_back({tag, type, uint32_t(count), std::move(bytes)});
}

void TiffIfd::Remove(uint16_t tag) {
  std::erase_if(entries_, [tag](const Entry& entry) { return entry.tag == tag; });
}

uint32_t TiffIfd::AppendTo(std::vector<uint8_t>* file, uint32_t nextIfdOffset) const {
  TiffIfd complete = *this;
  std::map<uint16_t, std::vector<uint32_t>> childOffsets;
  for (const auto& [tag, child] : children_) childOffsets[tag].push_back(child.AppendTo(file, 0));
  for (const auto& [tag, offsets] : childOffsets) complete.Long(tag, offsets);
  std::ranges::sort(complete.entries_, {}, &Entry::tag);

  std::vector<uint8_t> table;
  AppendTiff16(&table, order_, uint16_t(complete.entries_.size()));
  for (Entry& entry : complete.entries_) {
    AppendTiff16(&table, order_, entry.tag);
    AppendTiff16(&table, order_, entry.type);
    AppendTiff32(&table, order_, entry.count);
    if (entry.bytes.size() <= 4) {
      entry.bytes.resize(4);
      table.insert(table.end(), entry.bytes.begin(), entry.bytes.end());
    } else {
      PadToEven(file);
      AppendTiff32(&table, order_, uint32_t(file->size()));
      file->insert(file->end(), entry.bytes.begin(), entry.bytes.end());
    }
  }
  AppendTiff32(&table, order_, nextIfdOffset);
  PadToEven(file);
  const uint32_t offset = uint32_t(file->size());
  file->insert(file->end(), table.begin(), table.end());
  return offset;
}

std::vector<uint8_t> WriteTiff(std::span<const TiffIfd> chain, std::span<const uint8_t> imageData) {
  const TiffOrder order = chain.front().order();
  std::vector<uint8_t> file(2, order == TiffOrder::kLittle ? 'I' : 'M');
  AppendTiff16(&file, order, 42);
  AppendTiff32(&file, order, 0);
  file.insert(file.end(), imageData.begin(), imageData.end());

  uint32_t next = 0;
  for (size_t i = chain.size(); i-- > 0;) next = chain[i].AppendTo(&file, next);
  std::vector<uint8_t> first;
  AppendTiff32(&first, order, next);
  std::ranges::copy(first, file.begin() + 4);
  return file;
}

}  // namespace qx
