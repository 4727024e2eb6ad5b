// Facts about the running process.
#pragma once

#include <cstdint>
#include <string>

namespace standin {

/// The plug-in beside the running program, in the platform's file name.
std::string DefaultImporterPath();

/// An environment variable of this process, "" when it is not set. Set it before the plug-in is loaded: that reads its variables then.
std::string ReadVariable(const char* name);
void SetVariable(const char* name, const std::string& value);

/// Largest resident size so far, in bytes; 0 when the system does not tell.
uint64_t PeakMemoryBytes();

}  // namespace standin
