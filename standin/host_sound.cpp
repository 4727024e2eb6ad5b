// Sound requests of the host: one guarded buffer per channel.
#include <cstring>
#include <memory>

#include "host/selectors.h"
#include "standin/guarded.h"
#include "standin/host_clip.h"

namespace standin {

int32_t HostClip::GetSound(int64_t position, uint32_t count, int32_t channels, std::vector<std::vector<float>>* sound) const {
  std::vector<std::unique_ptr<GuardedBlock>> blocks;
  GuardedBlock pointers(size_t(channels) * sizeof(float*));
  for (int32_t c = 0; c < channels; ++c) {
    blocks.push_back(std::make_unique<GuardedBlock>(size_t(count) * sizeof(float)));
    for (uint32_t i = 0; i < count; ++i) std::memcpy(blocks.back()->data() + i * sizeof(float), &kUnwrittenSample, sizeof(float));
    auto* const buffer = reinterpret_cast<float*>(blocks.back()->data());
    std::memcpy(pointers.data() + size_t(c) * sizeof(float*), &buffer, sizeof(float*));
  }
  GuardedRecord<qx::host::ImportAudioRec7> record("audio record");
  record->position = position;
  record->size = count;
  record->buffer = reinterpret_cast<float**>(pointers.data());
  record->privateData = privateData_;
  qx::host::FileRef file = file_;
  const int32_t result = plugin_.Call(qx::host::imImportAudio7, &file, record.get());

  sound->assign(size_t(channels), std::vector<float>(count));
  pointers.Check("audio buffer list");
  for (int32_t c = 0; c < channels; ++c) {
    const uint8_t* bytes = blocks[size_t(c)]->data();
    blocks[size_t(c)]->Check("audio channel");
    for (uint32_t i = 0; i < count && result == qx::host::imNoErr; ++i) {
      if (std::memcmp(bytes + i * sizeof(float), &kUnwrittenSample, sizeof(float)) != 0) continue;
      ReportViolation("imImportAudio7: sample %u of channel %d was not written", i, c);
      break;
    }
    if (count > 0) std::memcpy((*sound)[size_t(c)].data(), bytes, size_t(count) * sizeof(float));
  }
  return result;
}

}  // namespace standin
