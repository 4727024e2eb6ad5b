// The head of a WAV file: RIFF and RF64 (EBU Tech 3306), with the broadcast extension (EBU Tech 3285).
#pragma once

#include <cstdint>

#include "base/byte_reader.h"
#include "media/sound_description.h"

namespace qx {

/// Everything up to the samples has to lie in this many bytes of the file.
constexpr uint64_t kWavHeadBytes = 65536;

/// Describes the sound of a WAV of `fileBytes` bytes, of which `head` holds the first min(fileBytes, kWavHeadBytes). Data offsets count
/// from the file's beginning. False, with `sound` unchanged, when it is no WAV, or one without a format, samples or sample frames.
[[nodiscard]] bool ParseWavHead(Bytes head, uint64_t fileBytes, SoundDescription* sound);

}  // namespace qx
