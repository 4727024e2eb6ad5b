// The module that this code is part of, as Windows knows it.
#pragma once

#include <windows.h>

namespace qx {

/// The plug-in's DLL, or the program that the code is linked into; null when the system does not tell.
HINSTANCE OwnInstance();

}  // namespace qx
