// The boxes of an MP4 file, down to the decoder's configuration.
#include <cstdint>
#include <cstdlib>

#include "rawzip/mp4_sound.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const qx::MemorySource file({data, size});
  qx::Mp4Sound sound;
  if (!qx::ReadMp4Sound(file, 0, size, &sound)) return 0;
  // A packet takes at least four bits of a size table, or a byte of the file.
  if (sound.packets > 2 * size || sound.frames() > sound.packets * sound.samplesPerPacket) std::abort();
  return 0;
}
