#include "media/dng_opcodes.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "base/checked.h"
#include "media/dng_parser.h"

namespace qx {

namespace {

constexpr uint32_t kWarpRectilinear = 1;
constexpr uint32_t kGainMap = 9;
constexpr uint64_t kGainMapHeaderBytes = 76;
constexpr uint64_t kWarpFixedBytes = 20;  // plane count and centre
constexpr uint64_t kWarpPlaneBytes = 48;
constexpr double kWarpCoefficientLimit = 1e6;
constexpr size_t kMaxSummaryBytes = 159;

constexpr uint32_t kFnvOffsetBasis = 0x811c9dc5;
constexpr uint32_t kFnvPrime = 16777619;

struct Opcode {
  uint32_t id = 0;
  uint32_t flags = 0;
  Bytes parameters;
  Bytes whole;  // header and parameters
};

const char* OpcodeName(uint32_t id) {
  static constexpr std::array<const char*, 15> kNames = {
      "?",           "WarpRectilinear", "WarpFisheye",     "FixVignetteRadial", "FixBadPixelsConstant", "FixBadPixelsList",
      "TrimBounds",  "MapTable",        "MapPolynomial",   "GainMap",           "DeltaPerRow",          "DeltaPerColumn",
      "ScalePerRow", "ScalePerColumn",  "WarpRectilinear2"};
  return id < kNames.size() ? kNames[id] : "?";
}

void AppendToSummary(const Opcode& opcode, std::string* summary) {
  if (summary->size() >= kMaxSummaryBytes) return;
  char item[64];
  std::snprintf(item, sizeof(item), "%s%s(%u bytes)", summary->empty() ? "" : ", ", OpcodeName(opcode.id),
                unsigned(opcode.parameters.size()));
  summary->append(item);
  if (summary->size() > kMaxSummaryBytes) summary->resize(kMaxSummaryBytes);
}

/// Steps through a list's opcodes and keeps its count, summary and validity. An opcode that runs past the list ends the walk.
class OpcodeCursor {
 public:
  OpcodeCursor(Bytes list, OpcodeListInfo* info) : list_(list), in_(list), info_(info) {
    info_->summary.clear();
    info_->hash = 0;
    info_->count = left_ = in_.U32Be();
    info_->valid = in_.ok() && left_ == 0 && in_.remaining() == 0;
  }

  /// The next opcode; false at the end of the list or where it is damaged.
  bool Next(Opcode* opcode) {
    if (left_ == 0) return false;
    const size_t start = in_.position();
    opcode->id = in_.U32Be();
    in_.Skip(4);  // the DNG version that introduced the opcode
    opcode->flags = in_.U32Be();
    opcode->parameters = in_.Take(in_.U32Be());
    if (!in_.ok()) return false;
    opcode->whole = list_.subspan(start, in_.position() - start);
    --left_;
    info_->valid = left_ == 0 && in_.remaining() == 0;
    AppendToSummary(*opcode, &info_->summary);
    return true;
  }

 private:
  Bytes list_;
  ByteReader in_;
  OpcodeListInfo* info_;
  uint32_t left_ = 0;
};

uint32_t Fnv1a(Bytes bytes, uint32_t hash) {
  for (const uint8_t byte : bytes) hash = (hash ^ byte) * kFnvPrime;
  return hash;
}

bool ReadGainMap(Bytes parameters, GainMap* map) {
  if (parameters.size() < kGainMapHeaderBytes) return false;
  ByteReader in(parameters);
  for (uint32_t GainMap::*field : {&GainMap::top, &GainMap::left, &GainMap::bottom, &GainMap::right, &GainMap::plane, &GainMap::planes,
                                   &GainMap::rowPitch, &GainMap::colPitch, &GainMap::pointsV, &GainMap::pointsH}) {
    map->*field = in.U32Be();
  }
  for (double GainMap::*field : {&GainMap::spacingV, &GainMap::spacingH, &GainMap::originV, &GainMap::originH}) map->*field = in.F64Be();
  map->mapPlanes = in.U32Be();

  const auto count = CheckedMul(uint64_t(map->pointsV) * map->pointsH, map->mapPlanes);
  if (!count || *count == 0 || *count > in.remaining() / sizeof(float)) return false;
  if (map->planes == 0 || map->rowPitch == 0 || map->colPitch == 0) return false;
  const Bytes gains = in.Take(*count * sizeof(float));
  map->gains.resize(size_t(*count));
  for (size_t i = 0; i < map->gains.size(); ++i) map->gains[i] = std::bit_cast<float>(LoadU32Be(gains.data() + i * sizeof(float)));
  return true;
}

bool IsUsableCoefficient(double value) {
  return std::abs(value) < kWarpCoefficientLimit;
}  // false for not a number

bool ReadWarp(const Opcode& opcode, RectilinearWarp* warp) {
  ByteReader in(opcode.parameters);
  const uint32_t planes = in.U32Be();
  if (planes < 1 || planes > warp->plane.size() || opcode.parameters.size() < kWarpFixedBytes + kWarpPlaneBytes * planes) return false;
  bool usable = true;
  for (uint32_t p = 0; p < planes; ++p) {
    for (double& k : warp->plane[p].kr) usable &= IsUsableCoefficient(k = in.F64Be());
    for (double& k : warp->plane[p].kt) usable &= IsUsableCoefficient(k = in.F64Be());
  }
  warp->centreX = in.F64Be();
  warp->centreY = in.F64Be();
  const RectilinearWarp::Plane& first = warp->plane[0];
  warp->valid = usable && warp->centreX >= 0 && warp->centreX <= 1 && warp->centreY >= 0 && warp->centreY <= 1;
  warp->radialOnly = warp->valid && first.kr[3] == 0 && first.kt[0] == 0 && first.kt[1] == 0;
  warp->planes = planes;
  warp->flags = opcode.flags;
  return warp->valid;
}

}  // namespace

void ParseOpcodeList(Bytes list, OpcodeListInfo* info) {
  OpcodeCursor cursor(list, info);
  for (Opcode opcode; cursor.Next(&opcode);) {
  }
}

void ParseGainMapList(Bytes list, OpcodeListInfo* info, std::vector<GainMap>* maps) {
  OpcodeCursor cursor(list, info);
  size_t kept = 0;
  uint32_t hash = kFnvOffsetBasis;
  for (Opcode opcode; cursor.Next(&opcode);) {
    hash = Fnv1a(opcode.whole, hash);
    if (opcode.id != kGainMap || kept == kMaxGainMaps) continue;
    if (kept == maps->size()) maps->emplace_back();
    if (ReadGainMap(opcode.parameters, &(*maps)[kept])) ++kept;
  }
  maps->resize(kept);
  info->hash = hash;
}

void ParseWarpList(Bytes list, OpcodeListInfo* info, RectilinearWarp* warp) {
  OpcodeCursor cursor(list, info);
  *warp = RectilinearWarp();
  for (Opcode opcode; cursor.Next(&opcode);) {
    if (warp->valid || opcode.id != kWarpRectilinear) continue;
    if (!ReadWarp(opcode, warp)) *warp = RectilinearWarp();
  }
}

bool dng_parse_warp_list(Bytes list, RectilinearWarp* warp) {
  OpcodeListInfo info;
  ParseWarpList(list, &info, warp);
  return info.valid;
}

}  // namespace qx
