// OpenGL drivers that draw on the processor. They are slower than the processor path, and nobody wants them by accident.
#pragma once

namespace qx {

/// QORIX_IMPORT_GPU is "software".
bool AllowsSoftwareRenderers();

/// True for the renderer string of a driver that is known to be software; null is none.
bool IsSoftwareRenderer(const char* renderer);

/// AllowsSoftwareRenderers, with a log line when `renderer` is refused.
bool MayUseSoftwareRenderer(const char* renderer);

}  // namespace qx
