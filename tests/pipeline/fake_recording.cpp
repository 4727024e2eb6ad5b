#include "tests/pipeline/fake_recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>

#include "pipeline/clip_impl.h"

namespace qx {

namespace {

class FakeFrames final : public FrameSource {
 public:
  explicit FakeFrames(FakeRecording& recording) : recording_(recording) {
    camera_.width = camera_.activeRight = recording.width;
    camera_.height = camera_.activeBottom = recording.height;
    camera_.cropWidth = float(recording.width);
    camera_.cropHeight = float(recording.height);
    camera_.cfa = recording.cfa;
    // One strip of black 16-bit samples.
    camera_.bitsPerSample = 16;
    camera_.contiguous = true;
    camera_.totalStripBytes = uint64_t(recording.width) * recording.height * 2;
    camera_.stripOffsets = {0};
    camera_.stripByteCounts = {camera_.totalStripBytes};
    strip_.resize(size_t(camera_.totalStripBytes));
  }
  int32_t FrameCount() const override { return recording_.frames; }
  double FramesPerSecond() const override { return recording_.fps; }
  const DngInfo* CameraData() const override { return &camera_; }
  int ReadFrame(int32_t frame, RawFrame* out, uint32_t flags) override {
    {
      const std::lock_guard<std::mutex> guard(recording_.lock);
      recording_.readOrder.push_back(frame);
    }
    out->frame = frame;
    out->samples = flags == kReadUnpacked ? &sample_ : nullptr;
    out->described = &camera_;
    out->data = Bytes(strip_);
    return recording_.onRead(frame);
  }
  const char* LastMessage() const override { return "cannot read"; }
  const char* LastDamage() const override { return recording_.frameDamage.c_str(); }

 private:
  FakeRecording& recording_;
  DngInfo camera_;
  const uint16_t sample_ = 0;
  std::vector<uint8_t> strip_;
};

class FakeSession final : public ProcessorSession {
 public:
  FakeSession(FakeRecording& recording, const DngInfo& camera, const DevelopParams& params)
      : recording_(recording), exposure_(int(params.exposureEv)), half_(params.scaleCode != 0) {
    const OutputSizes sizes = ComputeOutputSizes(camera, params.widthAlign);
    size_ = half_ ? sizes.half : sizes.full;
  }
  Size OutputSize() const override { return size_; }
  int Develop(const RawFrame& raw, int32_t frame, uint16_t* rgb48, Message message) override {
    if (!recording_.developFails.empty()) return message.Fail("%s", recording_.developFails.c_str());
    if (raw.frame != frame || raw.samples == nullptr) return message.Fail("read for the wrong path");
    value_ = frame + exposure_ + (half_ ? 100 : 0);
    if (rgb48 != nullptr) std::fill_n(rgb48, size_t(size_.width) * size_t(size_.height) * 3, uint16_t(257 * value_));
    return 0;
  }
  int DevelopPacked(const RawFrame& raw, int32_t frame, OutputPixelFormat format, uint8_t* pixels, Message message) override {
    std::vector<uint16_t> rgb48(size_t(size_.width) * size_t(size_.height) * 3);
    if (Develop(raw, frame, rgb48.data(), message) != 0) return -1;
    ConvertRows(rgb48.data(), size_.width, size_.height, format, pixels, int64_t(FormatRowBytes(format, size_.width)), false, 0, 1);
    return 0;
  }
  void ReadFloat(float* rgb, int32_t firstRow, int32_t endRow) const override {
    for (int32_t y = firstRow; y < endRow; ++y) {
      for (int32_t x = 0; x < size_.width; ++x) {
        for (int c = 0; c < 3; ++c) *rgb++ = float(value_) + 0.25f * float(x & 1) + 0.5f * float(y & 1) + 1000.0f * float(c);
      }
    }
  }

 private:
  FakeRecording& recording_;
  const int exposure_;
  const bool half_;
  Size size_;
  int value_ = 0;
};

int OpenTimeline(const FakeRecording& recording, SourceTimeline* source, Message message) {
  if (!recording.openTimelineFails.empty()) return message.Fail("%s", recording.openTimelineFails.c_str());
  source->kind = recording.kind;
  source->qualityLevel = recording.qualityLevel;
  source->openMessage = recording.openMessage;
  source->damageNote = recording.damageNote;
  source->fps = source->captureFps = recording.fps;
  source->frames.resize(size_t(recording.frames));
  for (int32_t i = 0; i < recording.frames; ++i) source->frames[size_t(i)] = {i, i, i, 0};
  source->timecodeStart = int64_t(std::lround(recording.fps)) * 3600;
  return 0;
}

int OpenFrames(FakeRecording& recording, FrameSourcePtr* source, Message message) {
  const std::lock_guard<std::mutex> guard(recording.lock);
  if (++recording.framesOpened > 1 && !recording.openFramesFails.empty()) return message.Fail("%s", recording.openFramesFails.c_str());
  *source = std::make_unique<FakeFrames>(recording);
  return 0;
}

std::unique_ptr<ProcessorSession> CreateSession(FakeRecording& recording, const DngInfo& camera, const DevelopParams& params,
                                                Message message) {
  if (!recording.createSessionFails.empty()) {
    message.Fail("%s", recording.createSessionFails.c_str());
    return nullptr;
  }
  const std::lock_guard<std::mutex> guard(recording.lock);
  ++recording.sessionCount;
  return std::make_unique<FakeSession>(recording, camera, params);
}

}  // namespace

void Gate::Pass() {
  std::unique_lock<std::mutex> guard(lock_);
  ++arrivals_;
  changed_.notify_all();
  changed_.wait(guard, [this] { return open_; });
}

void Gate::Open() {
  const std::lock_guard<std::mutex> guard(lock_);
  open_ = true;
  changed_.notify_all();
}

void Gate::AwaitArrivals(int count) {
  std::unique_lock<std::mutex> guard(lock_);
  changed_.wait(guard, [&] { return arrivals_ >= count; });
}

std::vector<int32_t> FakeRecording::reads() const {
  const std::lock_guard<std::mutex> guard(lock);
  return readOrder;
}

int32_t FakeRecording::sessionsCreated() const {
  const std::lock_guard<std::mutex> guard(lock);
  return sessionCount;
}

PipelineBackend MakeFakeBackend(FakeRecording& recording) {
  PipelineBackend backend;
  backend.openFile = [&](const std::filesystem::path&) -> std::unique_ptr<ByteSource> {
    if (recording.fileMissing) return nullptr;
    return std::make_unique<MemorySource>(Bytes());
  };
  backend.openTimeline = [&](SourceTimeline* source, const ByteSource&, Message message) {
    return OpenTimeline(recording, source, message);
  };
  backend.openFrames = [&](FrameSourcePtr* source, const ByteSource&, Message message) { return OpenFrames(recording, source, message); };
  backend.createSession = [&](const DngInfo& camera, const DevelopParams& params, WorkerPool*, Message message) {
    return CreateSession(recording, camera, params, message);
  };
  backend.createGpuPath = [&] { return recording.gpu != nullptr ? std::move(recording.gpu) : CreateAbsentGpuPath(); };
  return backend;
}

PipelineConfig SmallConfig(int viewReaders, int exportReaders, int prefetch) {
  PipelineConfig config;
  config.viewReaders = viewReaders;
  config.exportReaders = std::max(exportReaders, viewReaders);
  config.prefetch = prefetch;
  return config;
}

ClipPtr OpenFakeClip(FramePipeline& pipeline, const DevelopOptions* options, ClipInfo* info) {
  MessageBuffer<256> message;
  ClipPtr clip(OpenClipIn(pipeline, "fake", options, info, message));
  EXPECT_NE(clip, nullptr) << message.text();
  return clip;
}

int Ask(const ClipPtr& clip, int64_t frame, int32_t sizeLevel, int32_t* usedGpu) {
  const bool isOffered = LevelSize(clip->sizes, sizeLevel).width > 0;
  const Size size = isOffered ? LevelSize(clip->sizes, sizeLevel) : clip->sizes.full;
  std::vector<uint8_t> pixels(size_t(size.width) * size_t(size.height) * 4);
  if (GetFrame(clip.get(), frame, frame, sizeLevel, OutputPixelFormat::kBgra8, pixels.data(), uint32_t(size.width) * 4, usedGpu, nullptr) !=
      0) {
    return -1;
  }
  for (size_t i = 0; i < pixels.size(); ++i) {
    if (pixels[i] != (i % 4 == 3 ? 255 : pixels[0])) return -2;
  }
  return pixels[0];
}

void AwaitStats(const ClipPtr& clip, const std::function<bool(const ClipStats&)>& isReached) {
  for (ClipStats stats;; std::this_thread::yield()) {
    GetClipStats(clip.get(), &stats);
    if (isReached(stats)) return;
  }
}

}  // namespace qx
