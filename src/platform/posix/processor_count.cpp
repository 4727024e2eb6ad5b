#include <unistd.h>

#include "platform/cpu_features.h"

namespace qx {

int ProcessorCount() {
  const long count = sysconf(_SC_NPROCESSORS_ONLN);
  return count > 0 ? int(count) : 1;
}

}  // namespace qx
