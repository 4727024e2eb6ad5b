// DNG opcode lists (DNG 1.7, chapter 7): always big-endian, whatever the record's byte order.
#pragma once

#include <vector>

#include "base/byte_reader.h"
#include "media/dng_info.h"

namespace qx {

constexpr size_t kMaxGainMaps = 4;

/// Count, validity and summary of a list that nothing is taken from.
void ParseOpcodeList(Bytes list, OpcodeListInfo* info);

/// OpcodeList2: also the list's hash and its first valid gain maps, at most kMaxGainMaps. Maps read before the list turned out invalid
/// stay. The elements of `maps` are reused.
void ParseGainMapList(Bytes list, OpcodeListInfo* info, std::vector<GainMap>* maps);

/// OpcodeList3: also its first valid rectilinear warp; `warp` is reset when there is none.
void ParseWarpList(Bytes list, OpcodeListInfo* info, RectilinearWarp* warp);

}  // namespace qx
