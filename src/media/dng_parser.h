// Classic TIFF and DNG records in memory: the tag walk, the parser into DngInfo, and unpacking of uncompressed strips.
#pragma once

#include <functional>

#include "base/byte_reader.h"
#include "base/byte_source.h"
#include "base/message.h"
#include "media/dng_info.h"

namespace qx {

/// Parses a whole DNG record. 0, or -1 with a message; `info` is then empty. Malformed entries and unknown tags are ignored; every offset
/// is checked against the record. Any thread.
[[nodiscard]] int dng_parse(Bytes record, DngInfo* info, Message message);

/// Frees the arrays and leaves an empty DngInfo.
void dng_free(DngInfo* info);

/// Unpacks uncompressed strips into one 16-bit value per sample: width × height, top row first. 0, or -1 when the layout is not one sample
/// per pixel in uncompressed strips or a row lies outside its strip. `out` holds width × height values.
[[nodiscard]] int dng_unpack_strips(const DngInfo& info, Bytes record, uint16_t* out);

/// Reads only IFD0 of a record that begins at `offset` of `source` and is `recordSize` bytes long, and takes the time code from its private
/// data into `info`. 1 when found, else 0.
int dng_read_private_timecode(const ByteSource& source, uint64_t offset, uint64_t recordSize, DngInfo* info);

/// Parses an OpcodeList3 that stands alone (big-endian, as in DNG) and takes its first valid rectilinear warp. True when the opcodes parse
/// exactly to the end of the list.
bool dng_parse_warp_list(Bytes list, RectilinearWarp* warp);

/// One entry of an IFD as the walk meets it.
struct TiffEntry {
  int ifdIndex = 0;          // visiting order
  const char* ifdName = "";  // "IFD0", "IFD0.Sub1", "IFD0.EXIF", …
  uint64_t ifdOffset = 0;
  uint16_t tag = 0, type = 0;
  uint32_t count = 0;
  bool hasValue = false;  // false: unknown type or a value outside the record
  uint64_t valueOffset = 0;
  Bytes value;  // count × type size bytes in the record's byte order
  ByteOrder order = ByteOrder::kLittle;
};

/// Walks every IFD (chain, SubIFDs, EXIF, GPS) within fixed bounds and calls `callback` for each entry.
/// The number of IFDs visited, -1 not TIFF, -2 not classic TIFF.
int tiff_walk(Bytes record, const std::function<void(const TiffEntry&)>& callback);

/// `out` = `in` with the layout of decoded samples: one uncompressed little-endian 16-bit strip of width × height at offset 0.
void dng_describe_decoded(const DngInfo& in, DngInfo* out);

}  // namespace qx
