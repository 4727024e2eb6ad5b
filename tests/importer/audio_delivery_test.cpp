#include "importer/audio_delivery.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "host/selectors.h"
#include "importer/importer_clip.h"
#include "samples/archive_maker.h"
#include "tests/support/system.h"

namespace qx {
namespace {

/// A short clip with sound, opened as the importer keeps it.
class ClipWithSound {
 public:
  ClipWithSound() : path_(std::filesystem::temp_directory_path() / ("qx_audio_delivery_" + std::to_string(ProcessId()) + ".zip")) {
    ArchiveOptions options;
    options.picture.width = options.picture.height = 32;
    options.frames = 4;
    options.sound = ArchiveSoundOptions{.startSeconds = 0};
    std::ofstream out(path_, std::ios::binary);
    MakeArchive(options, ZipSinkTo(&out));
    out.close();
    MessageBuffer<256> message;
    auto opened = std::make_shared<OpenedClip>();
    opened->clip.reset(OpenClip(path_, nullptr, &opened->info, message));
    EXPECT_NE(opened->clip, nullptr) << message.text();
    clip.Replace(std::move(opened));
  }
  ~ClipWithSound() {
    clip.Replace(nullptr);
    std::filesystem::remove(path_);
  }
  ImporterClip clip;

  /// The request for sample frames from `position` on, into `left` and `right`.
  int32_t Import(int64_t position, uint32_t count) {
    left.assign(count, 9.0f);
    right.assign(count, 9.0f);
    float* channels[] = {left.data(), right.data()};
    host::ImportAudioRec7 request = {};
    request.position = position;
    request.size = count;
    request.buffer = channels;
    request.privateData = handle();
    return ImportAudio(&request);
  }
  /// As the host holds it: a pointer to a block that leads to the clip.
  host::Handle handle() { return &block_; }
  std::vector<float> left, right;

 private:
  std::filesystem::path path_;
  ImporterClip* pointer_ = &clip;
  char* block_ = reinterpret_cast<char*>(&pointer_);
};

TEST(AudioDelivery, ReadsNegativePositionsAsTheBeginning) {
  ClipWithSound opened;
  ASSERT_EQ(opened.Import(0, 300), host::imNoErr);
  const std::vector<float> beginning = opened.left;
  EXPECT_NE(beginning[1], 0.0f);
  ASSERT_EQ(opened.Import(-100, 300), host::imNoErr);
  EXPECT_EQ(opened.left, beginning);
  EXPECT_EQ(opened.Import(0, 0), host::imOtherErr);
}

TEST(AudioDelivery, RefusesMissingLinksAndClipsWithoutSound) {
  ClipWithSound opened;
  auto silent = std::make_shared<OpenedClip>();
  silent->info = opened.clip.Opened()->info;
  silent->info.hasAudio = 0;
  opened.clip.Replace(std::move(silent));
  EXPECT_EQ(opened.Import(0, 4), host::imOtherErr);
  EXPECT_EQ(opened.left, std::vector<float>(4, 9.0f));
  host::ImportAudioRec7 request = {};
  EXPECT_EQ(ImportAudio(&request), host::imOtherErr);
}

TEST(AudioDelivery, CountsCallsThatReadOnce) {
  ClipWithSound opened;
  TakeAudioCallCounters();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&opened] {
      std::vector<float> left(64), right(64);
      float* channels[] = {left.data(), right.data()};
      host::ImportAudioRec7 request = {};
      request.size = 64;
      request.buffer = channels;
      request.privateData = opened.handle();
      for (int call = 0; call < 50; ++call) ImportAudio(&request);
    });
  }
  uint32_t taken = 0;
  for (int i = 0; i < 20; ++i) taken += TakeAudioCallCounters().calls;
  for (std::thread& thread : threads) thread.join();
  opened.Import(0, 0);  // a failed read counts, too
  const AudioCallCounters last = TakeAudioCallCounters();
  EXPECT_EQ(taken + last.calls, 201u);
  EXPECT_LE(last.longestMicroseconds, last.totalMicroseconds);
  const AudioCallCounters empty = TakeAudioCallCounters();
  EXPECT_TRUE(empty.calls == 0 && empty.totalMicroseconds == 0 && empty.longestMicroseconds == 0);
}

}  // namespace
}  // namespace qx
