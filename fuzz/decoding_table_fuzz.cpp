// Table parameters as in a frame head from offset 72 on (four floats, two 16-bit numbers), and behind them, if there is more, the entries
// of a recorded table. A table that comes out must have one value for each code, whatever the parameters say.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/byte_source.h"
#include "qorix/decoding_table.h"

namespace {

constexpr size_t kParameterBytes = 20;

qx::TableParameters ReadParameters(qx::Bytes input) {
  qx::ByteReader reader(input);
  qx::TableParameters parameters = {.tableNumber = 1};
  parameters.p72 = reader.F32Le();
  parameters.p76 = reader.F32Le();
  parameters.p80 = reader.F32Le();
  parameters.p84 = reader.F32Le();
  parameters.p88 = reader.U16Le();
  // Up to 16 bits are allowed in files; 10 keep the runs short.
  parameters.p90 = reader.U16Le() & 1023;
  return parameters;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < kParameterBytes) return 0;
  const qx::Bytes input(data, size);
  const qx::TableParameters parameters = ReadParameters(input);
  const qx::MemorySource source(input);
  qx::RecordingScan scan;
  scan.file = &source;
  scan.fileSize = size;
  if (size > kParameterBytes) {
    qx::ChunkRecord chunk = {.tag = qx::kTagTable, .usedSize = uint32_t(size), .seq = 1, .headLength = kParameterBytes};
    chunk.key1 = 0xFFFF;
    chunk.key2 = parameters.p90;
    scan.records.push_back(chunk);
    scan.tables.push_back({1, 0, 0});
  }
  qx::TableCache cache;
  qx::MessageBuffer<200> message;
  const qx::DecodingTablePtr table = cache.Get(&scan, parameters, nullptr, message);
  if ((table == nullptr) == message.empty()) std::abort();
  if (table == nullptr) return 0;
  const size_t codes = table->binStarts.size();
  if (codes == 0 || codes > 65536 || table->lut.size() != codes) std::abort();
  if (table->mode == 1 && uint64_t(table->white) << table->shift > 65535) std::abort();
  const bool hasNan = parameters != parameters;
  if (!hasNan && cache.Get(&scan, parameters, nullptr, message) != table) std::abort();
  return 0;
}
