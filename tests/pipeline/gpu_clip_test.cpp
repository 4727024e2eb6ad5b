// Real recordings of both kinds through the pipeline, developed on a real OpenGL driver, against the processor's frames.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "pipeline/clip_impl.h"
#include "samples/archive_maker.h"
#include "samples/recording_maker.h"
#include "samples/zip_writer.h"
#include "tests/gpu_support/frame_difference.h"
#include "tests/gpu_support/gpu_fixture.h"
#include "tests/pipeline/fake_recording.h"

namespace qx {

namespace {

// Small, but with a half and a quarter size: 16 × 2160, 8 × 1080, 4 × 540.
constexpr int kWidth = 16, kHeight = 2160, kFrames = 3;
constexpr OutputPixelFormat kHostFormats[] = {OutputPixelFormat::kBgra16, OutputPixelFormat::kBgra8, OutputPixelFormat::kBgraFloat,
                                              OutputPixelFormat::kUyvy,   OutputPixelFormat::kV210,  OutputPixelFormat::kVuyaFloat};

/// With gain maps and a lens correction.
std::vector<uint8_t> MakeSceneArchive(bool losslessJpeg) {
  ArchiveOptions options;
  options.picture.width = kWidth;
  options.picture.height = kHeight;
  options.picture.losslessJpeg = losslessJpeg;
  options.picture.gainMap = options.picture.warp = true;
  options.frames = kFrames;
  std::vector<uint8_t> bytes;
  EXPECT_TRUE(MakeArchive(options, ZipSinkTo(&bytes)));
  return bytes;
}

std::vector<uint8_t> MakeQorix() {
  QorixRecordingOptions options;
  options.format.width = kWidth;
  options.format.height = kHeight;
  options.frames = kFrames;
  std::vector<uint8_t> bytes;
  EXPECT_TRUE(MakeRecording(options, QorixSinkTo(&bytes)));
  return bytes;
}

/// A recording in a file of its own.
class RecordingFile {
 public:
  explicit RecordingFile(const std::vector<uint8_t>& bytes)
      : path_(std::filesystem::temp_directory_path() / ("qx_gpu_clip_" + std::to_string(CurrentThreadId()))) {
    std::ofstream(path_, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  }
  ~RecordingFile() { std::filesystem::remove(path_); }
  const std::filesystem::path& path() const { return path_; }

 private:
  const std::filesystem::path path_;
};

std::unique_ptr<FramePipeline> MakePipeline(bool onGpu, const GpuSwitches& switches) {
  PipelineBackend backend = DefaultPipelineBackend();
  backend.createGpuPath = [=] { return onGpu ? CreateGpuPath(CreateSystemGlDriver, switches) : CreateAbsentGpuPath(); };
  return std::make_unique<FramePipeline>(backend, SmallConfig(2));
}

std::vector<uint8_t> Get(const ClipPtr& clip, int64_t frame, int32_t level, OutputPixelFormat format, int32_t* usedGpu) {
  const Size size = LevelSize(clip->sizes, level);
  const uint64_t rowBytes = FormatRowBytes(format, size.width);
  std::vector<uint8_t> pixels(rowBytes * size_t(size.height));
  EXPECT_EQ(GetFrame(clip.get(), frame, frame, level, format, pixels.data(), uint32_t(rowBytes), usedGpu, nullptr), 0);
  return pixels;
}

/// Frame 1 at every size in every format. Each from a clip of its own: a clip converts what it has in its cache.
std::map<std::pair<int32_t, OutputPixelFormat>, std::vector<uint8_t>> ProcessorFrames(const std::filesystem::path& path,
                                                                                      const DevelopOptions& options) {
  const auto pipeline = MakePipeline(false, {});
  std::map<std::pair<int32_t, OutputPixelFormat>, std::vector<uint8_t>> frames;
  for (const int32_t level : {kFullSize, kHalfSize, kQuarterSize}) {
    for (const OutputPixelFormat format : kHostFormats) {
      MessageBuffer<256> message;
      const ClipPtr clip(OpenClipIn(*pipeline, path, &options, nullptr, message));
      EXPECT_NE(clip, nullptr) << message.text();
      int32_t usedGpu = 1;
      frames[{level, format}] = Get(clip, 1, level, format, &usedGpu);
      EXPECT_EQ(usedGpu, 0);
    }
  }
  return frames;
}

}  // namespace

// Every way that samples take to the card (stored and packed, by readers and by the GPU thread), every format and size.
TEST(GpuClip, DeliversTheProcessorsFrames) {
  { QX_GPU_OR_SKIP(gpu); }
  struct Source {
    const char* name;
    std::vector<uint8_t> bytes;
    const char* uploadLine;
  };
  const Source sources[] = {{"12-bit archive", MakeSceneArchive(false), "upload: 12-bit samples for the clip (as stored)"},
                            {"compressed archive", MakeSceneArchive(true), "upload: 12-bit samples for the clip (packed)"},
                            {"recording", MakeQorix(), "upload: 12-bit samples for the clip (packed)"}};
  GpuSwitches normal, noPass, noUpload, noPacking;
  normal.direct = false;
  noPass.outputPass = false;
  noUpload.readerUpload = false;
  noPacking.packing = false;
  struct Mode {
    const char* name;
    GpuSwitches switches;
  };
  const Mode modes[] = {
      {"direct", {}}, {"normal", normal}, {"no pass", noPass}, {"no upload by readers", noUpload}, {"no packing", noPacking}};
  for (const Source& source : sources) {
    const RecordingFile file(source.bytes);
    for (int32_t curve : {0, 2, 3}) {  // S-Log3, Rec.709, linear
      DevelopOptions options;
      SetDefaultDevelopOptions(&options);
      options.outputCurve = curve;
      const auto expected = ProcessorFrames(file.path(), options);
      for (const Mode& mode : modes) {
        LogCapture log;
        MessageBuffer<256> message;
        const auto card = MakePipeline(true, mode.switches);
        const ClipPtr clip(OpenClipIn(*card, file.path(), &options, nullptr, message));
        ASSERT_NE(clip, nullptr) << message.text();
        for (const int32_t level : {kFullSize, kHalfSize, kQuarterSize}) {
          for (const OutputPixelFormat format : kHostFormats) {
            SCOPED_TRACE(testing::Message() << source.name << ", curve " << curve << ", " << mode.name << ", level " << level << ", format "
                                            << int(format));
            // Without the pass only 16 bits come back, which end at white.
            if (!mode.switches.outputPass && curve == 3 && format == OutputPixelFormat::kBgraFloat) continue;
            int32_t usedGpu = 0;
            const auto pixels = Get(clip, 1, level, format, &usedGpu);
            EXPECT_EQ(usedGpu, 1);
            const auto& reference = expected.at({level, format});
            const bool isFloat = format == OutputPixelFormat::kBgraFloat || format == OutputPixelFormat::kVuyaFloat;
            // Packing limits samples to one below white: where the scene clips, 1/4031 of the range.
            EXPECT_LE(WorstStep(format, pixels, reference), isFloat ? 2.6 : format == OutputPixelFormat::kBgra16 ? 2 : 1);
          }
        }
        const bool tells = mode.switches.outputPass && mode.switches.readerUpload && mode.switches.packing;
        if (tells && mode.switches.direct) {
          EXPECT_EQ(log.Find("upload: "), source.uploadLine);
        }
      }
    }
  }
}

}  // namespace qx
