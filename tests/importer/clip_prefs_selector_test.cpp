#include "importer/clip_prefs_selector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>

#include "host/selectors.h"
#include "importer/clip_prefs.h"
#include "importer/clip_preview.h"
#include "importer/default_options.h"
#include "importer/diagnostic_log.h"
#include "standin/host_suites.h"
#include "tests/importer/prefs_block.h"
#include "tests/standin/story_support.h"

namespace qx {
namespace {

using Window = std::function<int(const SettingsDialogRequest&, DevelopOptions*, bool*, Message)>;
Window* shownWindow = nullptr;

int ShowFakeWindow(const SettingsDialogRequest& request, DevelopOptions* options, bool* useForNewClips, Message message) {
  return (*shownWindow)(request, options, useForNewClips, message);
}

/// Calls with a user's folder and a log of its own.
class PrefsSelectorTest : public testing::Test {
 protected:
  PrefsSelectorTest()
      : clip_(standin::TestClip{}), place_("qx_prefs_" + std::to_string(ProcessId())), folder_(testing::TempDir() + place_ + "_files") {
    std::filesystem::create_directories(folder_);
    UseSettingsPlace(place_);
    SetLogPath(log());
    path_ = std::u16string(clip_.path().begin(), clip_.path().end());
    access_.filepath = path_.c_str();
  }
  ~PrefsSelectorTest() override {
    SetLogPath("");
    RemoveSettingsPlace(place_);
    std::filesystem::remove_all(folder_);
  }
  std::string log() const { return folder_ + "/log"; }

  int32_t Answer(PrefsOperation operation, std::vector<uint8_t>* block, bool firstTime, Window window) {
    host::GetPrefsRec record = {};
    std::memset(&record.timelineData, 0xFF, sizeof(record.timelineData));
    record.prefs = block != nullptr ? block->data() : nullptr;
    record.prefsLength = block != nullptr ? int32_t(block->size()) : 0;
    record.firstTime = firstTime ? 1 : 0;
    shownWindow = &window;
    const int32_t result = AnswerPrefsSelector(operation, standin::StandardParameters(), &access_, &record, ShowFakeWindow);
    length_ = record.prefsLength;
    return result;
  }

  /// The log's lines without the pipeline's and with P for the clip's path and for every address.
  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    for (std::string line : standin::TakeLog(log())) {
      if (!line.starts_with("imGet") && !line.starts_with("preview") && !line.starts_with("refresh")) continue;
      if (const size_t at = line.find(clip_.path()); at != std::string::npos) line.replace(at, clip_.path().size(), "P");
      for (const char* const before : {"prefs ", "owner "}) ShortenAddress(before, &line);
      lines.push_back(line);
    }
    return lines;
  }

  /// C libraries write addresses differently: null becomes (nil), another one P.
  static void ShortenAddress(const std::string& before, std::string* line) {
    const size_t found = line->find(before);
    if (found == std::string::npos) return;
    const size_t at = found + before.size(), end = std::min(line->find(',', at), line->size());
    const std::string address = line->substr(at, end - at);
    const bool isNull = address == "(nil)" || address.find_first_not_of("0") == std::string::npos;
    const bool isAddress = isNull || address.starts_with("0x") ||
                           (address.size() == 16 && address.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos);
    if (isAddress) line->replace(at, end - at, isNull ? "(nil)" : "P");
  }

  standin::TemporaryClip clip_;
  std::string place_, folder_;
  std::u16string path_;
  host::FileAccessRec8 access_ = {};
  int32_t length_ = 0;
};

int NoWindowExpected(const SettingsDialogRequest&, DevelopOptions*, bool*, Message) {
  ADD_FAILURE() << "no window expected";
  return 0;
}

int Confirm(const SettingsDialogRequest&, DevelopOptions*, bool*, Message) {
  return 1;
}

DevelopOptions OptionsOf(const std::vector<uint8_t>& block) {
  DevelopOptions options;
  EXPECT_EQ(ReadClipPrefs(block, &options), 1);
  return options;
}

TEST_F(PrefsSelectorTest, FirstAsksForABlockThenFillsItWithTheUsersDefaults) {
  DevelopOptions defaults;
  defaults.exposureEv = 0.5f;
  SaveDefaultOptions(defaults);
  EXPECT_EQ(Answer(PrefsOperation::kClip, nullptr, true, NoWindowExpected), host::imNoErr);
  EXPECT_EQ(length_, 1024);
  std::vector<uint8_t> block(1024);
  EXPECT_EQ(Answer(PrefsOperation::kClip, &block, true, NoWindowExpected), host::imNoErr);
  EXPECT_EQ(ClipPrefsGeneration(block), 1u);
  EXPECT_EQ(OptionsOf(block).exposureEv, 0.5f);
  EXPECT_EQ(Lines(), (std::vector<std::string>{"imGetPrefs8 P: prefs (nil), length 0, firstTime 1",
                                               "imGetPrefs8 P: prefs P, length 1024, firstTime 1", "imGetPrefs8: defaults, no window"}));
}

TEST_F(PrefsSelectorTest, LeavesASmallBlockAlone) {
  std::vector<uint8_t> block(75, 9);
  EXPECT_EQ(Answer(PrefsOperation::kInstance, &block, false, NoWindowExpected), host::imOtherErr);
  EXPECT_EQ(block, std::vector<uint8_t>(75, 9));
  EXPECT_EQ(Lines().back(), "imGetInstancePrefs: prefs block 75 bytes is too small");
}

TEST_F(PrefsSelectorTest, DefaultsWhoseLutDoesNotFitComeWithoutIt) {
  DevelopOptions defaults;
  std::u16string(150, u'x').copy(defaults.lutPath, 150);
  defaults.warpPercent = 30;
  SaveDefaultOptions(defaults);
  std::vector<uint8_t> block(200);
  EXPECT_EQ(Answer(PrefsOperation::kClip, &block, true, NoWindowExpected), host::imNoErr);
  EXPECT_FALSE(OptionsOf(block).hasLut());
  EXPECT_EQ(OptionsOf(block).warpPercent, 30);
}

TEST_F(PrefsSelectorTest, ConfirmedSettingsGoIntoTheBlockEachTimeWithTheNextGeneration) {
  std::vector<uint8_t> block(1024);
  ASSERT_EQ(Answer(PrefsOperation::kClip, &block, true, NoWindowExpected), host::imNoErr);
  Lines();
  const size_t refreshed = standin::RefreshedFiles().size();
  const Window brighter = [](const SettingsDialogRequest& request, DevelopOptions* options, bool*, Message) {
    EXPECT_NE(request.preview, nullptr);
    options->exposureEv += 1;
    options->whiteBalanceOn = 1;
    options->kelvin = 5600;
    options->tint = 10;
    return 1;
  };
  EXPECT_EQ(Answer(PrefsOperation::kClip, &block, false, brighter), host::imNoErr);
  EXPECT_EQ(ClipPrefsGeneration(block), 2u);
  EXPECT_EQ(Answer(PrefsOperation::kInstance, &block, true, brighter), host::imNoErr) << "an instance has no first time";
  EXPECT_EQ(ClipPrefsGeneration(block), 3u);
  EXPECT_EQ(OptionsOf(block).exposureEv, 2);
  EXPECT_EQ(Lines(),
            (std::vector<std::string>{
                "imGetPrefs8 P: prefs P, length 1024, firstTime 0", "imGetPrefs8: window, owner (nil)",
                "imGetPrefs8: window OK, gen 2, curve 0, lut off, ev 1.00, wb 1 (5600 K, 10), algo 0, warp 100, vignette 100, cpu 0",
                "refresh P -> 0", "imGetInstancePrefs P: prefs P, length 1024, firstTime 1", "imGetInstancePrefs: window, owner (nil)",
                "imGetInstancePrefs: window OK, gen 3, curve 0, lut off, ev 2.00, wb 1 (5600 K, 10), algo 0, warp 100, vignette 100, "
                "cpu 0",
                "refresh P -> 0"}));
  ASSERT_EQ(standin::RefreshedFiles().size(), refreshed + 2);
  EXPECT_EQ(standin::RefreshedFiles().back(), path_);
  EXPECT_TRUE(standin::AcquiredSuites().empty());
}

TEST_F(PrefsSelectorTest, TellsWhenTheHostCannotRefresh) {
  std::vector<uint8_t> block(1024);
  standin::RefuseSuite("Importer File Manager Suite");
  EXPECT_EQ(Answer(PrefsOperation::kClip, &block, false, Confirm), host::imNoErr);
  standin::RefuseSuite("");
  EXPECT_EQ(Lines().back(), "refresh P: no Importer File Manager Suite");
}

TEST_F(PrefsSelectorTest, NothingChangesWithoutConfirmation) {
  struct Row {
    int answer, result;
    const char* line;
  };
  for (const Row& row :
       {Row{0, host::imCancel, "imGetPrefs8: window cancelled"}, Row{-1, host::imCancel, "imGetPrefs8: no settings window: no display"},
        Row{kSettingsWindowFaulted, host::imOtherErr, "imGetPrefs8: no settings window: no display"}}) {
    std::vector<uint8_t> block(1024);
    ASSERT_EQ(Answer(PrefsOperation::kClip, &block, true, NoWindowExpected), host::imNoErr);
    const std::vector<uint8_t> before = block;
    const Window window = [&](const SettingsDialogRequest&, DevelopOptions* options, bool* useForNewClips, Message message) {
      options->exposureEv = 3;  // even a window that breaks its promise
      *useForNewClips = true;
      message.Set("no settings window: no display");
      return row.answer;
    };
    EXPECT_EQ(Answer(PrefsOperation::kClip, &block, false, window), row.result);
    EXPECT_EQ(block, before);
    EXPECT_EQ(Lines().back(), row.line);
    DevelopOptions defaults;
    LoadDefaultOptions(&defaults);
    EXPECT_EQ(defaults.exposureEv, 0);
  }
}

TEST_F(PrefsSelectorTest, BlocksThatAreNotOursShowTheDefaults) {
  DevelopOptions defaults;
  defaults.exposureEv = -2;
  SaveDefaultOptions(defaults);
  std::vector<uint8_t> block = BlockMaker(200).Header(3, 201, 8).bytes();  // longer than itself
  const Window window = [](const SettingsDialogRequest&, DevelopOptions* options, bool*, Message) {
    EXPECT_EQ(options->exposureEv, -2);
    return 1;
  };
  EXPECT_EQ(Answer(PrefsOperation::kClip, &block, false, window), host::imNoErr);
  EXPECT_EQ(ClipPrefsGeneration(block), 1u);
  block = BlockMaker(200).Header(3, 200, 0xFFFFFFFF).bytes();
  EXPECT_EQ(Answer(PrefsOperation::kClip, &block, false, Confirm), host::imNoErr);
  EXPECT_EQ(ClipPrefsGeneration(block), 1u) << "0 would never be applied";
}

TEST_F(PrefsSelectorTest, LutPathThatDoesNotFitIsLeftOut) {
  std::vector<uint8_t> block(200);
  ASSERT_EQ(Answer(PrefsOperation::kClip, &block, true, NoWindowExpected), host::imNoErr);
  const Window window = [](const SettingsDialogRequest&, DevelopOptions* options, bool* useForNewClips, Message) {
    std::u16string(150, u'x').copy(options->lutPath, 150);
    options->vignettePercent = 12;
    *useForNewClips = true;
    return 1;
  };
  EXPECT_EQ(Answer(PrefsOperation::kClip, &block, false, window), host::imNoErr);
  EXPECT_FALSE(OptionsOf(block).hasLut());
  EXPECT_EQ(OptionsOf(block).vignettePercent, 12);
  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_EQ(lines[4], "imGetPrefs8: LUT path does not fit the 200-byte prefs block of this clip — saved without LUT");
  EXPECT_EQ(
      lines[5],
      "imGetPrefs8: window OK, gen 2, curve 0, lut off, ev 0.00, wb 0 (0 K, 0), algo 0, warp 100, vignette 12, cpu 0, saved as default");
  DevelopOptions defaults;
  LoadDefaultOptions(&defaults);
  EXPECT_EQ(defaults.vignettePercent, 12);
}

TEST_F(PrefsSelectorTest, WindowComesWithoutAPictureWhenTheClipCannotBeOpened) {
  const std::u16string missing = u"/nowhere/clip.zip";
  access_.filepath = missing.c_str();
  std::vector<uint8_t> block(1024);
  const Window window = [](const SettingsDialogRequest& request, DevelopOptions*, bool*, Message) {
    EXPECT_EQ(request.preview, nullptr);
    EXPECT_EQ(request.clipPath, "/nowhere/clip.zip");
    return 0;
  };
  EXPECT_EQ(Answer(PrefsOperation::kClip, &block, false, window), host::imCancel);
  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_TRUE(lines[2].starts_with("imGetPrefs8: no preview: ")) << lines[2];
}

TEST_F(PrefsSelectorTest, WorksWithoutPathAndParameters) {
  host::GetPrefsRec record = {};
  EXPECT_EQ(AnswerPrefsSelector(PrefsOperation::kClip, nullptr, nullptr, &record, ShowFakeWindow), host::imNoErr);
  EXPECT_EQ(int32_t(record.prefsLength), 1024);
  EXPECT_EQ(Lines(), std::vector<std::string>{"imGetPrefs8 : prefs (nil), length 0, firstTime 0"});
  EXPECT_EQ(AnswerPrefsSelector(PrefsOperation::kInstance, nullptr, nullptr, nullptr, ShowFakeWindow), host::imOtherErr);
}

/// A picture of the preview, or an empty one.
struct Picture {
  int32_t width = 0, height = 0;
  std::vector<uint8_t> pixels;
};

Picture Render(ClipPreview* preview, const DevelopOptions& options, int64_t frame) {
  const SettingsPreview window = preview->ForWindow();
  Picture picture;
  uint8_t* pixels = nullptr;
  if (window.render(window.context, options, frame, &pixels, &picture.width, &picture.height) != 0) return {};
  picture.pixels.assign(pixels, pixels + size_t(picture.width) * size_t(picture.height) * 4);
  window.freePixels(pixels);
  return picture;
}

TEST_F(PrefsSelectorTest, PreviewFollowsTheSettings) {
  DevelopOptions options;
  MessageBuffer<256> message;
  const std::unique_ptr<ClipPreview> preview = ClipPreview::Open(clip_.path(), options, message);
  ASSERT_NE(preview, nullptr) << message.text();
  EXPECT_EQ(preview->ForWindow().frameCount, 5);
  EXPECT_EQ(preview->ForWindow().fpsNumerator, 25);
  const Picture first = Render(preview.get(), options, 0);
  ASSERT_EQ(first.pixels.size(), size_t(64 * 48 * 4));
  EXPECT_EQ(first.width, 64);
  EXPECT_EQ(Render(preview.get(), options, -7).pixels, first.pixels);
  const Picture last = Render(preview.get(), options, 4);
  EXPECT_NE(last.pixels, first.pixels);
  EXPECT_EQ(Render(preview.get(), options, 5).pixels, last.pixels);

  DevelopOptions changed = options;
  changed.exposureEv = 1;
  const Picture brighter = Render(preview.get(), changed, 0);
  ASSERT_EQ(brighter.pixels.size(), first.pixels.size());
  EXPECT_GT(brighter.pixels[1], first.pixels[1]);
  changed.outputCurve = 2;  // opens the clip again
  EXPECT_NE(Render(preview.get(), changed, 0).pixels, brighter.pixels);

  DevelopOptions refused = options;
  std::u16string(u"/no.cube").copy(refused.lutPath, 8);
  Lines();
  EXPECT_TRUE(Render(preview.get(), refused, 0).pixels.empty());
  EXPECT_EQ(Lines(), std::vector<std::string>{"preview: settings not applied: cannot open the LUT"});
  EXPECT_EQ(Render(preview.get(), options, 0).pixels, first.pixels) << "the preview goes on with what it can take";
  EXPECT_TRUE(Lines().back().starts_with("preview: frame 0, ev 0.00, curve 0 -> 0 (")) << "and says so";
}

TEST_F(PrefsSelectorTest, PreviewIsSmall) {
  const standin::TemporaryClip large(standin::TestClip{.width = 64, .height = 2160, .frames = 1});
  MessageBuffer<256> message;
  const std::unique_ptr<ClipPreview> preview = ClipPreview::Open(large.path(), {}, message);
  ASSERT_NE(preview, nullptr) << message.text();
  const Picture picture = Render(preview.get(), {}, 0);
  EXPECT_EQ(picture.width, 16);
  EXPECT_EQ(picture.height, 540);
}

}  // namespace
}  // namespace qx
