#include "platform/thread.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace qx {

struct Thread::State {
  std::function<void()> body;
  std::string name;
  std::mutex lock;
  std::condition_variable changed;
  bool ended = false;              // guarded by lock
  std::atomic<pid_t> kernelId{0};  // published by the thread itself before its body runs
  std::atomic<int> wantedNice{0};
};

namespace {

// Below-normal priority on Linux: nice values are per thread there.
constexpr int kBelowNormalNice = 5;

}  // namespace

std::unique_ptr<Thread> Thread::Start(const char* name, std::function<void()> body, size_t stackBytes) {
  auto state = std::make_shared<State>();
  state->body = std::move(body);
  state->name = std::string(name).substr(0, 15);
  auto run = [](void* argument) -> void* {
    const std::unique_ptr<std::shared_ptr<State>> held(static_cast<std::shared_ptr<State>*>(argument));
    State& self = **held;
    pthread_setname_np(pthread_self(), self.name.c_str());
    self.kernelId = pid_t(syscall(SYS_gettid));
    if (self.wantedNice != 0) setpriority(PRIO_PROCESS, id_t(self.kernelId.load()), self.wantedNice);
    self.body();
    self.body = nullptr;
    const std::lock_guard<std::mutex> guard(self.lock);
    self.ended = true;
    self.changed.notify_all();
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  if (stackBytes > 0) pthread_attr_setstacksize(&attributes, stackBytes);
  auto argument = std::make_unique<std::shared_ptr<State>>(state);
  pthread_t thread;
  const int failed = pthread_create(&thread, &attributes, run, argument.get());
  pthread_attr_destroy(&attributes);
  if (failed != 0) return nullptr;
  argument.release();  // owned by the thread now
  return std::unique_ptr<Thread>(new Thread(std::move(state)));
}

Thread::Thread(std::shared_ptr<State> state) : state_(std::move(state)) {}

Thread::~Thread() = default;

void Thread::Join() {
  std::unique_lock<std::mutex> guard(state_->lock);
  state_->changed.wait(guard, [this] { return state_->ended; });
}

bool Thread::JoinFor(int milliseconds) {
  std::unique_lock<std::mutex> guard(state_->lock);
  // The system clock, as ThreadSanitizer of GCC 12 does not know the wait on the monotonic one.
  const auto deadline = std::chrono::system_clock::now() + std::chrono::milliseconds(milliseconds);
  return state_->changed.wait_until(guard, deadline, [this] { return state_->ended; });
}

void Thread::SetPriority(ThreadPriority priority) {
  const int nice = priority == ThreadPriority::kBelowNormal ? kBelowNormalNice : 0;
  state_->wantedNice = nice;
  const pid_t id = state_->kernelId;
  if (id != 0) setpriority(PRIO_PROCESS, id_t(id), nice);
}

bool PriorityCanBeRaised() {
  bool cameBack = false;
  const auto thread = Thread::Start("qx priority", [&cameBack] {
    const id_t id = id_t(syscall(SYS_gettid));
    cameBack = setpriority(PRIO_PROCESS, id, kBelowNormalNice) == 0 && setpriority(PRIO_PROCESS, id, 0) == 0;
  });
  if (thread != nullptr) thread->Join();
  return cameBack;
}

unsigned long CurrentThreadId() {
  return static_cast<unsigned long>(syscall(SYS_gettid));
}

}  // namespace qx
