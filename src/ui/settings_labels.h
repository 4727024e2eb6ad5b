// The texts of the settings window in every language it speaks.
#pragma once

#include <iterator>
#include <string>
#include <string_view>

namespace qx {

/// The languages, in the order of their index. The host's language strings begin with these codes.
constexpr const char* kLanguageCodes[] = {"en", "ar", "de", "es", "fr", "hi", "id", "it", "ja", "ko", "lv", "pt", "ru", "uk", "zh_CN"};
constexpr int kLanguageCount = int(std::size(kLanguageCodes));

/// Columns of the label table.
enum class Label {
  kTitle,
  kPicture,
  kColorOutput,
  kLinear,
  kLut,
  kNoLut,
  kChooseLut,
  kLutOff,
  kLutNote,
  kExposure,
  kWhiteBalance,
  kAsShot,
  kTemperatureAndTint,
  kTint,
  kDebayer,
  kAhdNoiseReduction,
  kBilinear,
  kDistortion,
  kVignetting,
  kProcessorOnly,
  kNewClips,
  kReset,
  kOk,
  kCancel,
  kLutError,  // "%1" stands for the path
};
constexpr int kLabelCount = int(Label::kLutError) + 1;

/// UTF-8. An index outside the languages gives English.
const char* LabelText(int languageIndex, Label label);

/// True for languages that are written from right to left: their window is mirrored.
bool IsRightToLeft(int languageIndex);

/// The label kLutError with the path in place of "%1".
std::string LutErrorText(int languageIndex, std::string_view path);

}  // namespace qx
