// Big memory (frames, tables, archive members): grows to the largest need, is reused, and reports a failed allocation instead of throwing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

namespace qx {

/// Allocation shared by all grow buffers: 64-byte aligned, contents undefined, null when memory is short. Free with FreeAligned.
void* AllocateAligned(uint64_t bytes);
void FreeAligned(void* block);

/// Test hook: the n-th allocation from now (0 = the next one) fails, and only that one. Negative switches it off.
void FailAllocationForTest(int64_t n);

/// A block of plain values. Reserve() keeps nothing of the old contents when it grows, and never shrinks. Move-only; not thread-safe.
template <typename T>
class GrowBuffer {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  GrowBuffer() = default;
  GrowBuffer(GrowBuffer&& other) noexcept : data_(std::exchange(other.data_, nullptr)), capacity_(std::exchange(other.capacity_, 0)) {}
  GrowBuffer& operator=(GrowBuffer&& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(capacity_, other.capacity_);
    return *this;
  }
  ~GrowBuffer() { FreeAligned(data_); }

  /// Makes room for `count` values; false leaves the buffer empty.
  [[nodiscard]] bool Reserve(uint64_t count) {
    if (count <= capacity_) return true;
    FreeAligned(data_);
    data_ = nullptr;
    capacity_ = 0;
    if (count > UINT64_MAX / sizeof(T)) return false;
    data_ = static_cast<T*>(AllocateAligned(count * sizeof(T)));
    if (data_ == nullptr) return false;
    capacity_ = count;
    return true;
  }
  void Free() {
    FreeAligned(std::exchange(data_, nullptr));
    capacity_ = 0;
  }

  T* data() { return data_; }
  const T* data() const { return data_; }
  uint64_t capacity() const { return capacity_; }
  T& operator[](size_t i) { return data_[i]; }
  const T& operator[](size_t i) const { return data_[i]; }
  std::span<T> first(size_t count) { return {data_, count}; }
  std::span<const T> first(size_t count) const { return {data_, count}; }

 private:
  T* data_ = nullptr;
  uint64_t capacity_ = 0;
};

}  // namespace qx
