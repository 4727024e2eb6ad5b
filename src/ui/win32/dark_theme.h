// Dark windows and the newer common controls, in a host that may have asked for neither. What the system does not have is left out.
#pragma once

#include <windows.h>

namespace qx {

/// Once per process: lets windows of this application be dark.
void AllowDarkApplication();

/// A dark title bar, where the window manager has one.
void DarkenTitleBar(HWND dialog);

/// Dark scroll bars, arrows and borders of a dialog or a control. `theme` null: only the switch, which dialogs want.
void DarkenWindow(HWND window, const wchar_t* theme);

/// While it lives, controls are made by version 6 of the common controls, whatever the host's manifest says.
class NewCommonControls {
 public:
  NewCommonControls();
  ~NewCommonControls();
  NewCommonControls(const NewCommonControls&) = delete;
  NewCommonControls& operator=(const NewCommonControls&) = delete;

 private:
  ULONG_PTR cookie_ = 0;
  bool active_ = false;
};

}  // namespace qx
