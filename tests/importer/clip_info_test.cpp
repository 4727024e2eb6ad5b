#include "importer/clip_info.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/selectors.h"
#include "importer/host_language.h"
#include "platform/path.h"
#include "ui/settings_labels.h"

namespace qx {
namespace {

TEST(PreferredFrameSize, EnumeratesOfferedSizes) {
  struct Row {
    int32_t half, quarter, index, result, width;
  };
  for (const Row& row : {Row{1920, 960, 0, host::imIterateFrameSizes, 3840}, Row{1920, 960, 1, host::imIterateFrameSizes, 1920},
                         Row{1920, 960, 2, host::imNoErr, 960}, Row{1920, 960, 3, host::imOtherErr, 0},
                         Row{1920, 0, 1, host::imNoErr, 1920}, Row{1920, 0, 2, host::imOtherErr, 0}, Row{0, 0, 0, host::imNoErr, 3840},
                         Row{0, 0, 1, host::imOtherErr, 0}, Row{1920, 960, -1, host::imOtherErr, 0}}) {
    ClipInfo info;
    info.fullWidth = 3840, info.fullHeight = 2160;
    info.halfWidth = row.half, info.halfHeight = row.half * 9 / 16;
    info.quarterWidth = row.quarter, info.quarterHeight = row.quarter * 9 / 16;
    host::PreferredFrameSizeRec record = {};
    record.inIndex = row.index;
    EXPECT_EQ(PreferredFrameSize(info, &record), row.result) << row.half << " " << row.quarter << " index " << row.index;
    EXPECT_EQ(int32_t(record.outWidth), row.width);
  }
}

TEST(FileInfo, DeclaresColorSpaceOnlyForSLog3AndLinear) {
  for (const OutputKind kind :
       {OutputKind::kLut, OutputKind::kDaVinciIntermediate, OutputKind::kSLog3, OutputKind::kRec709, OutputKind::kLinear}) {
    ClipInfo info;
    info.outputKind = int32_t(kind);
    host::FileInfoRec8 record = {};
    FillFileInfo(info, 0, &record);
    EXPECT_EQ(int32_t(record.colorSpaceSupport), kind == OutputKind::kSLog3 || kind == OutputKind::kLinear ? 1 : 0) << int(kind);
  }
}

TEST(FileInfo, LeavesSoundFieldsAloneWithoutSound) {
  ClipInfo info;
  info.frameCount = 3'000'000'000;
  info.fpsDenominator = 1001;
  host::FileInfoRec8 record = {};
  record.audioChannels = 77;
  FillFileInfo(info, 5, &record);
  EXPECT_EQ(int32_t(record.audioChannels), 77);
  EXPECT_EQ(int64_t(record.vidDurationInFrames), 3'000'000'000);
  EXPECT_EQ(uint32_t(record.vidDuration), uint32_t(3'003'000'000'000));  // low 32 bits
}

TEST(ContentState, MatchesWorkedExampleAndDependsOnEverything) {
  // Worked out with a few lines of Python over the bytes 61 00 | 00 00 00 00 | 05 00 00 00 | 07 00 00 00 00 00 00 00:
  //   for b in data: a = (a ^ b) * 0x100000001b3 % 2**64; b2 = ((b2 ^ b) * 0x100000001b3 + 0x632be59bd9b4e019) % 2**64
  char text[37];
  FormatContentState(u"a", 1, 5, 7, text);
  EXPECT_STREQ(text, "e8439097-822f-1640-2307-73a0377e14c1");
  char other[37];
  for (const auto& [path, size, time] : {std::tuple{u"b", 5, 7}, std::tuple{u"a", 6, 7}, std::tuple{u"a", 5, 8}}) {
    FormatContentState(path, 1, size, time, other);
    EXPECT_STRNE(text, other);
  }
}

TEST(ContentState, LowercasesBeyondAscii) {
  EXPECT_EQ(LowercaseUtf16(u"C:\\\u00C9T\u00C9\\\u0416.ZIP"), u"c:\\\u00E9t\u00E9\\\u0436.zip");
}

TEST(HostLanguage, MatchesCodes) {
  struct Row {
    const char* language;
    const char* code;
  };
  for (const Row& row : {Row{"en_US", "en"}, Row{"de", "de"}, Row{"DE-at", "de"}, Row{"den", "en"}, Row{"zh_CN", "zh_CN"},
                         Row{"zh_TW", "en"}, Row{"ZH_cn", "zh_CN"}, Row{"uk_UA", "uk"}, Row{"", "en"}, Row{"x", "en"}}) {
    EXPECT_STREQ(kLanguageCodes[MatchLanguage(row.language)], row.code) << row.language;
  }
}

TEST(FileFormat, EndsTheListOfExtensionsInWhateverMemory) {
  host::IndFormatRec record;
  std::memset(&record, 0xCC, sizeof(record));
  EXPECT_EQ(DescribeFileFormat(1, &record), host::imNoErr);
  EXPECT_EQ(std::string(record.platformExtension, 5), std::string("zip\0\0", 5));
}

TEST(FileInfo, TellsWhatAHostNeedsToPlay) {
  ClipInfo info;
  info.fpsNumerator = 30000, info.fpsDenominator = 1001;
  std::strcpy(info.timecode, "01:00:00:00");
  host::FileInfoRec8 record = {};
  FillFileInfo(info, 5, &record);
  EXPECT_EQ(int(record.alphaType), 6) << "opaque";
  host::TimeInfoRec8 time = {};
  EXPECT_EQ(DescribeTimecode(info, &time), host::imNoErr);
  EXPECT_EQ(int32_t(time.orgScale), 30000);
  EXPECT_EQ(int32_t(time.orgSampleSize), 1001);
  host::ImportInfoRec importer = {};
  FillImportInfo(&importer);
  EXPECT_EQ(int32_t(importer.keepLoaded), 1);
}

}  // namespace
}  // namespace qx
