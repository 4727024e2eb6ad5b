// The block of bytes in which the host keeps a clip's development settings. docs/settings.md describes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/byte_reader.h"
#include "pipeline/develop_options.h"

namespace qx {

/// What the importer asks for, and the most that it uses of a larger block.
constexpr size_t kClipPrefsBytes = 1024;
/// The fields in front of the LUT's path; a shorter block is none.
constexpr size_t kSmallestClipPrefs = 76;

/// Writes the options in version 3 and clears the rest of the block's first 1,024 bytes. 0, or −1 when the block is too small or the LUT's
/// path does not fit it or is no valid UTF-16; the block is then as it was.
[[nodiscard]] int WriteClipPrefs(const DevelopOptions& options, uint32_t generation, std::span<uint8_t> block);

/// 1: the block was valid (version 2 or later) and `options` holds its settings, numbers limited to their ranges. 0: it was not, and
/// `options` holds the defaults. Reads nothing behind the length that the block itself tells.
int ReadClipPrefs(Bytes block, DevelopOptions* options);

/// How often the settings of the block were confirmed; 0 for a block that is not valid.
uint32_t ClipPrefsGeneration(Bytes block);

}  // namespace qx
