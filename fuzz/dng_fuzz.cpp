// TIFF/DNG records: the walk, the parser, unpacking of small frames, the cheap time code reader, a stand-alone warp list.
#include <vector>

#include "media/dng_parser.h"

namespace {

constexpr uint64_t kMaxSamples = 1 << 16;

void ParseAndUnpack(qx::Bytes record) {
  qx::DngInfo info, decoded;
  qx::MessageBuffer<200> message;
  if (qx::dng_parse(record, &info, message) != 0) return;
  qx::dng_describe_decoded(info, &decoded);
  if (uint64_t(info.width) * info.height > kMaxSamples) return;
  std::vector<uint16_t> samples(size_t(info.width) * info.height);
  if (qx::dng_unpack_strips(info, record, samples.data()) != 0) samples.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const qx::Bytes record(data, size);
  uint64_t valueBytes = 0;
  qx::tiff_walk(record, [&valueBytes](const qx::TiffEntry& entry) { valueBytes += entry.value.size(); });
  ParseAndUnpack(record);
  qx::DngInfo timecode;
  qx::dng_read_private_timecode(qx::MemorySource(record), 0, size, &timecode);
  qx::RectilinearWarp warp;
  qx::dng_parse_warp_list(record, &warp);
  return 0;
}
