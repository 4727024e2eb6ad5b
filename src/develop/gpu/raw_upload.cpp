#include "develop/gpu/raw_upload.h"

#include "base/checked.h"

namespace qx {

namespace {

constexpr uint32_t kFewestBits = 8, kMostBits = 16;
// Something must be bound where the pass expects the table.
constexpr uint8_t kNoTable[16] = {};

}  // namespace

bool FindStoredSamples(const RawFrame& raw, Bytes* bytes, SampleLayout* layout) {
  if (raw.described == nullptr) return false;
  const DngInfo& info = *raw.described;
  if (info.samplesPerPixel != 1 || info.planarConfiguration != 1) return false;
  if (raw.samples != nullptr) {
    const uint64_t rowBytes = uint64_t(info.width) * sizeof(uint16_t);
    const auto total = CheckedMul(rowBytes, info.height);
    if (!total || *total == 0 || rowBytes > UINT32_MAX) return false;
    *bytes = Bytes(reinterpret_cast<const uint8_t*>(raw.samples), size_t(*total));
    *layout = {uint32_t(rowBytes), 16, false};
    return true;
  }
  if (info.bitsPerSample < kFewestBits || info.bitsPerSample > kMostBits || !info.contiguous || info.stripOffsets.empty()) return false;
  const uint64_t rowBytes = (uint64_t(info.width) * info.bitsPerSample + 7) / 8;
  const auto total = CheckedMul(rowBytes, info.height);
  const uint64_t offset = info.stripOffsets[0];
  if (!total || *total == 0 || rowBytes > UINT32_MAX || *total > info.totalStripBytes || offset > raw.data.size() ||
      *total > raw.data.size() - offset) {
    return false;
  }
  *bytes = raw.data.subspan(size_t(offset), size_t(*total));
  *layout = {uint32_t(rowBytes), info.bitsPerSample, info.bigEndian};
  return true;
}

bool RawBuffers::Create() {
  if (!table_.Reserve(sizeof(kNoTable))) return false;
  gl.BufferSubData(GL_SHADER_STORAGE_BUFFER, 0, sizeof(kNoTable), kNoTable);
  return true;
}

bool RawBuffers::Upload(Bytes samples) {
  if (!samples_.Reserve(SampleBufferBytes(samples.size()))) return false;
  gl.BufferSubData(GL_SHADER_STORAGE_BUFFER, 0, GLsizeiptr(samples.size()), samples.data());
  gl.BindBufferBase(GL_SHADER_STORAGE_BUFFER, 0, samples_.name());
  return true;
}

void RawBuffers::Bind(const UploadedSamples& samples) {
  gl.BindBufferBase(GL_SHADER_STORAGE_BUFFER, 0, samples.buffer);
}

bool RawBuffers::SetLinearization(const std::vector<uint16_t>& table) {
  if (!table.empty() && table != uploadedTable_) {
    std::vector<uint32_t> words((table.size() + 1) / 2);
    for (size_t i = 0; i < table.size(); ++i) words[i / 2] |= uint32_t(table[i]) << (i % 2 * 16);
    uploadedTable_.clear();
    const size_t bytes = words.size() * sizeof(uint32_t);
    if (!table_.Reserve(bytes)) return false;
    gl.BufferSubData(GL_SHADER_STORAGE_BUFFER, 0, GLsizeiptr(bytes), words.data());
    uploadedTable_ = table;
  }
  gl.BindBufferBase(GL_SHADER_STORAGE_BUFFER, 1, table_.name());
  return true;
}

}  // namespace qx
