#include "rawzip/lj92_entropy.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "rawzip/lj92.h"

namespace qx {

namespace {

/// The high bit of every 0xFF byte of a word, exact up to and including the lowest such byte.
uint64_t MarkLowestFF(uint64_t word) {
  return (~word - 0x0101010101010101u) & word & 0x8080808080808080u;
}

}  // namespace

// Two lines ahead keeps the cost of moving the unused rest small; short lines are filled many at a time.
size_t Lj92EntropyReader::FillLimit(size_t lineBytes) {
  return std::max<size_t>(2 * lineBytes, 4096) + kSlack;
}

// A line may start at the last filled byte and read a line's worth of zeros behind it.
size_t Lj92EntropyReader::WindowBytes(size_t lineBytes) {
  return FillLimit(lineBytes) + kSlack + lineBytes + kSlack;
}

void Lj92EntropyReader::PrepareLine() {
  if (segmentEnded_ || uint64_t(filled_) * 8 >= bitPosition_ + uint64_t(lineBytes_ + kSlack) * 8) return;
  DropUsedBytes();
  Fill();
  if (segmentEnded_) std::memset(window_ + filled_, 0, lineBytes_ + kSlack);
}

void Lj92EntropyReader::DropUsedBytes() {
  const size_t used = size_t(bitPosition_ / 8);
  std::memmove(window_, window_ + used, filled_ - used);
  filled_ -= used;
  bitPosition_ %= 8;
}

void Lj92EntropyReader::Fill() {
  const size_t limit = FillLimit(lineBytes_);
  while (filled_ < limit && !segmentEnded_) {
    if (scan_.size() - at_ < 8) {
      FillOneByte();
      continue;
    }
    std::memcpy(window_ + filled_, scan_.data() + at_, 8);
    const uint64_t found = MarkLowestFF(LoadU64Le(scan_.data() + at_));
    const size_t plain = found == 0 ? 8 : size_t(std::countr_zero(found)) / 8;
    at_ += plain;
    filled_ += plain;
    if (found != 0) FillOneByte();
  }
}

void Lj92EntropyReader::FillOneByte() {
  if (at_ == scan_.size()) {
    segmentEnded_ = true;
  } else if (scan_[at_] != 0xFF) {
    window_[filled_++] = scan_[at_++];
  } else if (at_ + 1 < scan_.size() && scan_[at_ + 1] == 0) {
    window_[filled_++] = 0xFF;
    at_ += 2;
  } else {
    segmentEnded_ = true;
  }
}

int Lj92EntropyReader::Restart() {
  ByteReader in(scan_);
  in.Seek(at_);
  uint8_t code = 0;
  while (in.ok() && code == 0) {
    while (in.ok() && in.U8() != 0xFF) {
    }
    code = 0xFF;
    while (in.ok() && code == 0xFF) code = in.U8();
  }
  if (!in.ok()) return kLj92Truncated;
  if (code < 0xD0 || code > 0xD7) return kLj92Corrupt;
  at_ = in.position();
  filled_ = 0;
  bitPosition_ = 0;
  segmentEnded_ = false;
  return kLj92Ok;
}

}  // namespace qx
