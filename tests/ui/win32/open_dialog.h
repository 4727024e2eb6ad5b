// A settings window on a thread of its own, driven as a user would through messages to its controls.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "base/message.h"
#include "ui/source_settings_dialog.h"

namespace qx {

struct Pixels {
  int width = 0, height = 0;
  std::vector<uint8_t> bgra;  // top row first
  COLORREF At(int x, int y) const {
    const uint8_t* const p = &bgra[size_t(y * width + x) * 4];
    return RGB(p[2], p[1], p[0]);
  }
};

/// A window that is open while this lives; ended by Finish or by the destructor, which cancels it. `request` outlives it.
class OpenDialog {
 public:
  OpenDialog(const SettingsDialogRequest& request, const DevelopOptions& options);
  ~OpenDialog();
  OpenDialog(const OpenDialog&) = delete;
  OpenDialog& operator=(const OpenDialog&) = delete;

  HWND window() const { return window_; }
  HWND Item(int id) const { return GetDlgItem(window_, id); }
  /// A control's place in what Capture returns, also where the window is mirrored.
  RECT PlaceOf(int id) const;

  std::string Text(int id) const;
  void Type(int id, const wchar_t* text) const;
  void Select(int comboId, int row) const;
  void Click(int id) const;
  /// Clicks a half of the arrows while `heldKey` (VK_SHIFT, VK_CONTROL; 0: none) is down.
  void PressArrow(int spinId, bool up, int heldKey = 0) const;
  void Turn(int id, int delta, WORD keys) const;

  /// Another window that the dialog has opened over itself, once it is there.
  HWND WaitForPopup() const;
  /// Presses a button of it until it has gone: while it sets itself up, the system's file dialog loses commands.
  void Answer(HWND popup, int button) const;

  /// The window's client area as it is on the screen.
  Pixels Capture() const;

  int Finish(int button);
  const DevelopOptions& options() const { return options_; }
  bool useForNewClips() const { return useForNewClips_; }

 private:
  DevelopOptions options_;
  bool useForNewClips_ = false;
  MessageBuffer<256> message_;
  int result_ = -2;
  HWND window_ = nullptr;
  std::thread thread_;
};

}  // namespace qx
