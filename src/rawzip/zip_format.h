// The parts of the ZIP layout that the directory reader, the local-header walk and the descriptor search share. All fields are
// little-endian.
#pragma once

#include <cstdint>

#include "base/byte_reader.h"

namespace qx {

inline constexpr uint32_t kZipLocalHeader = 0x04034b50;
inline constexpr uint32_t kZipCentralRecord = 0x02014b50;
inline constexpr uint32_t kZipEndRecord = 0x06054b50;
inline constexpr uint32_t kZip64EndRecord = 0x06064b50;
inline constexpr uint32_t kZip64Locator = 0x07064b50;
inline constexpr uint32_t kZipDescriptor = 0x08074b50;

inline constexpr uint16_t kZipStore = 0;
inline constexpr uint16_t kZipDeflate = 8;
inline constexpr uint16_t kZipBzip2 = 12;
inline constexpr uint16_t kZipLzma = 14;
inline constexpr uint16_t kZipZstd = 93;

inline constexpr uint16_t kZipHasDescriptor = 1 << 3;  // general-purpose flag: sizes and CRC follow the data

inline constexpr uint64_t kZipLocalHeaderSize = 30;
inline constexpr uint64_t kZipCentralRecordSize = 46;

/// Replaces each value that reads 0xFFFFFFFF by its 64-bit form from the first ZIP64 item (id 1) of an extra field, as far as the item
/// goes; the item holds only the replaced values, in this order. `localHeaderOffset` may be null (local headers have none). True when there
/// is such an item.
bool ApplyZip64Extra(Bytes extra, uint64_t* uncompressedSize, uint64_t* compressedSize, uint64_t* localHeaderOffset);

}  // namespace qx
