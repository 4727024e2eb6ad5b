// Whose window a dialog belongs to.
#pragma once

namespace qx {

/// The system's handle of the window that a dialog of this process is centred on and blocks: the foreground window's root owner when it
/// belongs to this process, else the largest visible top-level window of the process that has no owner (of several equal ones the first
/// found). Null when there is none, and where windows are not the system's business. The host's user-interface thread.
void* FindOwnerWindow();

}  // namespace qx
