// A real archive through the whole pipeline, against frames that are read and developed one by one without it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/log.h"
#include "develop/cpu/cpu_session.h"
#include "pipeline/clip_impl.h"
#include "pipeline/source_open.h"
#include "rawzip/archive_source.h"
#include "samples/dng_writer.h"
#include "samples/recording_maker.h"
#include "samples/scene.h"
#include "samples/zip_writer.h"
#include "tests/pipeline/fake_recording.h"

namespace qx {
namespace {

// Small, but with a half and a quarter size: 16 × 2160, 8 × 1080, 4 × 540.
constexpr int kWidth = 16, kHeight = 2160, kFrames = 4;
constexpr OutputPixelFormat kHostFormats[] = {OutputPixelFormat::kBgra16, OutputPixelFormat::kBgra8, OutputPixelFormat::kBgraFloat,
                                              OutputPixelFormat::kUyvy,   OutputPixelFormat::kV210,  OutputPixelFormat::kVuyaFloat};

std::vector<uint8_t> MakeArchive() {
  DngDescription dng;
  dng.width = kWidth;
  dng.height = kHeight;
  dng.bitsPerSample = 12;
  dng.black = {64};
  dng.white = 4095;
  dng.colorMatrix1 = {0.9, -0.3, -0.1, -0.4, 1.2, 0.2, -0.1, 0.2, 0.6};
  dng.illuminant1 = 21;
  dng.asShotNeutral = {{kSceneNeutral[0], kSceneNeutral[1], kSceneNeutral[2]}};
  dng.frameRate = {25, 1};
  std::vector<uint8_t> bytes;
  ZipWriter writer(ZipSinkTo(&bytes));
  for (int i = 0; i < kFrames; ++i) {
    const std::string name = "VID-00000" + std::to_string(i) + ".dng";
    writer.Add(name, WriteDng(dng, MakeNoisyMosaic(kWidth, kHeight, 12, 64, 1, 10 * i)));
  }
  writer.Finish();
  return bytes;
}

/// Frames developed alone, with neither readers nor cache.
class Reference {
 public:
  Reference(const std::vector<uint8_t>& archive, const DevelopOptions& options) : file_(archive) {
    MessageBuffer<256> message;
    frames_ = archive_frame_source_open(file_, message);
    EXPECT_NE(frames_, nullptr) << message.text();
    EXPECT_EQ(DeriveDevelopParams(options, nullptr, &derived_, message), 0) << message.text();
  }

  std::vector<uint8_t> Frame(int32_t frame, int32_t level, OutputPixelFormat format) {
    DevelopParams params = derived_.params;
    params.scaleCode = level == kFullSize ? 0 : 2;
    MessageBuffer<256> message;
    const CpuSessionPtr session = CreateCpuSession(*frames_->CameraData(), params, nullptr, message);
    EXPECT_NE(session, nullptr) << message.text();
    const Size size = CpuSessionOutputSize(*session);
    std::vector<uint16_t> rgb(size_t(size.width) * size_t(size.height) * 3);
    EXPECT_EQ(frames_->ReadFrame(frame, &raw_, kReadUnpacked), 0) << frames_->LastMessage();
    EXPECT_EQ(DevelopFrameCpu(session.get(), raw_, frame, rgb.data(), message), 0) << message.text();
    const bool quarter = level == kQuarterSize;
    const Size delivered = quarter ? Size{size.width / 2, size.height / 2} : size;
    std::vector<uint8_t> pixels(FormatRowBytes(format, delivered.width) * size_t(delivered.height));
    ConvertRows(rgb.data(), size.width, size.height, format, pixels.data(), int64_t(FormatRowBytes(format, delivered.width)), quarter, 0,
                1);
    return pixels;
  }

 private:
  MemorySource file_;
  FrameSourcePtr frames_;
  DerivedOptions derived_;
  RawFrame raw_;
};

class ArchiveClip : public testing::Test {
 protected:
  void SetUp() override {
    SetCpuOnly(true);  // the reference is the processor's, to the last bit
    path_ = std::filesystem::temp_directory_path() / ("qx_archive_clip_" + std::to_string(CurrentThreadId()) + ".zip");
    std::ofstream(path_, std::ios::binary).write(reinterpret_cast<const char*>(archive_.data()), std::streamsize(archive_.size()));
  }
  void TearDown() override {
    std::filesystem::remove(path_);
    SetCpuOnly(false);
  }

  ClipPtr Open(const DevelopOptions& options = {}) {
    MessageBuffer<256> message;
    ClipPtr clip(OpenClipIn(pipeline_, path_, &options, nullptr, message));
    EXPECT_NE(clip, nullptr) << message.text();
    return clip;
  }
  static std::vector<uint8_t> Get(const ClipPtr& clip, int64_t frame, int32_t level, OutputPixelFormat format) {
    const Size size = LevelSize(clip->sizes, level);
    const uint64_t rowBytes = FormatRowBytes(format, size.width);
    std::vector<uint8_t> pixels(rowBytes * size_t(size.height));
    EXPECT_EQ(GetFrame(clip.get(), frame, frame, level, format, pixels.data(), uint32_t(rowBytes), nullptr, nullptr), 0);
    return pixels;
  }

  const std::vector<uint8_t> archive_ = MakeArchive();
  std::filesystem::path path_;
  FramePipeline pipeline_{DefaultPipelineBackend(), MakePipelineConfig(4, [](const char*, size_t) { return std::nullopt; })};
};

TEST_F(ArchiveClip, DeliversEveryFormatAtEverySizeAsDevelopedAlone) {
  const ClipPtr clip = Open();
  Reference reference(archive_, {});
  for (int32_t level : {kFullSize, kHalfSize, kQuarterSize}) {
    for (OutputPixelFormat format : kHostFormats) {
      SCOPED_TRACE(testing::Message() << "level " << level << ", format " << int(format));
      const std::vector<uint8_t> expected = reference.Frame(2, level, format);
      EXPECT_TRUE(Get(clip, 2, level, format) == expected) << "converted from the developed frame";
      const ClipPtr fresh = Open();
      EXPECT_TRUE(Get(fresh, 2, level, format) == expected) << "converted ahead by the reader";
    }
  }
}

TEST(SourceOpen, FindsARecordingWhoseBeginningIsDamaged) {
  QorixRecordingOptions options;
  options.format.width = 32, options.format.height = 16, options.frames = 3;
  std::vector<uint8_t> bytes;
  ASSERT_TRUE(MakeRecording(options, QorixSinkTo(&bytes)));
  std::fill_n(bytes.begin(), 48, uint8_t(0));
  const MemorySource file(bytes);
  SourceTimeline source;
  FrameSourcePtr frames;
  MessageBuffer<256> message;
  EXPECT_EQ(source_timeline_open(&source, file, message), 0) << message.text();
  EXPECT_EQ(source.frames.size(), 3u);
}

}  // namespace
}  // namespace qx
