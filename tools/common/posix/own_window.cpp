#include "tools/common/own_window.h"

namespace tool {

void KeepOwnWindowOpen() {}

}  // namespace tool
