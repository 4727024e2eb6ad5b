// A made-up OpenGL driver: every function exists, draws nothing, keeps count of objects, and can be told to fail.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "develop/gpu/context.h"

namespace qx {

/// One at a time. Set the fields before a driver is created. All buffers read as bytes of 255; between two readings of
/// its clock 50 ms pass.
class FakeGl {
 public:
  FakeGl();
  ~FakeGl();
  std::unique_ptr<GlDriver> CreateDriver();

  std::atomic<int64_t> failAt{-1};    // this call fails, counted from 1 …
  std::atomic<int64_t> failFrom{-1};  // … and this one and all after it, as when the device is lost
  std::set<std::string> missing;      // functions that the driver does not have
  bool storesBuffers = true;          // else glBufferStorage exists and fails
  std::function<bool(const std::string& source)> refusesShader = [](const std::string&) { return false; };
  /// Asked each time a fence is polled: true leaves it unreached.
  std::function<bool()> fencePends = [] { return false; };
  /// The GPU thread is about to make call number n.
  std::function<void(int64_t n)> onCall = [](int64_t) {};

  int64_t calls() const { return calls_; }
  /// Objects that were made and not deleted.
  int64_t liveObjects() const { return liveObjects_; }

  // For the functions themselves.
  bool CountCall();
  void AddObjects(int64_t count) { liveObjects_ += count; }

 private:
  std::atomic<int64_t> calls_{0}, liveObjects_{0};
};

}  // namespace qx
