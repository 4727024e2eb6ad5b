#include "pipeline/pipeline_backend.h"

#include "develop/cpu/cpu_session.h"
#include "pipeline/source_open.h"
#include "platform/environment.h"
#include "platform/file.h"

namespace qx {

namespace {

std::unique_ptr<ByteSource> OpenFile(const std::filesystem::path& path) {
  auto file = std::make_unique<File>();
  if (!file->Open(path)) return nullptr;
  return file;
}

class CpuProcessorSession final : public ProcessorSession {
 public:
  explicit CpuProcessorSession(CpuSessionPtr session) : session_(std::move(session)) {}
  Size OutputSize() const override { return CpuSessionOutputSize(*session_); }
  int Develop(const RawFrame& raw, int32_t frame, uint16_t* rgb48, Message message) override {
    return DevelopFrameCpu(session_.get(), raw, frame, rgb48, message);
  }
  int DevelopPacked(const RawFrame& raw, int32_t frame, OutputPixelFormat format, uint8_t* pixels, Message message) override {
    return DevelopPackedFrameCpu(session_.get(), raw, frame, format, pixels, message);
  }
  void ReadFloat(float* rgb, int32_t firstRow, int32_t endRow) const override { ReadFloatRgb(*session_, 0, rgb, firstRow, endRow); }

 private:
  CpuSessionPtr session_;
};

std::unique_ptr<ProcessorSession> CreateSession(const DngInfo& camera, const DevelopParams& params, WorkerPool* pool, Message message) {
  CpuSessionPtr session = CreateCpuSession(camera, params, pool, message);
  if (session == nullptr) return nullptr;
  return std::make_unique<CpuProcessorSession>(std::move(session));
}

}  // namespace

PipelineBackend DefaultPipelineBackend() {
  return {OpenFile, source_timeline_open, frame_source_open, CreateSession,
          [] { return CreateGpuPath(CreateSystemGlDriver, ReadGpuSwitches(ReadEnvironment)); }};
}

}  // namespace qx
