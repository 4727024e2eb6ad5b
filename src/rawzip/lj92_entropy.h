// The entropy-coded bytes of a scan with their stuffing removed, one stretch at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/byte_reader.h"

namespace qx {

/// Byte stuffing is undone ahead of decoding, into a window that the caller lends: row routines can then load eight bytes at any position
/// without looking for 0xFF and without a bound, because what follows the data up to a marker reads as zero bits. Not thread-safe.
class Lj92EntropyReader {
 public:
  /// Size of the window for lines of at most `lineBytes` coded bytes.
  static size_t WindowBytes(size_t lineBytes);

  /// `window` points to WindowBytes(lineBytes) bytes and outlives the reader, as do the bytes of `scan`.
  Lj92EntropyReader(Bytes scan, uint8_t* window, size_t lineBytes) : scan_(scan), window_(window), lineBytes_(lineBytes) {}

  /// Makes a whole line readable: afterwards `lineBytes` + 16 bytes from the current position may be loaded.
  void PrepareLine();

  /// The current position: data() + bitPosition() / 8, most significant bit first. Valid until the next PrepareLine().
  const uint8_t* data() const { return window_; }
  uint64_t bitPosition() const { return bitPosition_; }
  void SetBitPosition(uint64_t position) { bitPosition_ = position; }

  /// True when bits were used that lie behind the marker or the end of the data. Asked after a line.
  bool RanPastData() const { return bitPosition_ > uint64_t(filled_) * 8; }
  /// True when less than a byte is left before the next marker or the end of the data. Asked after a line.
  bool EndsCleanly() const { return segmentEnded_ && uint64_t(filled_) * 8 - bitPosition_ < 8; }

  /// Goes on behind the next marker, which must be RST0 … RST7. Returns an Lj92Result.
  [[nodiscard]] int Restart();

 private:
  static constexpr size_t kSlack = 16;  // for eight-byte loads and stores that reach over an end
  static size_t FillLimit(size_t lineBytes);
  void DropUsedBytes();
  void Fill();
  void FillOneByte();

  Bytes scan_;
  uint8_t* window_;
  size_t lineBytes_;
  size_t at_ = 0;              // next byte of scan_ to unstuff
  size_t filled_ = 0;          // unstuffed bytes in the window
  uint64_t bitPosition_ = 0;   // in the window
  bool segmentEnded_ = false;  // at_ stands at a marker or at the end
};

}  // namespace qx
