#include "ui/preview_worker.h"

#include <gtest/gtest.h>

#include "tests/ui/fake_preview.h"

namespace qx {
namespace {

/// Counts pictures, and lets a test wait for the n-th.
class Arrivals {
 public:
  void Count() {
    const std::lock_guard guard(lock_);
    ++count_;
    changed_.notify_all();
  }
  void WaitFor(int count) {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return count_ >= count; });
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  int count_ = 0;
};

DevelopOptions WithExposure(float exposureEv) {
  DevelopOptions options;
  options.exposureEv = exposureEv;
  return options;
}

PreviewPicture SmallPicture(uint8_t value) {
  auto pixels = std::make_unique<uint8_t[]>(4);
  pixels[0] = value;
  return PreviewPicture(pixels.release(), 1, 1, [](uint8_t* freed) { std::unique_ptr<uint8_t[]>(freed).reset(); });
}

TEST(PreviewExchange, KeepsTheNewestRequestAndTheNewestPicture) {
  PreviewExchange exchange;
  EXPECT_FALSE(exchange.hasPending());
  exchange.Post(WithExposure(1), 10);
  const PreviewRequest first = exchange.Take();
  exchange.Post(WithExposure(2), 20);
  exchange.Post(WithExposure(3), 30);
  const PreviewRequest third = exchange.Take();
  EXPECT_EQ(third.options.exposureEv, 3);
  EXPECT_EQ(third.frame, 30);
  EXPECT_FALSE(exchange.hasPending());

  EXPECT_TRUE(exchange.Answer(third.number, SmallPicture(3)));
  EXPECT_FALSE(exchange.Answer(first.number, SmallPicture(1))) << "an older answer came late";
  EXPECT_FALSE(exchange.Answer(third.number, SmallPicture(4)));
  EXPECT_EQ(exchange.shown().pixels()[0], 3);
}

TEST(PreviewWorker, CollapsesWhatIsAskedForWhileAFrameDevelops) {
  FakePreview preview;
  Arrivals arrivals;
  {
    PreviewWorker worker(preview.description, [&] { arrivals.Count(); });
    ASSERT_TRUE(worker.Start());
    preview.SetGate(false);
    worker.Request(WithExposure(0), 0);
    preview.WaitUntilRendering();
    for (int i = 1; i <= 50; ++i) worker.Request(WithExposure(float(i)), i);
    preview.SetGate(true);
    arrivals.WaitFor(2);
    EXPECT_EQ(preview.seen(), (std::vector<std::pair<float, int64_t>>{{0, 0}, {50, 50}}));
    bool seen = false;
    worker.WithPicture([&](const PreviewPicture& picture) { seen = picture.width() == FakePreview::kWidth; });
    EXPECT_TRUE(seen);
    EXPECT_EQ(FakePreview::livePictures, 1) << "the picture before is gone";
  }
  EXPECT_EQ(FakePreview::livePictures, 0);
}

TEST(PreviewWorker, KeepsThePictureWhenAFrameFails) {
  FakePreview preview;
  Arrivals arrivals;
  PreviewWorker worker(preview.description, [&] { arrivals.Count(); });
  ASSERT_TRUE(worker.Start());
  bool seen = false;
  worker.WithPicture([&](const PreviewPicture&) { seen = true; });
  EXPECT_FALSE(seen) << "no picture yet";
  worker.Request(WithExposure(1), 0);
  arrivals.WaitFor(1);
  preview.SetGate(false);
  worker.Request(WithExposure(-1), 0);
  preview.WaitUntilRendering();
  worker.Request(WithExposure(3), 0);
  preview.SetGate(true);
  arrivals.WaitFor(2);
  worker.WithPicture([&](const PreviewPicture&) { seen = true; });
  EXPECT_TRUE(seen);
  EXPECT_EQ(preview.seen(), (std::vector<std::pair<float, int64_t>>{{1, 0}, {-1, 0}, {3, 0}}));
}

TEST(PreviewWorker, EndsWhileAFrameDevelops) {
  FakePreview preview;
  std::atomic<int> arrivals = 0;
  auto worker = std::make_unique<PreviewWorker>(preview.description, [&] { ++arrivals; });
  ASSERT_TRUE(worker->Start());
  preview.SetGate(false);
  worker->Request(WithExposure(1), 0);
  preview.WaitUntilRendering();
  worker->Request(WithExposure(2), 0);
  // The destructor waits for the frame: it has to be under way before the gate opens.
  const auto opener = Thread::Start("opener", [&] { preview.SetGate(true); });
  worker.reset();
  opener->Join();
  EXPECT_EQ(FakePreview::livePictures, 0);
  EXPECT_LE(preview.seen().size(), 2u);
}

}  // namespace
}  // namespace qx
