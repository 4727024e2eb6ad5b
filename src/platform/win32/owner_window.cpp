#include "platform/owner_window.h"

#include <windows.h>

#include <cstdint>

namespace qx {

namespace {

bool BelongsToThisProcess(HWND window) {
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  return process == GetCurrentProcessId();
}

struct Largest {
  HWND window = nullptr;
  int64_t area = 0;
};

BOOL CALLBACK Compare(HWND window, LPARAM context) {
  auto* const largest = reinterpret_cast<Largest*>(context);
  RECT bounds;
  if (!BelongsToThisProcess(window) || IsWindowVisible(window) == 0 || GetWindow(window, GW_OWNER) != nullptr) return TRUE;
  if (GetWindowRect(window, &bounds) == 0) return TRUE;
  const int64_t area = int64_t(bounds.right - bounds.left) * (bounds.bottom - bounds.top);
  if (area > largest->area) *largest = {window, area};
  return TRUE;
}

}  // namespace

void* FindOwnerWindow() {
  const HWND foreground = GetForegroundWindow();
  if (foreground != nullptr && BelongsToThisProcess(foreground)) return GetAncestor(foreground, GA_ROOTOWNER);
  Largest largest;
  EnumWindows(Compare, reinterpret_cast<LPARAM>(&largest));
  return largest.window;
}

}  // namespace qx
