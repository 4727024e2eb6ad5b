#include "base/grow_buffer.h"

#include <atomic>
#include <new>

namespace qx {

namespace {

constexpr uint64_t kAlignment = 64;
// Larger blocks can only come from a size that nobody compared with the file.
constexpr uint64_t kLargestBlock = uint64_t(1) << 40;
std::atomic<int64_t> failCountdown{-1};

bool ShouldFail() {
  return failCountdown.load(std::memory_order_relaxed) >= 0 && failCountdown.fetch_sub(1) == 0;
}

}  // namespace

void FailAllocationForTest(int64_t n) {
  failCountdown = n;
}

void* AllocateAligned(uint64_t bytes) {
  if (bytes > kLargestBlock || ShouldFail()) return nullptr;
  const uint64_t rounded = (bytes + kAlignment - 1) / kAlignment * kAlignment;
  return ::operator new(size_t(rounded == 0 ? kAlignment : rounded), std::align_val_t(kAlignment), std::nothrow);
}

void FreeAligned(void* block) {
  ::operator delete(block, std::align_val_t(kAlignment));
}

}  // namespace qx
