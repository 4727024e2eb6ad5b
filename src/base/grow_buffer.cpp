#include "base/grow_buffer.h"

#include <atomic>
#include <cstdlib>

#if defined(_WIN32)
#include <malloc.h>
#endif

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
#if defined(_WIN32)
  return _aligned_malloc(size_t(rounded == 0 ? kAlignment : rounded), kAlignment);
#else
  return std::aligned_alloc(kAlignment, size_t(rounded == 0 ? kAlignment : rounded));
#endif
}

void FreeAligned(void* block) {
#if defined(_WIN32)
  _aligned_free(block);
#else
  std::free(block);
#endif
}

}  // namespace qx
