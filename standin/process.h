// Facts about the running process.
#pragma once

#include <cstdint>
#include <string>

namespace standin {

/// The plug-in beside the running program, in the platform's file name, as UTF-8.
std::string DefaultImporterPath();

/// An environment variable of this process, "" when it is not set. Set it before the plug-in is loaded: that reads its variables then.
std::string ReadVariable(const char* name);
void SetVariable(const char* name, const std::string& value);

/// Largest resident size so far, in bytes; 0 when the system does not tell.
uint64_t PeakMemoryBytes();

/// How often this process has the file at `path` (UTF-8) open.
int OpenHandlesOf(const std::string& path);

/// Running threads of this process with this name.
int ThreadsNamed(const std::string& name);

}  // namespace standin
