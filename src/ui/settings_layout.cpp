#include "ui/settings_layout.h"

#include <algorithm>
#include <cstdint>

namespace qx {

namespace {

constexpr int kPreviewColumn = 214;
constexpr int kControlColumn = 284;
constexpr int kWindowHeight = 217;
constexpr int kLabelX = 14;
constexpr int kTextHeight = 9, kEditHeight = 12, kSpinWidth = 10;
constexpr int kPreviewWidth = 206;
constexpr int kLutButtonsWidth = 152, kButtonPadding = 12;
constexpr int kWidestTintLabel = 54;

class LayoutBuilder {
 public:
  LayoutBuilder(int languageIndex, bool hasPreview, const TextWidth& textWidth)
      : languageIndex_(languageIndex), previewColumn_(hasPreview ? kPreviewColumn : 0), textWidth_(textWidth) {
    labelColumn_ = LabelColumnWidth();
    layout_.width = labelColumn_ + kControlColumn + previewColumn_;
    layout_.height = kWindowHeight;
  }

  SettingsLayout Build() {
    AddHeading();
    AddColorRows();
    AddWhiteBalanceRow();
    AddLensRows();
    AddBottom();
    if (previewColumn_ > 0) AddPreview();
    return std::move(layout_);
  }

 private:
  const char* Text(Label label) const { return LabelText(languageIndex_, label); }
  int X(int offset) const { return labelColumn_ + offset; }

  int LabelColumnWidth() const {
    int widest = 0;
    for (const Label label : {Label::kColorOutput, Label::kLut, Label::kExposure, Label::kWhiteBalance, Label::kDebayer, Label::kDistortion,
                              Label::kVignetting}) {
      widest = std::max(widest, textWidth_(Text(label)));
    }
    return std::clamp(widest + 4, 40, 150);
  }

  ControlSpec& Add(int id, ControlKind kind, DialogRect rect, std::string text = {}) {
    return layout_.controls.emplace_back(ControlSpec{id, kind, rect, std::move(text)});
  }

  // The label at the start of a control's row; its text stands two units below the control's top.
  void AddRowLabel(Label label, int partner, int controlY) {
    Add(kNoControl, ControlKind::kLabel, {kLabelX, controlY + 2, labelColumn_, kTextHeight}, Text(label)).partner = partner;
  }

  void AddCombo(int id, DialogRect rect, std::vector<std::string> choices) {
    Add(id, ControlKind::kCombo, rect).choices = std::move(choices);
  }

  void AddNumber(int editId, int spinId, int x, int y, int width) {
    Add(editId, ControlKind::kEdit, {x, y, width, kEditHeight});
    Add(spinId, ControlKind::kSpin, {x + width, y, kSpinWidth, kEditHeight}).partner = editId;
  }

  void AddUnit(const char* unit, int x, int y) { Add(kNoControl, ControlKind::kLabel, {x, y, 12, kTextHeight}, unit); }

  void AddHeading() {
    const int width = X(270) + previewColumn_;
    Add(kPictureHeading, ControlKind::kHeading, {7, 7, width, 10}, Text(Label::kPicture));
    Add(kFirstSeparator, ControlKind::kSeparator, {7, 18, width, 1});
  }

  void AddColorRows() {
    AddRowLabel(Label::kColorOutput, kCurveCombo, 24);
    AddCombo(kCurveCombo, {X(18), 24, 150, 90}, {"S-Log3 / S-Gamut3.Cine", "DaVinci Intermediate", "Rec.709", Text(Label::kLinear)});
    AddRowLabel(Label::kLut, kLutName, 41);
    Add(kLutName, ControlKind::kLabel, {X(18), 43, 96, kTextHeight});
    int chooseWidth = textWidth_(Text(Label::kChooseLut)) + kButtonPadding;
    int offWidth = textWidth_(Text(Label::kLutOff)) + kButtonPadding;
    if (chooseWidth + offWidth > kLutButtonsWidth) chooseWidth = offWidth = kLutButtonsWidth / 2;
    Add(kChooseLutButton, ControlKind::kButton, {X(118), 41, chooseWidth, 13}, Text(Label::kChooseLut));
    Add(kLutOffButton, ControlKind::kButton, {X(118) + chooseWidth, 41, offWidth, 13}, Text(Label::kLutOff));
    Add(kLutNote, ControlKind::kLabel, {X(18), 55, 252, kTextHeight});
    AddRowLabel(Label::kExposure, kExposureEdit, 67);
    AddNumber(kExposureEdit, kExposureSpin, X(18), 67, 34);
    AddUnit("EV", X(66), 69);
  }

  void AddWhiteBalanceRow() {
    AddRowLabel(Label::kWhiteBalance, kWhiteBalanceCombo, 84);
    AddCombo(kWhiteBalanceCombo, {X(18), 84, 100, 60}, {Text(Label::kAsShot), Text(Label::kTemperatureAndTint)});
    AddNumber(kKelvinEdit, kKelvinSpin, X(122), 84, 30);
    AddUnit("K", X(165), 86);
    const int tintWidth = std::min(textWidth_(Text(Label::kTint)), kWidestTintLabel) + 2;
    ControlSpec& tint = Add(kNoControl, ControlKind::kLabel, {X(174), 86, tintWidth, kTextHeight}, Text(Label::kTint));
    tint.align = TextAlign::kEnd;
    tint.partner = kTintEdit;
    AddNumber(kTintEdit, kTintSpin, X(174) + tintWidth, 84, 26);
  }

  void AddLensRows() {
    AddRowLabel(Label::kDebayer, kDebayerCombo, 101);
    AddCombo(kDebayerCombo, {X(18), 101, 150, 80}, {"MHC", "AHD", Text(Label::kBilinear), Text(Label::kAhdNoiseReduction)});
    AddRowLabel(Label::kDistortion, kDistortionEdit, 118);
    AddNumber(kDistortionEdit, kDistortionSpin, X(18), 118, 30);
    AddUnit("%", X(62), 120);
    AddRowLabel(Label::kVignetting, kVignettingEdit, 135);
    AddNumber(kVignettingEdit, kVignettingSpin, X(18), 135, 30);
    AddUnit("%", X(62), 137);
  }

  void AddBottom() {
    Add(kProcessorCheck, ControlKind::kCheck, {14, 156, 10, 11});
    Add(kProcessorLabel, ControlKind::kLabel, {26, 157, X(244), kTextHeight}, Text(Label::kProcessorOnly)).partner = kProcessorCheck;
    Add(kSecondSeparator, ControlKind::kSeparator, {7, 172, X(270) + previewColumn_, 1});
    Add(kNewClipsCheck, ControlKind::kCheck, {7, 179, 10, 11});
    Add(kNewClipsLabel, ControlKind::kLabel, {19, 180, layout_.width - 26, kTextHeight}, Text(Label::kNewClips)).partner = kNewClipsCheck;
    Add(kResetButton, ControlKind::kButton, {7, 196, 54, 14}, Text(Label::kReset));
    Add(kOkButton, ControlKind::kButton, {layout_.width - 119, 196, 54, 14}, Text(Label::kOk));
    Add(kCancelButton, ControlKind::kButton, {layout_.width - 61, 196, 54, 14}, Text(Label::kCancel));
  }

  void AddPreview() {
    Add(kPreviewPicture, ControlKind::kPreview, {X(278), 24, kPreviewWidth, kPreviewWidth * 9 / 16});
    Add(kFrameSlider, ControlKind::kSlider, {X(275), 142, 212, 14});
    Add(kPositionText, ControlKind::kLabel, {X(278), 160, kPreviewWidth, kTextHeight}).align = TextAlign::kCenter;
  }

  const int languageIndex_;
  const int previewColumn_;
  const TextWidth& textWidth_;
  int labelColumn_ = 0;
  SettingsLayout layout_;
};

}  // namespace

const ControlSpec* SettingsLayout::Find(int id) const {
  for (const ControlSpec& control : controls) {
    if (control.id == id) return &control;
  }
  return nullptr;
}

SettingsLayout MakeSettingsLayout(int languageIndex, bool hasPreview, const TextWidth& textWidth) {
  return LayoutBuilder(languageIndex, hasPreview, textWidth).Build();
}

DialogRect Mirrored(const DialogRect& rect, int windowWidth) {
  return {windowWidth - rect.x - rect.width, rect.y, rect.width, rect.height};
}

DialogRect FitPicture(int areaWidth, int areaHeight, int pictureWidth, int pictureHeight) {
  if (areaWidth <= 0 || areaHeight <= 0 || pictureWidth <= 0 || pictureHeight <= 0) return {};
  const bool isWider = int64_t(pictureWidth) * areaHeight > int64_t(areaWidth) * pictureHeight;
  const int width = isWider ? areaWidth : std::max(1, int(int64_t(pictureWidth) * areaHeight / pictureHeight));
  const int height = isWider ? std::max(1, int(int64_t(pictureHeight) * areaWidth / pictureWidth)) : areaHeight;
  return {(areaWidth - width) / 2, (areaHeight - height) / 2, width, height};
}

}  // namespace qx
