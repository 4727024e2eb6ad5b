// The settings window in Qt: a thin view of SettingsModel.
#pragma once

#include <QDialog>
#include <QStyle>
#include <map>
#include <optional>

#include "ui/qt/application.h"
#include "ui/settings_model.h"

namespace qx {

class PreviewPane;

/// One window, for one exec(). Its controls are found by the decimal control id as object name. Lives on the application's thread.
class SettingsDialog final : public QDialog, private SettingsView {
 public:
  /// `style` draws the controls and outlives the window, as `request` does.
  SettingsDialog(const SettingsDialogRequest& request, const DevelopOptions& options, QStyle* style);
  ~SettingsDialog() override;
  const SettingsModel& model() const { return model_; }

 protected:
  void reject() override;

 private:
  void Refresh(int controlId) override;
  void PictureArrived() override;
  std::optional<std::filesystem::path> ChooseFile(const FileChoice& choice) override;
  void Warn(const std::string& caption, const std::string& text) override;
  void Close() override;

  void CreateControls();
  QWidget* CreateControl(const ControlSpec& control);
  QWidget* CreateLabel(const ControlSpec& control);
  QWidget* CreateCombo(const ControlSpec& control);
  QWidget* CreateEdit(const ControlSpec& control);
  QWidget* CreateSpin(const ControlSpec& control);
  QWidget* CreateCheck(const ControlSpec& control);
  QWidget* CreateButton(const ControlSpec& control);
  QWidget* CreateSlider();
  QRect Place(const ControlSpec& control) const;
  void ShowColors(int controlId);
  void NameForScreenReaders(const SettingsLayout& layout);

  QStyle* const style_;
  const FontUnits units_;
  PreviewPane* previewPane_ = nullptr;
  int layoutWidth_ = 0;
  std::map<int, QWidget*> controls_;  // Qt owns the widgets
  SettingsModel model_;               // last: the preview thread ends before the rest goes
};

/// 1 confirmed (`options` and `useForNewClips` written), 0 not. On the application's thread.
[[nodiscard]] int RunSettingsDialog(const SettingsDialogRequest& request, DevelopOptions* options, bool* useForNewClips);

}  // namespace qx
