// The environment's say in development on the graphics card.
#pragma once

#include "platform/environment.h"

namespace qx {

/// Each is off while its variable is set, whatever the value (timing: on).
struct GpuSwitches {
  bool outputPass = true;    // QORIX_IMPORT_NOPASS: frames come back as 16-bit RGB and are converted on the processor
  bool direct = true;        // QORIX_IMPORT_NOFAST: the GPU thread uploads and reads back, readers do not
  bool readerUpload = true;  // QORIX_IMPORT_NOUP: in direct mode the GPU thread uploads all the same
  bool packing = true;       // QORIX_IMPORT_NOPACK: readers upload samples as they are stored
  bool timing = false;       // QORIX_IMPORT_GPUTIME: the log tells what frames take on the graphics card
};

GpuSwitches ReadGpuSwitches(const EnvironmentLookup& environment);

}  // namespace qx
