#include "rawzip/zip_format.h"

namespace qx {

bool ApplyZip64Extra(Bytes extra, uint64_t* uncompressedSize, uint64_t* compressedSize, uint64_t* localHeaderOffset) {
  ByteReader items(extra);
  while (items.remaining() >= 4) {
    const uint16_t id = items.U16Le();
    const Bytes data = items.Take(items.U16Le());
    if (!items.ok()) return false;
    if (id != 1) continue;
    ByteReader values(data);
    for (uint64_t* value : {uncompressedSize, compressedSize, localHeaderOffset}) {
      if (value != nullptr && *value == 0xFFFFFFFF && values.remaining() >= 8) *value = values.U64Le();
    }
    return true;
  }
  return false;
}

}  // namespace qx
