// Loading the plug-in's shared library.
#pragma once

#include <string>

#include "host/records.h"

namespace standin {

using ImportEntry = int32_t (*)(int32_t selector, qx::host::StdParms* parameters, void* param1, void* param2);

/// Loads the library at `path` and resolves xImportEntry. Null with the loader's own words in `error`. The library stays loaded until the
/// process ends: the plug-in asks for that.
ImportEntry LoadImporter(const std::string& path, std::string* error);

}  // namespace standin
