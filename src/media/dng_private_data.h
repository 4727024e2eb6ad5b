// The recording app's own lines in DNGPrivateData: which clock the time code follows and where it starts.
#pragma once

#include "base/byte_reader.h"
#include "media/dng_info.h"

namespace qx {

/// Reads the time code from a DNGPrivateData value that lies at `offset` of the record. True and `info`'s private time code set when both
/// its source and its start are there and valid; otherwise `info` is left alone.
bool TakePrivateTimecode(Bytes value, uint64_t offset, DngInfo* info);

}  // namespace qx
