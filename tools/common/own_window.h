// Programs that are started without a shell.
#pragma once

namespace tool {

/// A console window that was opened for this program alone closes with it, as when a file is dropped on the program: waits for Enter there.
void KeepOwnWindowOpen();

}  // namespace tool
