#include "develop/gpu/gpu_developer.h"

#include <algorithm>
#include <new>
#include <vector>

namespace qx {

namespace {

constexpr GLint kUsualTextureLimit = 2048;
constexpr int64_t kUsualStorageLimit = 16777216;
constexpr GLuint64 kReadBackLimitNs = 10'000'000'000;

struct RenderSlot {
  explicit RenderSlot(GLenum format) : color(format) {}
  GlImage2D color;
  GlFramebuffer framebuffer;
  // 16-bit RGB on its way to memory.
  GlGrowBuffer pixels{GL_PIXEL_PACK_BUFFER, GL_STREAM_READ};
  GlFence fence;
  bool mapped = false;
};

}  // namespace

class GpuDeveloper {
 public:
  int Create(int slots, bool floatSlots, Message message) {
    if (slots < 1 || slots > kMostRenderSlots) return message.Fail("read buffers %d (1..%d)", slots, kMostRenderSlots);
    if (!NoGlError()) return message.Fail("GL error at creation");
    ReadLimits();
    if (passes_.Build(message) != 0 || render_.Build(message) != 0) return -1;
    if (!raw_.Create()) return message.Fail("out of memory");
    for (int i = 0; i < slots; ++i) {
      RenderSlot& slot = slots_.emplace_back(floatSlots ? GL_RGBA32F : GL_RGBA16);
      slot.framebuffer = NewGlObject<GlFramebuffer>(gl.GenFramebuffers);
      if (!slot.framebuffer) return message.Fail("out of memory");
    }
    return NoGlError() ? 0 : message.Fail("GL error at creation");
  }

  int CheckLimits(int frameWidth, int frameHeight, int outputWidth, int outputHeight, uint64_t rawBytes, Message message) const {
    if (SampleBufferBytes(rawBytes) > uint64_t(storageLimit_)) {
      return message.Fail("RAW frame of %llu bytes exceeds the driver SSBO limit %lld",
                          static_cast<unsigned long long>(SampleBufferBytes(rawBytes)), static_cast<long long>(storageLimit_));
    }
    const int largestOutput = std::max(outputWidth, outputHeight), largest = std::max({frameWidth, frameHeight, largestOutput});
    if (largest > textureLimit_ || largestOutput > viewportLimit_) {
      return message.Fail("frame %dx%d / output %dx%d exceeds the driver texture/viewport limit %d/%d", frameWidth, frameHeight,
                          outputWidth, outputHeight, textureLimit_, viewportLimit_);
    }
    return 0;
  }

  int Upload(const RawFrame& raw, const UploadedSamples* uploaded) {
    if (uploaded != nullptr) {
      raw_.Bind(*uploaded);
      layout_ = uploaded->layout;
      return 0;
    }
    Bytes bytes;
    if (!FindStoredSamples(raw, &bytes, &layout_)) return -1;
    if (SampleBufferBytes(bytes.size()) > uint64_t(storageLimit_)) return -2;
    return raw_.Upload(bytes) ? 0 : -1;
  }

  int Develop(const LinearFrame& frame, Demosaic method) {
    if (!raw_.SetLinearization(frame.camera.linearization) || !passes_.Run(frame, layout_, method)) return -1;
    return NoGlError() ? 0 : -1;
  }

  int Render(int index, const DevelopGeometry& geometry, int profile, int tone, float white) {
    RenderSlot& slot = slots_[size_t(index)];
    Unmap(slot);
    if (!slot.color.Resize(geometry.output.width, geometry.output.height)) return -1;
    gl.BindFramebuffer(GL_FRAMEBUFFER, slot.framebuffer.name());
    gl.FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, slot.color.name(), 0);
    if (gl.CheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) return -1;
    render_.Draw(passes_.linear().name(), geometry, profile, tone, white);
    gl.BindFramebuffer(GL_FRAMEBUFFER, 0);
    return NoGlError() ? 0 : -1;
  }

  int StartReadBack(int index) {
    RenderSlot& slot = slots_[size_t(index)];
    if (!slot.pixels.Reserve(PixelBytes(slot))) return -1;
    gl.BindFramebuffer(GL_FRAMEBUFFER, slot.framebuffer.name());
    gl.PixelStorei(GL_PACK_ALIGNMENT, 2);
    gl.ReadPixels(0, 0, slot.color.width(), slot.color.height(), GL_RGB, GL_UNSIGNED_SHORT, nullptr);
    gl.PixelStorei(GL_PACK_ALIGNMENT, 4);
    gl.BindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    gl.BindFramebuffer(GL_FRAMEBUFFER, 0);
    if (!NoGlError() || !slot.fence.Insert()) return -1;
    gl.Flush();  // so that the device works while the next frame is prepared
    return 0;
  }

  const uint16_t* ReadBack(int index) {
    RenderSlot& slot = slots_[size_t(index)];
    const bool arrived = slot.fence.Wait(kReadBackLimitNs, true) == GlFence::State::kReached;
    slot.fence.Reset();
    if (!arrived) return nullptr;
    gl.BindBuffer(GL_PIXEL_PACK_BUFFER, slot.pixels.name());
    const void* pixels = gl.MapBufferRange(GL_PIXEL_PACK_BUFFER, 0, GLsizeiptr(PixelBytes(slot)), GL_MAP_READ_BIT);
    gl.BindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    slot.mapped = pixels != nullptr;
    return static_cast<const uint16_t*>(pixels);
  }

  int64_t storageLimit() const { return storageLimit_; }
  RenderPass& render() { return render_; }
  LinearPasses& passes() { return passes_; }
  const LinearPasses& passes() const { return passes_; }
  const RenderSlot& slot(int index) const { return slots_[size_t(index)]; }

 private:
  static uint64_t PixelBytes(const RenderSlot& slot) { return uint64_t(slot.color.width()) * uint64_t(slot.color.height()) * 6; }

  void ReadLimits() {
    gl.GetIntegerv(GL_MAX_TEXTURE_SIZE, &textureLimit_);
    if (textureLimit_ < 1) textureLimit_ = kUsualTextureLimit;
    GLint viewport[2] = {0, 0};
    gl.GetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
    viewportLimit_ = viewport[0] < 1 || viewport[1] < 1 ? textureLimit_ : std::min(viewport[0], viewport[1]);
    GLint64 storage = 0;
    gl.GetInteger64v(GL_MAX_SHADER_STORAGE_BLOCK_SIZE, &storage);
    storageLimit_ = storage < 1 ? kUsualStorageLimit : storage;
  }

  void Unmap(RenderSlot& slot) {
    if (!std::exchange(slot.mapped, false)) return;
    gl.BindBuffer(GL_PIXEL_PACK_BUFFER, slot.pixels.name());
    gl.UnmapBuffer(GL_PIXEL_PACK_BUFFER);
    gl.BindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  }

  GLint textureLimit_ = 0, viewportLimit_ = 0;
  int64_t storageLimit_ = 0;
  LinearPasses passes_;
  RenderPass render_;
  RawBuffers raw_;
  SampleLayout layout_;
  std::vector<RenderSlot> slots_;
};

void GpuDeveloperDeleter::operator()(GpuDeveloper* developer) const {
  DestroyGpuDeveloper(developer);
}

GpuDeveloperPtr CreateGpuDeveloper(int slots, bool floatSlots, Message message) {
  GpuDeveloperPtr developer(new (std::nothrow) GpuDeveloper);
  if (developer == nullptr) {
    message.Fail("out of memory");
    return nullptr;
  }
  return developer->Create(slots, floatSlots, message) == 0 ? std::move(developer) : nullptr;
}

void DestroyGpuDeveloper(GpuDeveloper* developer) {
  delete developer;
}

int CheckGpuLimits(const GpuDeveloper& developer, int frameWidth, int frameHeight, int outputWidth, int outputHeight, uint64_t rawBytes,
                   Message message) {
  return developer.CheckLimits(frameWidth, frameHeight, outputWidth, outputHeight, rawBytes, message);
}

int64_t GpuStorageLimit(const GpuDeveloper& developer) {
  return developer.storageLimit();
}

int SetGpuEncoding(GpuDeveloper* developer, const EncodingState& encoding) {
  return developer->render().SetEncoding(encoding) ? 0 : -1;
}

void ForgetGpuGains(GpuDeveloper* developer) {
  developer->passes().ForgetGains();
}

int UploadRaw(GpuDeveloper* developer, const RawFrame& raw, const UploadedSamples* uploaded) {
  return developer->Upload(raw, uploaded);
}

int DevelopToLinear(GpuDeveloper* developer, const LinearFrame& frame, Demosaic method) {
  return developer->Develop(frame, method);
}

int RenderToSlot(GpuDeveloper* developer, int slot, const DevelopGeometry& geometry, int profile, int tone, float white) {
  return developer->Render(slot, geometry, profile, tone, white);
}

GLuint SlotTexture(const GpuDeveloper& developer, int slot) {
  return developer.slot(slot).color.name();
}

int StartReadBackRG48(GpuDeveloper* developer, int slot) {
  return developer->StartReadBack(slot);
}

const uint16_t* ReadBackRG48(GpuDeveloper* developer, int slot) {
  return developer->ReadBack(slot);
}

const LinearPasses& GpuLinearPasses(const GpuDeveloper& developer) {
  return developer.passes();
}

}  // namespace qx
