// Command-line options of the sound that recordings of both kinds can have.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "commands.h"

namespace tool {

/// Adds to `make` the sound of both kinds, and what only archives have.
void AddSoundOptions(CLI::App* command, SoundOptions* sound);

/// Puts the sound into an archive or a recording. The reason why not, or an empty text.
std::string ApplySound(const SoundOptions& options, qx::ArchiveOptions* archive);
std::string ApplySound(const SoundOptions& options, qx::QorixSoundOptions* recording);

}  // namespace tool
