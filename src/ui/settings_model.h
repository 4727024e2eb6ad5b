// The settings window without a toolkit: its state, and what every click, key and wheel turn does. A view shows what the model says and
// reports what the user does; it decides nothing.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ui/numeric_field.h"
#include "ui/preview_worker.h"
#include "ui/settings_controls.h"
#include "ui/settings_layout.h"
#include "ui/source_settings_dialog.h"

namespace qx {

struct FileChoice {
  std::string title;                        // UTF-8
  std::string filterName = "LUT (*.cube)";  // as shown
  std::string filterPattern = "*.cube";
  std::filesystem::path start;  // the file chosen so far, or empty
};

/// What the model asks of a toolkit. All but PictureArrived come on the window's thread, from inside the model's notifications.
class SettingsView {
 public:
  virtual ~SettingsView() = default;
  /// Text, selection, check or enabling of the control has changed: ask the model and show it.
  virtual void Refresh(int controlId) = 0;
  /// On the preview thread, under the preview's lock: post a message that repaints the picture.
  virtual void PictureArrived() = 0;
  /// An open-file window over this one, for existing files; nothing when the user cancels it. The working directory stays.
  virtual std::optional<std::filesystem::path> ChooseFile(const FileChoice& choice) = 0;
  /// A warning over this window; returns when the user has closed it.
  virtual void Warn(const std::string& caption, const std::string& text) = 0;
  virtual void Close() = 0;
};

struct Color {
  uint8_t red = 0, green = 0, blue = 0;
  bool operator==(const Color&) const = default;
};

constexpr Color kWindowColor{35, 35, 35}, kFieldColor{27, 27, 27}, kSeparatorColor{64, 64, 64};
constexpr Color kTextColor{225, 225, 225}, kQuietTextColor{150, 150, 150}, kDisabledTextColor{105, 105, 105};
constexpr Color kPictureBackground{0, 0, 0};

/// Lives for one window, on one thread. The request and what it points to outlive the model.
class SettingsModel {
 public:
  SettingsModel(const SettingsDialogRequest& request, const DevelopOptions& options, SettingsView* view);

  // Before the window is shown.
  std::string Title() const;
  bool rightToLeft() const { return IsRightToLeft(request_.languageIndex); }
  bool hasPreview() const { return preview_ != nullptr; }
  SettingsLayout Layout(const TextWidth& textWidth) const;
  int64_t frameCount() const { return hasPreview() ? preview_->frameCount : 0; }
  int64_t sliderPage() const;
  /// Refreshes every control and starts the preview. Call it once the controls exist.
  void Begin();

  // What a control shows.
  std::string Text(int controlId) const;
  int Selection(int comboId) const;
  bool Checked(int checkId) const;
  bool Enabled(int controlId) const;
  int64_t sliderPosition() const { return sliderPosition_; }
  Color TextColor(int controlId) const;
  Color BackgroundColor(int controlId) const;
  void WithPicture(const std::function<void(const PreviewPicture&)>& use) const;

  // What the user did. Echoes of what the model itself has set change nothing.
  void TextChanged(int editId, std::string_view text);
  void SelectionChanged(int comboId, int row);
  void CheckChanged(int checkId, bool checked);
  void SliderMoved(int64_t position);
  void Clicked(int controlId);  // buttons, and the labels of check boxes
  void Stepped(int controlId, int count, StepKeys keys);
  void WheelTurned(int controlId, int delta, StepKeys keys);

  /// 1 after OK, else 0. The options and the flag are the user's choice after OK.
  int result() const { return result_; }
  const DevelopOptions& options() const { return options_; }
  bool useForNewClips() const { return useForNewClips_; }

 private:
  void RefreshAll();
  void RefreshLutRow();
  void RefreshWhiteBalance();
  void ChooseLut();
  void TurnLutOff();
  void Reset();
  void Confirm();
  void UpdatePreview();
  std::string LutPathUtf8() const;

  // Fixed after construction.
  const SettingsDialogRequest& request_;
  const SettingsPreview* const preview_;  // null without a picture
  SettingsView* const view_;

  DevelopOptions options_;
  SettingsControls controls_;
  bool useForNewClips_ = false;
  int64_t sliderPosition_ = 0;
  std::array<WheelSum, kNumericFieldCount> wheels_;
  int result_ = 0;
  std::unique_ptr<PreviewWorker> worker_;  // last: its thread ends before the rest goes
};

}  // namespace qx
