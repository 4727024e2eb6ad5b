#include "platform/owner_window.h"

namespace qx {

void* FindOwnerWindow() {
  return nullptr;
}

}  // namespace qx
