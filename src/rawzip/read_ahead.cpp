#include "rawzip/read_ahead.h"

#include <algorithm>

namespace qx {

namespace {

// One page holds a descriptor, the next local header and its name: all that a hop over a large member needs.
constexpr uint64_t kSmallestFill = 4096;

}  // namespace

Bytes ReadAhead::From(uint64_t offset, uint64_t count) {
  if (offset >= fileSize_) return {};
  const uint64_t wanted = std::min(count, fileSize_ - offset);
  if (offset < begin_ || offset > end_ || end_ - offset < wanted) Refill(offset, wanted);
  return window_.first(size_t(end_ - begin_)).subspan(size_t(offset - begin_));
}

void ReadAhead::Refill(uint64_t offset, uint64_t count) {
  const bool sequential = fill_ > 0 && offset >= begin_ && offset <= end_;
  fill_ = std::clamp(sequential ? fill_ * 2 : kSmallestFill, count, kLargestRead);
  begin_ = offset;
  end_ = offset + file_.ReadAt(offset, window_.data(), std::min(fill_, fileSize_ - offset));
}

}  // namespace qx
