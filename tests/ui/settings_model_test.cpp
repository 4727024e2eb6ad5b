#include "ui/settings_model.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <set>

#include "base/utf.h"
#include "platform/path.h"
#include "tests/support/system.h"
#include "tests/ui/fake_preview.h"

namespace qx {
namespace {

/// A view that writes down what it is asked.
class RecordingView final : public SettingsView {
 public:
  void Refresh(int controlId) override { refreshed.insert(controlId); }
  void PictureArrived() override {
    const std::lock_guard guard(lock_);
    ++pictures_;
    changed_.notify_all();
  }
  std::optional<std::filesystem::path> ChooseFile(const FileChoice& choice) override {
    asked = choice;
    return answer;
  }
  void Warn(const std::string& caption, const std::string& text) override { warnings.push_back(caption + ": " + text); }
  void Close() override { ++closed; }

  void WaitForPictures(int count) {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return pictures_ >= count; });
  }

  std::set<int> refreshed;
  FileChoice asked;
  std::optional<std::filesystem::path> answer;
  std::vector<std::string> warnings;
  int closed = 0;

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  int pictures_ = 0;
};

/// A file with a name beyond ASCII that is there as long as the object.
class TemporaryLut {
 public:
  TemporaryLut() : path(Place()) { std::ofstream(path) << "LUT_3D_SIZE 2\n"; }
  ~TemporaryLut() { Remove(); }
  void Remove() const { std::filesystem::remove(path); }
  static std::filesystem::path Place() {
    std::filesystem::path place = std::filesystem::temp_directory_path() / PathFromUtf16(u"qx_ui_\u00E9\u6620_");
    place += std::to_string(ProcessId()) + ".cube";
    return place;
  }
  const std::filesystem::path path;
};

DevelopOptions WithLut(const std::filesystem::path& path) {
  DevelopOptions options;
  EXPECT_TRUE(SetLutPath(path, &options));
  return options;
}

class SettingsModelTest : public testing::Test {
 protected:
  void UsePreview(int64_t frameCount = 100) {
    model_.reset();
    request.preview = &preview.emplace(frameCount).description;
  }
  SettingsModel& Open(const DevelopOptions& options = {}) {
    model_.emplace(request, options, &view);
    model_->Begin();
    return *model_;
  }
  DevelopOptions Confirmed() {
    model_->Clicked(kOkButton);
    EXPECT_EQ(model_->result(), 1);
    return model_->options();
  }

  SettingsDialogRequest request{nullptr, "/clips/clip.qorix", 0, nullptr};
  RecordingView view;
  std::optional<FakePreview> preview;  // outlives the model, as the door asks for
  std::optional<SettingsModel> model_;
};

TEST_F(SettingsModelTest, ShowsTheOptions) {
  DevelopOptions options;
  options.outputCurve = 3;
  options.exposureEv = 7.5f;
  options.whiteBalanceOn = 5;
  options.kelvin = 20000;
  options.tint = -2.5;
  options.demosaic = 1;
  options.warpPercent = -4;
  options.vignettePercent = 60;
  options.cpuOnly = 2;
  const SettingsModel& model = Open(options);
  EXPECT_EQ(model.Selection(kCurveCombo), 3);
  EXPECT_EQ(model.Selection(kWhiteBalanceCombo), 1);
  EXPECT_EQ(model.Selection(kDebayerCombo), 1);
  EXPECT_EQ(model.Text(kExposureEdit), "+4.00");
  EXPECT_EQ(model.Text(kKelvinEdit), "15000");
  EXPECT_EQ(model.Text(kTintEdit), "-3");
  EXPECT_EQ(model.Text(kDistortionEdit), "0");
  EXPECT_EQ(model.Text(kVignettingEdit), "60");
  EXPECT_TRUE(model.Checked(kProcessorCheck));
  EXPECT_FALSE(model.Checked(kNewClipsCheck));
  EXPECT_EQ(Open().Text(kKelvinEdit), "5600") << "a temperature that was never set";
}

TEST_F(SettingsModelTest, ReadsWhatWasTyped) {
  struct Row {
    int field;
    const char* text;
    double value;
  };
  for (const Row& row :
       {Row{kExposureEdit, "1,5", 1.5}, Row{kExposureEdit, "9", 4}, Row{kExposureEdit, "-9", -4}, Row{kExposureEdit, "", 0.25},
        Row{kKelvinEdit, "", 5600}, Row{kKelvinEdit, "4999.9", 4999}, Row{kKelvinEdit, "10", 2000}, Row{kTintEdit, "", 0},
        Row{kTintEdit, "-3,9", -3}, Row{kTintEdit, "500", 150}, Row{kDistortionEdit, "", 100}, Row{kDistortionEdit, "-5", 0},
        Row{kVignettingEdit, "x", 100}, Row{kVignettingEdit, "33.7", 33}}) {
    DevelopOptions options;
    options.exposureEv = 0.25f;
    Open(options).TextChanged(row.field, row.text);
    const DevelopOptions read = Confirmed();
    const double value = row.field == kExposureEdit     ? double(read.exposureEv)
                         : row.field == kKelvinEdit     ? read.kelvin
                         : row.field == kTintEdit       ? read.tint
                         : row.field == kDistortionEdit ? read.warpPercent
                                                        : read.vignettePercent;
    EXPECT_EQ(value, row.value) << row.field << " '" << row.text << "'";
  }
}

TEST_F(SettingsModelTest, HandsBackEveryChoice) {
  DevelopOptions options;
  options.slog3Narrow = 1;
  SettingsModel& model = Open(options);
  model.SelectionChanged(kCurveCombo, 2);
  model.SelectionChanged(kWhiteBalanceCombo, 1);
  model.SelectionChanged(kDebayerCombo, 3);
  model.CheckChanged(kProcessorCheck, true);
  model.Clicked(kNewClipsLabel);
  const DevelopOptions read = Confirmed();
  EXPECT_EQ(read.outputCurve, 2);
  EXPECT_EQ(read.whiteBalanceOn, 1);
  EXPECT_EQ(read.demosaic, 3);
  EXPECT_EQ(read.cpuOnly, 1);
  EXPECT_EQ(read.slog3Narrow, 1) << "has no control";
  EXPECT_TRUE(model.useForNewClips());
  EXPECT_EQ(view.closed, 1);

  Open(options).SelectionChanged(kCurveCombo, 1);
  model_->Clicked(kCancelButton);
  EXPECT_EQ(model_->result(), 0);
  EXPECT_EQ(view.closed, 2);
}

TEST_F(SettingsModelTest, SelectionsThatNoRowHasReadAsTheFirst) {
  DevelopOptions options;
  options.outputCurve = 9;
  options.demosaic = -1;
  const SettingsModel& model = Open(options);
  EXPECT_EQ(model.Selection(kCurveCombo), -1);
  EXPECT_EQ(model.Selection(kDebayerCombo), -1);
  EXPECT_EQ(Confirmed().outputCurve, 0);
  EXPECT_EQ(model.options().demosaic, 0);
}

TEST_F(SettingsModelTest, TemperatureAndTintNeedTheirWhiteBalance) {
  SettingsModel& model = Open();
  for (const int id : {kKelvinEdit, kKelvinSpin, kTintEdit, kTintSpin}) {
    EXPECT_FALSE(model.Enabled(id));
    EXPECT_EQ(model.TextColor(id), (Color{105, 105, 105}));
    EXPECT_EQ(model.BackgroundColor(id), (Color{27, 27, 27}));
  }
  model.Stepped(kKelvinSpin, 1, {});
  model.WheelTurned(kKelvinEdit, 240, {});
  EXPECT_EQ(model.Text(kKelvinEdit), "5600");
  view.refreshed.clear();
  model.SelectionChanged(kWhiteBalanceCombo, 1);
  EXPECT_EQ(view.refreshed, (std::set<int>{kKelvinEdit, kKelvinSpin, kTintEdit, kTintSpin}));
  EXPECT_TRUE(model.Enabled(kTintSpin));
  model.WheelTurned(kKelvinEdit, 119, {});
  EXPECT_EQ(model.Text(kKelvinEdit), "5600");
  model.WheelTurned(kKelvinSpin, 1, {});
  EXPECT_EQ(model.Text(kKelvinEdit), "5650") << "edit and arrows share one wheel";
}

TEST_F(SettingsModelTest, LutRulesTheColorOutput) {
  const TemporaryLut lut;
  SettingsModel& model = Open();
  EXPECT_EQ(model.Text(kLutName), "No LUT");
  EXPECT_EQ(model.Text(kLutNote), "");
  EXPECT_FALSE(model.Enabled(kLutOffButton));
  EXPECT_TRUE(model.Enabled(kCurveCombo));

  model.Clicked(kChooseLutButton);
  EXPECT_EQ(model.Text(kLutName), "No LUT") << "the chooser was cancelled";
  EXPECT_EQ(view.asked.title, "LUT");
  EXPECT_EQ(view.asked.filterName, "LUT (*.cube)");
  EXPECT_TRUE(view.asked.start.empty());

  view.answer = lut.path;
  model.Clicked(kChooseLutButton);
  EXPECT_EQ(model.Text(kLutName), Utf8FromPath(lut.path.filename()));
  EXPECT_EQ(model.Text(kLutNote), "With a LUT, the output is Rec.709.");
  EXPECT_TRUE(model.Enabled(kLutOffButton));
  EXPECT_FALSE(model.Enabled(kCurveCombo));
  EXPECT_EQ(model.TextColor(kLutName), (Color{150, 150, 150}));
  EXPECT_EQ(PathFromUtf16(Confirmed().lutPath), lut.path);
  model.Clicked(kChooseLutButton);
  EXPECT_EQ(view.asked.start, lut.path);

  model.Clicked(kLutOffButton);
  EXPECT_FALSE(model.options().hasLut());
  EXPECT_TRUE(model.Enabled(kCurveCombo));
}

TEST_F(SettingsModelTest, RefusesALutPathThatTheOptionsCannotHold) {
  SettingsModel& model = Open();
  view.answer = "/" + std::string(259, 'x');
  model.Clicked(kChooseLutButton);
  EXPECT_FALSE(model.options().hasLut());
  EXPECT_EQ(view.warnings, std::vector<std::string>{"qorixcam: Cannot read the LUT: /" + std::string(259, 'x')});
  view.answer = "/" + std::string(258, 'x');
  model.Clicked(kChooseLutButton);
  EXPECT_TRUE(model.options().hasLut());
}

TEST_F(SettingsModelTest, StaysOpenWhenTheLutIsGone) {
  const TemporaryLut lut;
  request.languageIndex = 2;
  SettingsModel& model = Open(WithLut(lut.path));
  lut.Remove();
  model.Clicked(kOkButton);
  EXPECT_EQ(view.closed, 0);
  EXPECT_EQ(model.result(), 0);
  EXPECT_EQ(view.warnings, std::vector<std::string>{"qorixcam: Die LUT kann nicht gelesen werden: " + Utf8FromPath(lut.path)});
  model.Clicked(kLutOffButton);
  model.Clicked(kOkButton);
  EXPECT_EQ(view.closed, 1);
}

TEST_F(SettingsModelTest, ResetGivesTheDefaults) {
  DevelopOptions options = WithLut("/looks/look.cube");
  options.slog3Narrow = 1;
  options.exposureEv = 2;
  options.whiteBalanceOn = 1;
  options.warpPercent = 3;
  SettingsModel& model = Open(options);
  model.CheckChanged(kNewClipsCheck, true);
  model.Clicked(kResetButton);
  EXPECT_EQ(model.Text(kExposureEdit), "+0.00");
  EXPECT_EQ(model.Text(kDistortionEdit), "100");
  EXPECT_FALSE(model.Enabled(kKelvinEdit));
  const DevelopOptions read = Confirmed();
  EXPECT_FALSE(read.hasLut());
  EXPECT_EQ(read.slog3Narrow, 0);
  EXPECT_TRUE(model.useForNewClips());
}

TEST_F(SettingsModelTest, TitleNamesTheFile) {
  struct Row {
    const char* path;
    const char* title;
  };
  for (const Row& row : {Row{"/clips/a b.qorix", "a b.qorix — Source settings"}, Row{"D:\\clips\\c.zip", "c.zip — Source settings"},
                         Row{"d.zip", "d.zip — Source settings"}, Row{"", "Source settings"}}) {
    request.clipPath = row.path;
    EXPECT_EQ(Open().Title(), row.title);
  }
}

TEST(PositionText, CountsInTheRoundedRate) {
  struct Row {
    int64_t frame, count;
    int32_t numerator, denominator;
    const char* text;
  };
  for (const Row& row :
       {Row{11, 240, 25, 1, "12 / 240    00:00:00:11"}, Row{3600 * 30 + 61, 200000, 30000, 1001, "108062 / 200000    01:00:02:01"},
        Row{50, 51, 0, 0, "51 / 51    00:00:01:20"},       // no rate: 30
        Row{2, 3, 1, 3, "3 / 3    00:00:02:00"},           // below one frame a second: 1
        Row{47, 99, 24000, -7, "48 / 99    00:00:00:47"},  // a denominator below 2 counts as 1
        Row{int64_t(1) << 40, int64_t(1) << 41, 1, 1, "1099511627777 / 2199023255552    305419896:36:16:00"}}) {
    EXPECT_EQ(PositionText(row.frame, row.count, row.numerator, row.denominator), row.text);
  }
}

TEST_F(SettingsModelTest, SliderCoversTheClip) {
  struct Row {
    int64_t frames, page, start;
  };
  for (const Row& row : {Row{1, 1, 0}, Row{39, 1, 19}, Row{40, 2, 20}, Row{1000, 50, 500}}) {
    UsePreview(row.frames);
    const SettingsModel& model = Open();
    EXPECT_EQ(model.sliderPage(), row.page);
    EXPECT_EQ(model.sliderPosition(), row.start);
  }
  UsePreview(0);
  EXPECT_FALSE(Open().hasPreview());
}

TEST_F(SettingsModelTest, EveryChangeAsksForAPicture) {
  const TemporaryLut lut;
  UsePreview();
  SettingsModel& model = Open();
  int pictures = 1;
  view.WaitForPictures(pictures);
  EXPECT_EQ(model.Text(kPositionText), "51 / 100    00:00:02:00");
  view.answer = lut.path;
  const std::vector<std::function<void()>> changes = {
      [&] { model.SelectionChanged(kCurveCombo, 1); },
      [&] { model.SelectionChanged(kDebayerCombo, 1); },
      [&] { model.SelectionChanged(kWhiteBalanceCombo, 1); },
      [&] { model.TextChanged(kExposureEdit, "2"); },
      [&] { model.Stepped(kTintSpin, -1, {}); },
      [&] { model.WheelTurned(kVignettingEdit, -120, {}); },
      [&] { model.Clicked(kProcessorLabel); },
      [&] { model.Clicked(kChooseLutButton); },
      [&] { model.Clicked(kLutOffButton); },
      [&] { model.SliderMoved(7); },
      [&] { model.Clicked(kResetButton); },
  };
  for (const auto& change : changes) {
    change();
    view.WaitForPictures(++pictures);
  }
  EXPECT_EQ(preview->seen().back(), (std::pair<float, int64_t>{0, 7}));
  EXPECT_EQ(preview->seen()[4].first, 2);

  // Echoes of what is shown already, and what no picture depends on.
  model.TextChanged(kExposureEdit, "+0.00");
  model.SelectionChanged(kCurveCombo, 0);
  model.SliderMoved(7);
  model.Clicked(kNewClipsLabel);
  EXPECT_EQ(preview->seen().size(), changes.size() + 1);
  model_.reset();
  EXPECT_EQ(FakePreview::livePictures, 0);
}

TEST_F(SettingsModelTest, UnreadableExposureKeepsWhatThePreviewSawLast) {
  UsePreview();
  SettingsModel& model = Open();
  model.TextChanged(kExposureEdit, "1,25");
  model.TextChanged(kExposureEdit, "bright");
  EXPECT_EQ(Confirmed().exposureEv, 1.25f);
}

// One random edit. Clicks that end the window are left out.
void EditAtRandom(SettingsModel& model, std::mt19937& random) {
  constexpr const char* kTexts[] = {"1,5", "", "-2", "4000", "abc", "99"};
  const NumericField& field = NumericFields()[random() % kNumericFieldCount];
  const StepKeys keys{random() % 3 == 0, random() % 3 == 0};
  switch (random() % 8) {
    case 0:
      return model.TextChanged(field.editId, kTexts[random() % std::size(kTexts)]);
    case 1:
      return model.Stepped(field.spinId, random() % 2 == 0 ? 1 : -1, keys);
    case 2:
      return model.WheelTurned(field.editId, int(random() % 300) - 150, keys);
    case 3:
      return model.SelectionChanged(random() % 2 == 0 ? kDebayerCombo : kCurveCombo, int(random() % 4));
    case 4:
      return model.SelectionChanged(kWhiteBalanceCombo, int(random() % 2));
    case 5:
      return model.SliderMoved(int64_t(random() % 120) - 10);
    case 6:
      return model.Clicked(random() % 2 == 0 ? kProcessorLabel : kNewClipsLabel);
    default:
      return model.Clicked(random() % 2 == 0 ? kResetButton : kChooseLutButton);
  }
}

TEST_F(SettingsModelTest, OpensAndClosesAThousandTimes) {
  std::mt19937 random(7);
  view.answer = "/looks/none.cube";
  for (int cycle = 0; cycle < 1000; ++cycle) {
    UsePreview();
    request.languageIndex = cycle % kLanguageCount;
    SettingsModel& model = Open();
    for (unsigned edits = random() % 12; edits > 0; --edits) EditAtRandom(model, random);
    if (cycle % 3 == 0) view.WaitForPictures(1);
    model.Clicked(cycle % 2 == 0 ? kOkButton : kCancelButton);
    const DevelopOptions& options = model.options();
    DerivedOptions derived;
    EXPECT_TRUE(options.hasLut() || DeriveDevelopParams(options, nullptr, &derived, {}) == 0);
    model_.reset();
    ASSERT_EQ(FakePreview::livePictures, 0) << "cycle " << cycle;
  }
}

}  // namespace
}  // namespace qx
