// Threads with priorities and small stacks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace qx {

enum class ThreadPriority { kNormal, kBelowNormal };

/// A running thread. Destroying the object neither stops nor waits for it: call Join or JoinFor, or leave the thread to the end of the
/// process.
class Thread {
 public:
  /// Starts `body` on a new thread named `name` (at most 15 characters are shown by tools); null when the system refuses.
  /// `stackBytes` 0 takes the system's default.
  static std::unique_ptr<Thread> Start(const char* name, std::function<void()> body, size_t stackBytes = 0);
  ~Thread();

  /// Waits until the thread has ended.
  void Join();
  /// Waits at most `milliseconds`; true when the thread has ended.
  bool JoinFor(int milliseconds);
  /// May be called from any thread while the thread runs; a refusal by the system is ignored.
  void SetPriority(ThreadPriority priority);

 private:
  struct State;
  explicit Thread(std::shared_ptr<State> state);
  std::shared_ptr<State> state_;
};

/// True when a thread that was set below normal can come back to normal. Any user may lower a thread on Linux, but raising it again takes a
/// privilege or a limit that few have. Tried out on a thread that ends at once.
bool PriorityCanBeRaised();

/// Identifier of the calling thread as log lines show it.
unsigned long CurrentThreadId();

}  // namespace qx
