// Where the controls of the settings window are, in dialog units: 4 across the font's average character, 8 down its height.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ui/settings_labels.h"

namespace qx {

/// Ids of the controls, the same in every toolkit.
enum SettingsControlId : int {
  kNoControl = 0,  // labels that nothing refers to
  kOkButton = 1,
  kCancelButton = 2,
  kCurveCombo = 103,
  kLutName = 104,
  kChooseLutButton = 105,
  kLutOffButton = 106,
  kLutNote = 107,
  kExposureEdit = 108,
  kExposureSpin = 109,
  kWhiteBalanceCombo = 110,
  kKelvinEdit = 111,
  kTintEdit = 112,
  kDebayerCombo = 113,
  kDistortionEdit = 114,
  kDistortionSpin = 115,
  kVignettingEdit = 116,
  kVignettingSpin = 117,
  kProcessorCheck = 118,
  kNewClipsCheck = 119,
  kResetButton = 120,
  kKelvinSpin = 122,
  kTintSpin = 123,
  kPreviewPicture = 124,
  kFrameSlider = 125,
  kPositionText = 126,
  kFirstSeparator = 901,
  kSecondSeparator = 902,
  kPictureHeading = 921,
  kProcessorLabel = 1118,
  kNewClipsLabel = 1119,
};

enum class ControlKind { kLabel, kHeading, kSeparator, kCombo, kEdit, kSpin, kCheck, kButton, kPreview, kSlider };
enum class TextAlign { kStart, kCenter, kEnd };  // start is right in a mirrored window

struct DialogRect {
  int x = 0, y = 0, width = 0, height = 0;
};

struct ControlSpec {
  int id = kNoControl;
  ControlKind kind = ControlKind::kLabel;
  DialogRect rect;   // of a combo: height with its list open
  std::string text;  // UTF-8; what never changes while the window is open
  TextAlign align = TextAlign::kStart;
  std::vector<std::string> choices;  // of a combo
  int partner = kNoControl;          // of a label: the control that it names; of a spin: its edit
};

struct SettingsLayout {
  int width = 0, height = 0;
  std::vector<ControlSpec> controls;  // in the order of the tabulator key

  const ControlSpec* Find(int id) const;
};

/// Width of a UTF-8 text in the window's font, in dialog units, rounded up.
using TextWidth = std::function<int(std::string_view text)>;

/// Height of a combo box while its list is closed.
constexpr int kClosedComboHeight = 13;

SettingsLayout MakeSettingsLayout(int languageIndex, bool hasPreview, const TextWidth& textWidth);

/// The same place in a window that is read from right to left.
DialogRect Mirrored(const DialogRect& rect, int windowWidth);

/// The largest place of a picture's shape in the middle of an area; both sizes in pixels. Empty for an empty picture.
DialogRect FitPicture(int areaWidth, int areaHeight, int pictureWidth, int pictureHeight);

}  // namespace qx
