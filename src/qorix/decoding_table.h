// Decoding tables: from codes of a non-linear quantisation back to linear values.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/message.h"
#include "platform/worker_pool.h"
#include "qorix/recording_scan.h"

namespace qx {

/// Parameters of a frame head that define a table.
struct TableParameters {
  uint32_t tableNumber = 0xFFFFFFFF;
  float p72 = 0, p76 = 0, p80 = 0, p84 = 0;  // named by their offsets in the frame head
  uint16_t p88 = 0, p90 = 0;

  /// Bit by bit: a NaN equals itself, so that a recorded table with odd parameters is found in the cache.
  bool operator==(const TableParameters& other) const {
    using Bits = std::array<uint32_t, 6>;
    return std::bit_cast<Bits>(*this) == std::bit_cast<Bits>(other);
  }
};

/// A prepared table, shared by the frames that use it; immutable.
struct DecodingTable {
  int32_t mode = 0;                 // 1: conditional means, applied in development; 2: one value per code, applied by the decoder
  std::vector<uint32_t> binStarts;  // first linear value of each code
  std::vector<uint16_t> lut;        // mode 1: scaled conditional means; mode 2: linear value of each code
  int32_t shift = 0;                // mode 1: the lut is scaled by 2^shift
  uint32_t white = 0;               // of the table
  int32_t bitDepth = 0;             // mode 2
};
using DecodingTablePtr = std::shared_ptr<const DecodingTable>;

/// Keeps at most 8 tables, least recently used first to go. One thread at a time.
class TableCache {
 public:
  /// The table of a frame, from the recording or computed. Null with a message.
  DecodingTablePtr Get(RecordingScan* scan, const TableParameters& parameters, WorkerPool* pool, Message message);

 private:
  struct Entry {
    TableParameters parameters;
    DecodingTablePtr table;
    uint64_t stamp = 0;
  };
  std::vector<Entry> entries_;
  uint64_t stamp_ = 0;
};

/// Bin starts of both families, as pure functions; false with a message for parameters that give no table.
[[nodiscard]] bool ComputeBinStarts(const TableParameters& parameters, std::vector<uint32_t>* binStarts, Message message);

/// Bits per code of the negative family: −p84 to the nearest integer. False with a message unless they are 1 … 16 and `white`, the largest
/// linear value, is 0 … 65,535.
[[nodiscard]] bool CheckBitDepth(const TableParameters& parameters, double white, int32_t* bitDepth, Message message);

/// Conditional means of the positive family, unscaled, one per code. False when they cannot be computed. `pool` may be null.
[[nodiscard]] bool ComputeConditionalMeans(const TableParameters& parameters, const std::vector<uint32_t>& binStarts, uint32_t white,
                                           WorkerPool* pool, std::vector<double>* means);

}  // namespace qx
