// Memory between guard bytes: a write outside it is found when it is checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "standin/violations.h"

namespace standin {

constexpr size_t kGuardBytes = 64;
constexpr uint8_t kGuardValue = 0xA5;

/// A block of `size` bytes, 64-byte aligned, with guard bytes before and after it. Contents undefined.
class GuardedBlock {
 public:
  explicit GuardedBlock(size_t size) : size_(size), storage_(new uint8_t[size + 2 * kGuardBytes + kAlignment]) {
    const size_t misfit = reinterpret_cast<uintptr_t>(storage_.get() + kGuardBytes) % kAlignment;
    data_ = storage_.get() + kGuardBytes + (misfit != 0 ? kAlignment - misfit : 0);
    std::memset(data_ - kGuardBytes, kGuardValue, kGuardBytes);
    std::memset(data_ + size_, kGuardValue, kGuardBytes);
  }

  uint8_t* data() { return data_; }
  size_t size() const { return size_; }

  /// False, with a report that names `what`, when a guard byte changed.
  bool Check(const char* what) const {
    for (size_t i = 1; i <= kGuardBytes; ++i) {
      if (data_[-ptrdiff_t(i)] == kGuardValue && data_[size_ + i - 1] == kGuardValue) continue;
      ReportViolation("%s: written %s its %zu bytes", what, data_[size_ + i - 1] == kGuardValue ? "before" : "past", size_);
      return false;
    }
    return true;
  }

 private:
  static constexpr size_t kAlignment = 64;
  size_t size_;
  std::unique_ptr<uint8_t[]> storage_;
  uint8_t* data_;
};

/// A zeroed host record between guard bytes, checked when it goes.
template <typename Record>
class GuardedRecord {
 public:
  explicit GuardedRecord(const char* name) : name_(name), block_(sizeof(Record)) { std::memset(block_.data(), 0, sizeof(Record)); }
  ~GuardedRecord() { block_.Check(name_); }
  GuardedRecord(const GuardedRecord&) = delete;
  GuardedRecord& operator=(const GuardedRecord&) = delete;

  Record* get() { return reinterpret_cast<Record*>(block_.data()); }
  Record* operator->() { return get(); }
  Record& operator*() { return *get(); }

 private:
  const char* name_;
  GuardedBlock block_;
};

}  // namespace standin
