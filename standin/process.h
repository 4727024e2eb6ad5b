// Facts about the running process.
#pragma once

#include <cstdint>
#include <string>

namespace standin {

/// The plug-in beside the running program, in the platform's file name.
std::string DefaultImporterPath();

/// Largest resident size so far, in bytes; 0 when the system does not tell.
uint64_t PeakMemoryBytes();

}  // namespace standin
