#include "qorix/decoding_table.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace qx {

namespace {

constexpr size_t kMaxTables = 8;
constexpr int32_t kMaxShift = 15;
constexpr uint32_t kLargestValue = 65535;

constexpr int32_t kModeMeans = 1, kModeBitDepth = 2;

// The table chunk of that number, if the recording has one with entries.
bool ReadRecordedTable(RecordingScan* scan, uint32_t number, DecodingTable* table) {
  const int32_t found = FindInChunkList(scan->tables, number);
  if (found < 0) return false;
  const ChunkRecord& chunk = scan->records[size_t(scan->tables[size_t(found)].record)];
  const uint64_t entries = std::min<uint64_t>(chunk.key1, (chunk.usedSize - chunk.headLength) / 2);
  if (entries == 0) return false;
  ByteReader body(recording_read_range(scan, chunk.offset + chunk.headLength, entries * 2));
  if (body.remaining() == 0) return false;
  table->binStarts.resize(size_t(entries));
  for (uint32_t& start : table->binStarts) start = body.U16Le();
  table->white = chunk.key2;
  return true;
}

bool ComputeTable(const TableParameters& parameters, DecodingTable* table, Message message) {
  if (!ComputeBinStarts(parameters, &table->binStarts, message)) {
    if (message.empty()) message.Set("table #%u: neither QXRL nor valid frame parameters", parameters.tableNumber);
    return false;
  }
  table->white = table->mode == kModeBitDepth ? uint32_t(std::lrint(parameters.p80)) : parameters.p90;
  return true;
}

uint16_t RoundedSample(double value) {
  return uint16_t(std::clamp(std::round(value), 0.0, double(kLargestValue)));
}

bool FillMeanLut(const TableParameters& parameters, WorkerPool* pool, DecodingTable* table, Message message) {
  std::vector<double> means;
  if (!ComputeConditionalMeans(parameters, table->binStarts, table->white, pool, &means)) {
    message.Set("table #%u: conditional mean not computed (S %g, O %g)", parameters.tableNumber, double(parameters.p76),
                double(parameters.p80));
    return false;
  }
  while (table->shift < kMaxShift && table->white << (table->shift + 1) <= kLargestValue) ++table->shift;
  for (const double mean : means) table->lut.push_back(RoundedSample(std::ldexp(mean, table->shift)));
  return true;
}

// The values of a wider range are scaled down to the bit depth: the frame is developed as one of that depth.
bool FillBitDepthLut(const TableParameters& parameters, DecodingTable* table, Message message) {
  if (!CheckBitDepth(parameters, table->white, &table->bitDepth, message)) return false;
  const uint32_t largest = (uint32_t(1) << table->bitDepth) - 1;
  const double scale = largest < table->white ? double(largest) / table->white : 1.0;
  for (const uint32_t start : table->binStarts) table->lut.push_back(RoundedSample(start * scale));
  return true;
}

DecodingTablePtr PrepareTable(RecordingScan* scan, const TableParameters& parameters, WorkerPool* pool, Message message) {
  const auto table = std::make_shared<DecodingTable>();
  table->mode = parameters.p84 < 0 ? kModeBitDepth : kModeMeans;
  if (!ReadRecordedTable(scan, parameters.tableNumber, table.get()) && !ComputeTable(parameters, table.get(), message)) return nullptr;
  const bool filled = table->mode == kModeBitDepth ? FillBitDepthLut(parameters, table.get(), message)
                                                   : FillMeanLut(parameters, pool, table.get(), message);
  return filled ? table : nullptr;
}

}  // namespace

DecodingTablePtr TableCache::Get(RecordingScan* scan, const TableParameters& parameters, WorkerPool* pool, Message message) {
  message.Clear();
  const auto known = std::ranges::find(entries_, parameters, &Entry::parameters);
  if (known != entries_.end()) {
    known->stamp = ++stamp_;
    return known->table;
  }
  DecodingTablePtr table;
  try {
    table = PrepareTable(scan, parameters, pool, message);
  } catch (const std::bad_alloc&) {
    message.Set("out of memory (table)");
  }
  if (table == nullptr) return nullptr;
  try {
    entries_.reserve(kMaxTables);
  } catch (const std::bad_alloc&) {
    message.Set("out of memory (table cache)");
    return nullptr;
  }
  if (entries_.size() == kMaxTables) entries_.erase(std::ranges::min_element(entries_, {}, &Entry::stamp));
  entries_.push_back({parameters, table, ++stamp_});
  return table;
}

}  // namespace qx
