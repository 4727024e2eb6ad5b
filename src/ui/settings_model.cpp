#include "ui/settings_model.h"

#include <algorithm>

#include "base/utf.h"
#include "platform/file.h"
#include "platform/path.h"

namespace qx {

namespace {

constexpr const char* kWarningCaption = "qorixcam";
constexpr int64_t kFramesForPages = 40, kPagesOfSlider = 20;

// The check box that a label belongs to.
int CheckOfLabel(int controlId) {
  return controlId == kProcessorLabel ? kProcessorCheck : controlId == kNewClipsLabel ? kNewClipsCheck : kNoControl;
}

const SettingsPreview* UsablePreview(const SettingsDialogRequest& request) {
  return request.preview != nullptr && request.preview->frameCount > 0 ? request.preview : nullptr;
}

}  // namespace

SettingsModel::SettingsModel(const SettingsDialogRequest& request, const DevelopOptions& options, SettingsView* view)
    : request_(request), preview_(UsablePreview(request)), view_(view), options_(options), controls_(FillControls(options)) {
  sliderPosition_ = frameCount() / 2;
}

std::string SettingsModel::Title() const {
  const std::string path = Utf8FromPath(request_.clipPath);
  if (path.empty()) return LabelText(request_.languageIndex, Label::kTitle);
  return std::string(FileNamePart(path)) + " — " + LabelText(request_.languageIndex, Label::kTitle);
}

SettingsLayout SettingsModel::Layout(const TextWidth& textWidth) const {
  return MakeSettingsLayout(request_.languageIndex, hasPreview(), textWidth);
}

int64_t SettingsModel::sliderPage() const {
  return frameCount() >= kFramesForPages ? frameCount() / kPagesOfSlider : 1;
}

void SettingsModel::Begin() {
  RefreshAll();
  if (!hasPreview()) return;
  worker_ = std::make_unique<PreviewWorker>(*preview_, [this] { view_->PictureArrived(); });
  if (!worker_->Start()) worker_.reset();
  UpdatePreview();
}

std::string SettingsModel::Text(int controlId) const {
  if (const auto field = NumericFieldOf(controlId)) return controls_.texts[*field];
  switch (controlId) {
    case kLutName:
      return options_.hasLut() ? std::string(FileNamePart(LutPathUtf8())) : LabelText(request_.languageIndex, Label::kNoLut);
    case kLutNote:
      return options_.hasLut() ? LabelText(request_.languageIndex, Label::kLutNote) : "";
    case kPositionText:
      return hasPreview() ? PositionText(sliderPosition_, frameCount(), preview_->fpsNumerator, preview_->fpsDenominator) : "";
    default:
      return {};
  }
}

int SettingsModel::Selection(int comboId) const {
  return comboId == kCurveCombo ? controls_.curve : comboId == kWhiteBalanceCombo ? controls_.whiteBalance : controls_.debayer;
}

bool SettingsModel::Checked(int checkId) const {
  return checkId == kProcessorCheck ? controls_.processorOnly : useForNewClips_;
}

bool SettingsModel::Enabled(int controlId) const {
  switch (controlId) {
    case kCurveCombo:
      return !options_.hasLut();
    case kLutOffButton:
      return options_.hasLut();
    case kKelvinEdit:
    case kKelvinSpin:
    case kTintEdit:
    case kTintSpin:
      return controls_.whiteBalance == 1;
    default:
      return true;
  }
}

Color SettingsModel::TextColor(int controlId) const {
  const int check = CheckOfLabel(controlId);
  if (!Enabled(check != kNoControl ? check : controlId)) return kDisabledTextColor;
  return controlId == kLutName || controlId == kLutNote ? kQuietTextColor : kTextColor;
}

Color SettingsModel::BackgroundColor(int controlId) const {
  if (controlId == kFirstSeparator || controlId == kSecondSeparator) return kSeparatorColor;
  if (controlId == kPreviewPicture) return kPictureBackground;
  const bool isCombo = controlId == kCurveCombo || controlId == kWhiteBalanceCombo || controlId == kDebayerCombo;
  const bool isCheck = controlId == kProcessorCheck || controlId == kNewClipsCheck;
  return isCombo || isCheck || NumericFieldOf(controlId).has_value() ? kFieldColor : kWindowColor;
}

void SettingsModel::WithPicture(const std::function<void(const PreviewPicture&)>& use) const {
  if (worker_ != nullptr) worker_->WithPicture(use);
}

void SettingsModel::TextChanged(int editId, std::string_view text) {
  const auto field = NumericFieldOf(editId);
  if (!field.has_value() || controls_.texts[*field] == text) return;
  controls_.texts[*field] = text;
  UpdatePreview();
}

void SettingsModel::SelectionChanged(int comboId, int row) {
  if (Selection(comboId) == row) return;
  switch (comboId) {
    case kCurveCombo:
      controls_.curve = row;
      break;
    case kDebayerCombo:
      controls_.debayer = row;
      break;
    case kWhiteBalanceCombo:
      controls_.whiteBalance = row;
      RefreshWhiteBalance();
      break;
    default:
      return;
  }
  UpdatePreview();
}

void SettingsModel::CheckChanged(int checkId, bool checked) {
  if (Checked(checkId) == checked) return;
  if (checkId == kProcessorCheck) {
    controls_.processorOnly = checked;
    UpdatePreview();
  } else {
    useForNewClips_ = checked;
  }
}

void SettingsModel::SliderMoved(int64_t position) {
  position = std::clamp<int64_t>(position, 0, std::max<int64_t>(frameCount() - 1, 0));
  if (position == sliderPosition_) return;
  sliderPosition_ = position;
  view_->Refresh(kPositionText);
  UpdatePreview();
}

void SettingsModel::Clicked(int controlId) {
  switch (controlId) {
    case kChooseLutButton:
      return ChooseLut();
    case kLutOffButton:
      return TurnLutOff();
    case kResetButton:
      return Reset();
    case kOkButton:
      return Confirm();
    case kCancelButton:
      return view_->Close();
    case kProcessorLabel:
    case kNewClipsLabel: {
      const int check = CheckOfLabel(controlId);
      if (!Enabled(check)) return;
      CheckChanged(check, !Checked(check));
      return view_->Refresh(check);
    }
    default:
      return;
  }
}

void SettingsModel::Stepped(int controlId, int count, StepKeys keys) {
  const auto index = NumericFieldOf(controlId);
  if (!index.has_value() || count == 0 || !Enabled(controlId)) return;
  const NumericField& field = NumericFields()[*index];
  controls_.texts[*index] = StepText(field, controls_.texts[*index], count, keys);
  view_->Refresh(field.editId);
  UpdatePreview();
}

void SettingsModel::WheelTurned(int controlId, int delta, StepKeys keys) {
  const auto index = NumericFieldOf(controlId);
  if (!index.has_value() || !Enabled(controlId)) return;
  Stepped(controlId, wheels_[*index].Turn(delta), keys);
}

void SettingsModel::RefreshAll() {
  for (const int control : {int(kCurveCombo), int(kWhiteBalanceCombo), int(kDebayerCombo), int(kProcessorCheck), int(kNewClipsCheck)}) {
    view_->Refresh(control);
  }
  for (const NumericField& field : NumericFields()) view_->Refresh(field.editId);
  RefreshWhiteBalance();
  RefreshLutRow();
  if (!hasPreview()) return;
  view_->Refresh(kFrameSlider);
  view_->Refresh(kPositionText);
}

void SettingsModel::RefreshLutRow() {
  for (const int control : {int(kLutName), int(kLutOffButton), int(kLutNote), int(kCurveCombo)}) view_->Refresh(control);
}

void SettingsModel::RefreshWhiteBalance() {
  for (const int control : {int(kKelvinEdit), int(kKelvinSpin), int(kTintEdit), int(kTintSpin)}) view_->Refresh(control);
}

void SettingsModel::ChooseLut() {
  FileChoice choice;
  choice.title = LabelText(request_.languageIndex, Label::kLut);
  choice.start = PathFromUtf16(options_.lutPath);
  const std::optional<std::filesystem::path> path = view_->ChooseFile(choice);
  if (!path.has_value()) return;
  if (!SetLutPath(*path, &options_)) {
    view_->Warn(kWarningCaption, LutErrorText(request_.languageIndex, Utf8FromPath(*path)));
    return;
  }
  RefreshLutRow();
  UpdatePreview();
}

void SettingsModel::TurnLutOff() {
  if (!options_.hasLut()) return;
  std::fill(std::begin(options_.lutPath), std::end(options_.lutPath), u'\0');
  RefreshLutRow();
  UpdatePreview();
}

void SettingsModel::Reset() {
  SetDefaultDevelopOptions(&options_);
  controls_ = FillControls(options_);
  RefreshAll();
  UpdatePreview();
}

void SettingsModel::Confirm() {
  ReadControls(controls_, &options_);
  FileState state;
  if (options_.hasLut() && !ReadFileState(PathFromUtf16(options_.lutPath), &state)) {
    view_->Warn(kWarningCaption, LutErrorText(request_.languageIndex, LutPathUtf8()));
    return;
  }
  result_ = 1;
  view_->Close();
}

void SettingsModel::UpdatePreview() {
  if (worker_ == nullptr) return;
  ReadControls(controls_, &options_);
  worker_->Request(options_, sliderPosition_);
}

std::string SettingsModel::LutPathUtf8() const {
  return Utf8FromUtf16(options_.lutPath);
}

}  // namespace qx
