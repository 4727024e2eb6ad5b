// Libraries that are loaded at run time, because a machine may not have them.
#pragma once

namespace qx {

/// Loads a library of the system by its file name, once and for the rest of the process; null when there is none. Any thread.
void* LoadSystemLibrary(const char* name);
/// The address of an exported symbol; null for none, and for a null library.
void* FindSymbol(void* library, const char* name);

}  // namespace qx
