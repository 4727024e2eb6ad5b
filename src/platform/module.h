// Shared libraries that are loaded while the process runs.
#pragma once

#include <filesystem>

#include "base/message.h"

namespace qx {

/// Folder of the shared library or program that this code is part of; empty when the system does not tell.
std::filesystem::path OwnModuleFolder();

/// Loads a shared library for the rest of the process: it is never unloaded, as toolkits leave threads and handlers behind. Its symbols
/// stay its own. Null with the system's reason. Any thread.
void* LoadSharedModule(const std::filesystem::path& path, Message message);

/// The address of an exported symbol, or null.
void* FindModuleSymbol(void* module, const char* name);

}  // namespace qx
