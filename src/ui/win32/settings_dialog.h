// The settings window on Windows: a thin view of SettingsModel in an in-memory modal dialog, whose controls have the layout's ids.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <optional>

#include "ui/settings_model.h"

namespace qx {

/// Posted to the dialog when a new picture of the clip is there.
constexpr UINT kPictureArrivedMessage = 0x8001;

/// One window, for one Run(). Lives on the thread that calls Run.
class SettingsDialog final : private SettingsView {
 public:
  /// `request` outlives the window.
  SettingsDialog(const SettingsDialogRequest& request, const DevelopOptions& options);
  ~SettingsDialog() override;
  SettingsDialog(const SettingsDialog&) = delete;
  SettingsDialog& operator=(const SettingsDialog&) = delete;

  /// Shows the window until the user closes it: 1 confirmed, 0 cancelled, −1 when the system makes no window (GetLastError says why), or
  /// kOutOfMemory.
  int Run();
  static constexpr int kOutOfMemory = -2;
  const SettingsModel& model() const { return model_; }

 private:
  void Refresh(int controlId) override;
  void PictureArrived() override;
  std::optional<std::filesystem::path> ChooseFile(const FileChoice& choice) override;
  void Warn(const std::string& caption, const std::string& text) override;
  void Close() override;

  static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wide, LPARAM lng);
  static LRESULT CALLBACK FieldProcedure(HWND control, UINT message, WPARAM wide, LPARAM lng, UINT_PTR id, DWORD_PTR dialog);
  INT_PTR Handle(UINT message, WPARAM wide, LPARAM lng);

  void CreateControls();
  void CreateControl(const ControlSpec& control);
  void PrepareControl(const ControlSpec& control, HWND window);
  void MakeFonts();
  void Place(const SettingsLayout& layout);
  int TextWidth(std::string_view text) const;
  HWND Item(int id) const { return GetDlgItem(window_, id); }

  void OnCommand(int id, int notification);
  bool OnSpin(int spinId, int delta);
  bool OnWheel(int controlId, WPARAM wide);
  HBRUSH OnControlColor(HDC context, HWND control);
  void DrawPicture(const DRAWITEMSTRUCT& item) const;
  HBRUSH Brush(Color color);

  const SettingsDialogRequest& request_;
  HWND window_ = nullptr;
  HFONT boldFont_ = nullptr;
  std::map<COLORREF, HBRUSH> brushes_;
  std::map<int, ControlKind> kinds_;  // of the controls with an id
  SettingsModel model_;               // last: the preview thread ends before the rest goes
};

}  // namespace qx
