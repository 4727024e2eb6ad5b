#include "importer/frame_delivery.h"

#include <gtest/gtest.h>

#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "importer/async_importer.h"

namespace qx {
namespace {

std::string Text(uint32_t format) {
  return std::string(reinterpret_cast<const char*>(&format), 4);
}

ClipInfo InfoOf4K() {
  ClipInfo info;
  info.fullWidth = 3840, info.fullHeight = 2160;
  info.halfWidth = 1920, info.halfHeight = 1080;
  info.quarterWidth = 960, info.quarterHeight = 540;
  return info;
}

TEST(ChooseSizeLevel, OffersSmallerSizesOnlyToIntentsThatShow) {
  ClipInfo noQuarter = InfoOf4K();
  noQuarter.quarterWidth = noQuarter.quarterHeight = 0;
  ClipInfo onlyFull = noQuarter;
  onlyFull.halfWidth = onlyFull.halfHeight = 0;
  struct Row {
    ClipInfo info;
    int32_t intent, width, height, expected;
    const char* why;
  };
  for (const Row& row :
       {Row{InfoOf4K(), host::kIntentPlaying, 960, 540, 2, "fits the quarter size exactly"},
        Row{InfoOf4K(), host::kIntentPlaying, 960, 541, 1, "one row too high for a quarter"},
        Row{InfoOf4K(), host::kIntentScrubbing, 1920, 1080, 1, "fits the half size exactly"},
        Row{InfoOf4K(), host::kIntentScrubbing, 1921, 1080, 0, "one column too wide for a half"},
        Row{InfoOf4K(), host::kIntentDistantPrefetch, 100, 100, 2, "distant prefetch shows"},
        Row{InfoOf4K(), host::kIntentExport, 960, 540, 0, "export is always full"},
        Row{InfoOf4K(), host::kIntentAnalysis, 960, 540, 0, "analysis is always full"},
        Row{InfoOf4K(), host::kIntentExportProxies, 960, 540, 0, "proxies are always full"},
        Row{InfoOf4K(), host::kIntentUnknown, 960, 540, 0, "unknown intent"}, Row{InfoOf4K(), host::kIntentPlaying, 0, 540, 0, "any width"},
        Row{noQuarter, host::kIntentPlaying, 960, 540, 1, "no quarter size"},
        Row{onlyFull, host::kIntentPlaying, 960, 540, 0, "no half size"}}) {
    EXPECT_EQ(ChooseSizeLevel(row.info, row.intent, row.width, row.height), row.expected) << row.why;
  }
}

TEST(ChooseFormat, FollowsTheHostsOrder) {
  using host::FrameFormat;
  const uint32_t unknown = host::PixelFourCC("abcd");
  struct Row {
    std::vector<FrameFormat> accepted;
    const char* format;
    uint32_t fallback;
    int32_t width;
    const char* text;
  };
  for (const Row& row : {Row{{{960, 540, host::kUyvy709}}, "uyv7", 0, 960, "uyv7"},
                         Row{{{1, 1, unknown}, {2, 2, host::kV210_709}, {3, 3, host::kBgra16}}, "v211", host::kBgra16, 2, "abcd v211 Bgra"},
                         Row{{{7, 7, host::kAnyPixelFormat}, {8, 8, host::kBgra8}}, "bgra", host::kBgra8, 7, "???? bgra"},
                         Row{{{7, 7, host::kAnyPixelFormat}}, "Bgra", 0, 7, "????"}, Row{{{1, 1, unknown}}, "Bgra", 0, 0, "abcd"},
                         Row{{}, "Bgra", 0, 0, ""}}) {
    SCOPED_TRACE(row.text);
    const FormatChoice choice = ChooseFormat(row.accepted, host::kBgra16);
    EXPECT_EQ(Text(choice.format), row.format);
    EXPECT_EQ(choice.bgraFallback, row.fallback);
    EXPECT_EQ(choice.askedWidth, row.width);
    EXPECT_EQ(FormatListText(row.accepted), row.text);
  }
}

TEST(OfferedFormat, ListsByOutputKindAndSettings) {
  ImporterSettings settings;
  settings.defaultFormats = {host::kBgra16, host::kBgraFloat};
  const auto list = [&](OutputKind kind) {
    std::string text;
    for (size_t i = 0; OfferedFormat(settings, kind, i); ++i) text += Text(*OfferedFormat(settings, kind, i)) + " ";
    return text;
  };
  EXPECT_EQ(list(OutputKind::kSLog3), "Bgra BGra vUYa v211 uyv7 ");
  EXPECT_EQ(list(OutputKind::kLinear), "BGaL BGra ");
  settings.explicitFormats = {host::kUyvy709};
  EXPECT_EQ(list(OutputKind::kRec709), "uyv7 ");
  EXPECT_EQ(list(OutputKind::kLinear), "BGaL BGra ");
}

TEST(AsyncImporter, OutlivesAMachineFault) {
  host::SourceVideoRec request = {};
  host::PPix place = nullptr;
  request.outFrame = &place;
  request.inPrivateData = reinterpret_cast<decltype(request.inPrivateData)>(uintptr_t(8));  // no such address
  EXPECT_EQ(AsyncImporterEntry(host::aiGetFrame, &request), host::aiUnknownError);
}

}  // namespace
}  // namespace qx
