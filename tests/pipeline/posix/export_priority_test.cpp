#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "pipeline/clip_impl.h"
#include "tests/pipeline/fake_recording.h"
#include "tests/support/system.h"

namespace qx {
namespace {

TEST(ExportMode, LeavesNoSlowReadersToUsersWhoCannotRaisePriorities) {
  if (PriorityOfThisThread() != 0) GTEST_SKIP() << "these tests run at a priority of their own";
  std::thread plainUser([] {
    // The system call itself, unlike the library's function, changes this thread and those that it starts, not the whole process.
    if (geteuid() == 0) {
      ASSERT_EQ(syscall(SYS_setresuid, 65534, 65534, 65534), 0);
    }
    FakeRecording recording;
    std::atomic<int> priority{-1};
    recording.onRead = [&](int32_t) { return priority = PriorityOfThisThread(), 0; };
    FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
    const ClipPtr clip = OpenFakeClip(pipeline);
    pipeline.SetExportMode(true);
    EXPECT_EQ(Ask(clip, 1), 1);
    pipeline.SetExportMode(false);
    EXPECT_EQ(Ask(clip, 2), 2);
    EXPECT_EQ(priority, 0);
  });
  plainUser.join();
}

}  // namespace
}  // namespace qx
