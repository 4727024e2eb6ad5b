// Small readers for what the sample writers write, kept apart from the importer's own.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace qx {

using Bytes = std::vector<uint8_t>;

inline uint64_t Little(std::span<const uint8_t> bytes, size_t at, int count) {
  uint64_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = value << 8 | bytes[at + size_t(i)];
  return value;
}

inline double BigDouble(std::span<const uint8_t> bytes, size_t at) {
  uint64_t value = 0;
  for (size_t i = 0; i < 8; ++i) value = value << 8 | bytes[at + i];
  return std::bit_cast<double>(value);
}

struct ListedMember {
  std::string name;
  uint16_t method = 0;
  uint32_t crc32 = 0;
  Bytes data;  // as it lies in the archive
};

struct ListedArchive {
  std::vector<ListedMember> members;
  std::string comment;
  uint64_t directoryOffset = 0;
};

/// The members of an archive without ZIP64, after the central directory (ZIP application note 4.3.12, 4.3.16).
inline ListedArchive ListArchive(const Bytes& zip) {
  static constexpr uint8_t kEnd[] = {'P', 'K', 5, 6};
  const size_t end = size_t(std::find_end(zip.begin(), zip.end(), std::begin(kEnd), std::end(kEnd)) - zip.begin());
  ListedArchive archive;
  archive.comment.assign(zip.begin() + ptrdiff_t(end) + 22, zip.end());
  archive.directoryOffset = Little(zip, end + 16, 4);
  size_t record = archive.directoryOffset;
  for (uint64_t i = 0; i < Little(zip, end + 10, 2); ++i) {
    const size_t nameLength = Little(zip, record + 28, 2), local = Little(zip, record + 42, 4);
    const auto name = zip.begin() + ptrdiff_t(record) + 46;
    const auto data = zip.begin() + ptrdiff_t(local + 30 + Little(zip, local + 26, 2) + Little(zip, local + 28, 2));
    archive.members.push_back({std::string(name, name + ptrdiff_t(nameLength)), uint16_t(Little(zip, record + 10, 2)),
                               uint32_t(Little(zip, record + 16, 4)), Bytes(data, data + ptrdiff_t(Little(zip, record + 20, 4)))});
    record += 46 + nameLength + Little(zip, record + 30, 2) + Little(zip, record + 32, 2);
  }
  return archive;
}

/// The values of IFD0 of a little-endian TIFF, as bytes, by tag.
inline std::map<uint16_t, Bytes> ListTags(const Bytes& tiff) {
  static constexpr int kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  std::map<uint16_t, Bytes> tags;
  const size_t ifd = Little(tiff, 4, 4);
  for (uint64_t i = 0; i < Little(tiff, ifd, 2); ++i) {
    const size_t entry = ifd + 2 + 12 * i;
    const size_t size = Little(tiff, entry + 4, 4) * size_t(kSizes[Little(tiff, entry + 2, 2)]);
    const size_t at = size <= 4 ? entry + 8 : Little(tiff, entry + 8, 4);
    tags[uint16_t(Little(tiff, entry, 2))] = Bytes(tiff.begin() + ptrdiff_t(at), tiff.begin() + ptrdiff_t(at + size));
  }
  return tags;
}

/// RATIONAL or SRATIONAL values of a tag.
inline std::vector<double> Fractions(const Bytes& value) {
  std::vector<double> numbers;
  for (size_t at = 0; at < value.size(); at += 8) {
    numbers.push_back(double(int32_t(Little(value, at, 4))) / double(int32_t(Little(value, at + 4, 4))));
  }
  return numbers;
}

}  // namespace qx
