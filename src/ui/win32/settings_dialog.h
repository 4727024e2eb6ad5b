// The settings window on Windows: a thin view of SettingsModel in an in-memory modal dialog, whose controls have the layout's ids.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "ui/settings_model.h"

namespace qx {

/// Posted to the dialog when a new picture of the clip is there.
constexpr UINT kPictureArrivedMessage = 0x8001;
/// Sent to the dialog by a field whose wheel was turned: the wheel's first parameter, and the field's id.
constexpr UINT kFieldTurnedMessage = 0x8002;

/// One window, for one Run(). Lives on the thread that calls Run.
class SettingsDialog final : private SettingsView {
 public:
  /// `request` outlives the window.
  SettingsDialog(const SettingsDialogRequest& request, const DevelopOptions& options);
  ~SettingsDialog() override;
  SettingsDialog(const SettingsDialog&) = delete;
  SettingsDialog& operator=(const SettingsDialog&) = delete;

  /// Shows the window until the user closes it: 1 confirmed, 0 cancelled, −1 when the system makes no window (GetLastError says why),
  /// kOutOfMemory, or kFaulted when a machine fault (fault() is its code) has closed it.
  int Run();
  static constexpr int kOutOfMemory = -2, kFaulted = -3;
  uint32_t fault() const { return fault_; }
  const SettingsModel& model() const { return model_; }

 private:
  void Refresh(int controlId) override;
  void PictureArrived() override;
  std::optional<std::filesystem::path> ChooseFile(const FileChoice& choice) override;
  void Warn(const std::string& caption, const std::string& text) override;
  void Close() override;

  static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wide, LPARAM lng);
  static LRESULT CALLBACK FieldProcedure(HWND control, UINT message, WPARAM wide, LPARAM lng);
  INT_PTR HandleGuarded(UINT message, WPARAM wide, LPARAM lng);
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
  // What number fields and arrows were before FieldProcedure. By hand: without a manifest, the common controls that this library is bound
  // to may have their functions for it under numbers only.
  std::map<int, WNDPROC> fieldProcedures_;
  uint32_t fault_ = 0;
  SettingsModel model_;  // last: the preview thread ends before the rest goes
};

}  // namespace qx
