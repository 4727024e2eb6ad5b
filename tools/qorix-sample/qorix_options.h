// Command-line options of `.qorix` recordings.
#pragma once

#include <CLI/CLI.hpp>

#include "commands.h"

namespace tool {

/// Adds to `make` what only recordings ending in .qorix have.
void AddQorixMakeOptions(CLI::App* command, qx::QorixRecordingOptions* recording);

/// Adds to `damage` what needs to know the chunks of a recording.
void AddQorixDamageOptions(CLI::App* command, QorixDamageOptions* damage);

}  // namespace tool
