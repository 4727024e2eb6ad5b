// Mutex, guard and condition variable with clang's thread-safety annotations (other compilers ignore them).
#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QX_TSA(x) __attribute__((x))
#else
#define QX_TSA(x)
#endif

#define CAPABILITY(x) QX_TSA(capability(x))
#define SCOPED_CAPABILITY QX_TSA(scoped_lockable)
#define GUARDED_BY(x) QX_TSA(guarded_by(x))
#define ACQUIRE(...) QX_TSA(acquire_capability(__VA_ARGS__))
#define RELEASE(...) QX_TSA(release_capability(__VA_ARGS__))
#define REQUIRES(...) QX_TSA(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) QX_TSA(locks_excluded(__VA_ARGS__))

namespace qx {

class CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  void Lock() ACQUIRE() { mutex_.lock(); }
  void Unlock() RELEASE() { mutex_.unlock(); }

 private:
  friend class CondVar;
  std::mutex mutex_;
};

class SCOPED_CAPABILITY LockGuard {
 public:
  explicit LockGuard(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  ~LockGuard() RELEASE() { mutex_.Unlock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  Mutex& mutex_;
};

/// Waits release the mutex and take it again before they return; wake-ups can be spurious, so callers re-test in a loop.
class CondVar {
 public:
  void Wait(Mutex& mutex) REQUIRES(mutex) {
    std::unique_lock<std::mutex> adopted(mutex.mutex_, std::adopt_lock);
    condition_.wait(adopted);
    adopted.release();
  }
  void WakeOne() { condition_.notify_one(); }
  void WakeAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace qx
