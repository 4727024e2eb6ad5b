#include <windows.h>

#include "platform/cpu_features.h"

namespace qx {

int ProcessorCount() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors > 0 ? int(info.dwNumberOfProcessors) : 1;
}

}  // namespace qx
