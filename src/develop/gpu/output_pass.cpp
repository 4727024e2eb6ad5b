#include "develop/gpu/output_pass.h"

#include <new>

#include "develop/gpu/shader_sources.h"
#include "develop/gpu/texture_units.h"

namespace qx {

namespace {

constexpr GLuint kOutputBinding = 1;
constexpr uint64_t kGroupSize = 64, kMostGroupsPerSide = 65535;  // every driver offers as many

// The pass's own numbers of the formats.
int PassFormat(OutputPixelFormat format) {
  switch (format) {
    case OutputPixelFormat::kBgra16:
      return 2;
    case OutputPixelFormat::kBgra8:
      return 1;
    case OutputPixelFormat::kBgraFloat:
    case OutputPixelFormat::kUyvy:
    case OutputPixelFormat::kV210:
    case OutputPixelFormat::kVuyaFloat:
      return int(format);
    case OutputPixelFormat::kRgb48:
    case OutputPixelFormat::kRgb48ReadBack:
      break;
  }
  return 0;
}

uint64_t Invocations(OutputPixelFormat format, Size size, bool quarter) {
  const uint64_t width = uint64_t(size.width), height = uint64_t(size.height);
  if (format == OutputPixelFormat::kV210) return height * ((width + 47) / 48 * 8);
  return width / 2 * (quarter ? height / 2 : height);
}

}  // namespace

uint64_t PackedFrameBytes(OutputPixelFormat format, Size size, bool quarter) {
  const int32_t reduction = quarter ? 2 : 1;
  return FormatRowBytes(format, size.width / reduction) * uint64_t(size.height / reduction);
}

std::unique_ptr<OutputPass> BuildOutputPass(Message message) {
  std::unique_ptr<OutputPass> pass(new (std::nothrow) OutputPass);
  if (pass == nullptr) {
    message.Fail("out of memory");
    return nullptr;
  }
  pass->program_ = BuildListPass(shaders::output_pass_comp, message);
  if (!pass->program_) return nullptr;
  pass->program_.Use();
  pass->program_.Set("uIn", int(kUnitSlot));
  return pass;
}

int RunOutputPass(OutputPass* pass, const GpuDeveloper& developer, int slot, OutputPixelFormat format, Size size, bool quarter,
                  GLuint readBack) {
  return pass->Run(developer, slot, format, size, quarter, readBack);
}

int OutputPass::Run(const GpuDeveloper& developer, int slot, OutputPixelFormat format, Size size, bool quarter, GLuint readBack) {
  Slot& buffers = slots_[size_t(slot)];
  buffers.fence.Reset();
  buffers.packedBytes = PackedFrameBytes(format, size, quarter);
  if (buffers.packedBytes > uint64_t(GpuStorageLimit(developer)) || !buffers.output.Reserve(buffers.packedBytes)) return -1;
  if (readBack == 0 && !buffers.readBack.Reserve(buffers.packedBytes)) return -1;
  BindTexture(kUnitSlot, GL_TEXTURE_2D, SlotTexture(developer, slot));
  gl.BindBufferBase(GL_SHADER_STORAGE_BUFFER, kOutputBinding, buffers.output.name());
  Dispatch(format, size, quarter);

  gl.BindBuffer(GL_COPY_READ_BUFFER, buffers.output.name());
  gl.BindBuffer(GL_COPY_WRITE_BUFFER, readBack != 0 ? readBack : buffers.readBack.name());
  gl.CopyBufferSubData(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, GLsizeiptr(buffers.packedBytes));
  gl.BindBuffer(GL_COPY_READ_BUFFER, 0);
  gl.BindBuffer(GL_COPY_WRITE_BUFFER, 0);
  if (!NoGlError() || !buffers.fence.Insert()) return -1;
  gl.Flush();
  return 0;
}

void OutputPass::Dispatch(OutputPixelFormat format, Size size, bool quarter) const {
  const uint64_t invocations = Invocations(format, size, quarter);
  program_.Use();
  program_.Set("uW", size.width);
  program_.Set("uH", size.height);
  program_.Set("uF", PassFormat(format));
  program_.Set("uQ", int(quarter));
  program_.Set("uCount", int(invocations));
  const uint64_t groups = (invocations + kGroupSize - 1) / kGroupSize;
  const uint64_t rows = (groups + kMostGroupsPerSide - 1) / kMostGroupsPerSide;
  gl.DispatchCompute(GLuint((groups + rows - 1) / rows), GLuint(rows), 1);
  gl.MemoryBarrier(GL_BUFFER_UPDATE_BARRIER_BIT);
}

OutputPass::State OutputPass::Poll(int slot) const {
  switch (slots_[size_t(slot)].fence.Wait(0, false)) {
    case GlFence::State::kPending:
      return State::kPending;
    case GlFence::State::kReached:
      return State::kReady;
    case GlFence::State::kFailed:
      break;
  }
  return State::kFailed;
}

const uint8_t* OutputPass::Map(int slot) {
  Slot& buffers = slots_[size_t(slot)];
  buffers.fence.Reset();
  gl.BindBuffer(GL_COPY_READ_BUFFER, buffers.readBack.name());
  const void* bytes = gl.MapBufferRange(GL_COPY_READ_BUFFER, 0, GLsizeiptr(buffers.packedBytes), GL_MAP_READ_BIT);
  gl.BindBuffer(GL_COPY_READ_BUFFER, 0);
  return static_cast<const uint8_t*>(bytes);
}

void OutputPass::Unmap(int slot) {
  gl.BindBuffer(GL_COPY_READ_BUFFER, slots_[size_t(slot)].readBack.name());
  gl.UnmapBuffer(GL_COPY_READ_BUFFER);
  gl.BindBuffer(GL_COPY_READ_BUFFER, 0);
}

}  // namespace qx
