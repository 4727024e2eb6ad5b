// The scan of a `.qorix` recording. A mutated file rarely keeps its checksums, so the input is scanned as it is and once more with the CRC
// of every chunk of plausible size made right.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/byte_source.h"
#include "qorix/chunk_head.h"
#include "qorix/crc32c.h"
#include "qorix/recording_scan.h"

namespace {

constexpr size_t kLargestInput = 1 << 16;

void Expect(bool holds) {
  if (!holds) std::abort();
}

void CheckScan(const qx::RecordingScan& scan) {
  uint64_t end = 0;  // of the offsets so far
  for (const qx::ChunkRecord& record : scan.records) {
    Expect(record.offset % 8 == 0 && record.offset >= end && qx::RangeFits(record.offset, record.usedSize, scan.fileSize));
    Expect(record.headLength >= qx::kChunkHeaderBytes && record.headLength <= record.usedSize && record.usedSize <= record.totalSize);
    Expect(!scan.sessionKnown || record.sessionId == scan.sessionId);
    end = record.offset + 1;
  }
  for (const qx::ByteRange& range : scan.damaged) Expect(range.begin < range.end && range.end <= scan.fileSize);
  Expect(scan.frameSlots.size() == scan.frames.size());
  Expect(std::ranges::adjacent_find(scan.frameSlots, std::greater_equal()) == scan.frameSlots.end());
  Expect(scan.warning.size() <= 255 && scan.partNumbers.size() <= 8);
}

void Scan(const std::vector<uint8_t>& bytes) {
  const qx::MemorySource source(bytes);
  qx::RecordingScan scan;
  qx::MessageBuffer<256> message;
  Expect(qx::recording_scan(&scan, source, message) == 0);
  CheckScan(scan);
  for (const qx::ChunkRecord& record : scan.records) {
    Expect(qx::recording_read_range(&scan, record.offset, record.usedSize).size() == record.usedSize);
  }
  if (scan.openState == qx::OpenState::kWholeIndex) Expect(qx::probe_qorix(source));
  qx::recording_free(&scan);
}

// Backwards, so that a chunk inside of another one is right before the outer one's checksum is taken.
void RepairChecksums(std::vector<uint8_t>* bytes) {
  for (size_t at = bytes->size() / 8 * 8; at >= 8;) {
    at -= 8;
    uint8_t* chunk = bytes->data() + at;
    if (bytes->size() - at < qx::kChunkHeaderBytes || !qx::IsPlausibleChunk(chunk)) continue;
    const uint32_t used = qx::LoadU32Le(chunk + 8);
    if (used > bytes->size() - at) continue;
    const uint32_t crc = qx::crc32c_update(qx::crc32c_update(0, chunk, 12), chunk + 16, used - 16);
    for (int i = 0; i < 4; ++i) chunk[12 + i] = uint8_t(crc >> (8 * i));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> bytes(data, data + std::min(size, kLargestInput));
  Scan(bytes);
  RepairChecksums(&bytes);
  Scan(bytes);
  return 0;
}
