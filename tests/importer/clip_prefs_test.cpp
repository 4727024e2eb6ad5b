#include "importer/clip_prefs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/importer/prefs_block.h"

namespace qx {
namespace {

DevelopOptions WithLut(std::u16string_view path) {
  DevelopOptions options;
  path.copy(options.lutPath, path.size());
  return options;
}

/// A version 3 block with the defaults' numbers and a path.
BlockMaker PathBlock(size_t size, std::string_view path) {
  BlockMaker block(size);
  return block.Header(3, uint32_t(size), 1).U32(72, uint32_t(path.size())).Text(76, path);
}

TEST(ClipPrefs, WritesEveryFieldWhereItBelongs) {
  DevelopOptions options = WithLut(u"C:/l\u00fct\U0001F3A5.cube");
  options.outputCurve = 2;
  options.cpuOnly = 7;
  options.slog3Narrow = -1;
  options.demosaic = 3;
  options.warpPercent = 40;
  options.vignettePercent = 60;
  options.whiteBalanceOn = 5;
  options.exposureEv = 1.5f;
  options.kelvin = 5600;
  options.tint = -12.5;
  BlockMaker expected(1024);
  expected.Header(3, 1024, 9).U32(16, 2).U32(20, 1).U32(24, 1).U32(28, 3).U32(32, 40).U32(36, 60).U32(40, 1).U32(44, 1);
  expected.F32(48, 1.5f).F64(56, 5600).F64(64, -12.5).U32(72, 16).Text(76, "C:/l\xC3\xBCt\xF0\x9F\x8E\xA5.cube");
  std::vector<uint8_t> block(1024, 0xEE);
  ASSERT_EQ(WriteClipPrefs(options, 9, block), 0);
  EXPECT_EQ(block, expected.bytes());
  EXPECT_EQ(ClipPrefsGeneration(block), 9u);
  DevelopOptions read;
  ASSERT_EQ(ReadClipPrefs(block, &read), 1);
  block.assign(1024, 0xEE);
  ASSERT_EQ(WriteClipPrefs(read, 9, block), 0);
  EXPECT_EQ(block, expected.bytes()) << "nothing is lost on the way back";

  block.assign(2000, 0xEE);
  ASSERT_EQ(WriteClipPrefs(options, 9, block), 0);
  EXPECT_EQ(std::vector(block.begin(), block.begin() + 1024), expected.bytes());
  EXPECT_EQ(std::vector(block.begin() + 1024, block.end()), std::vector<uint8_t>(976, 0xEE)) << "more than 1,024 bytes are not used";
}

TEST(ClipPrefs, LimitsNumbersToTheirRanges) {
  struct Row {
    const char* what;
    int32_t curve, demosaic, warp, vignette;
    float ev;
    int32_t expectedCurve, expectedDemosaic, expectedWarp, expectedVignette;
    float expectedEv;
  };
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const Row& row :
       {Row{"above", 4, 4, 101, 250, 7.5f, 3, 3, 100, 100, 4.0f}, Row{"below", -2, -1, -5, INT32_MIN, -4.25f, 0, 0, 0, 0, -4.0f},
        Row{"inside", 1, 2, 33, 66, 0.5f, 1, 2, 33, 66, 0.5f}, Row{"infinite", 0, 0, 0, 0, -kInfinity, 0, 0, 0, 0, -4.0f},
        Row{"not a number", 0, 0, 0, 0, std::nanf(""), 0, 0, 0, 0, 0.0f}}) {
    BlockMaker block(76);
    block.Header(3, 76, 1).U32(16, uint32_t(row.curve)).U32(28, uint32_t(row.demosaic)).U32(32, uint32_t(row.warp));
    block.U32(36, uint32_t(row.vignette)).F32(48, row.ev).U32(20, 0x80000000).U32(44, 2);
    DevelopOptions options;
    ASSERT_EQ(ReadClipPrefs(block.bytes(), &options), 1) << row.what;
    EXPECT_EQ(options.outputCurve, row.expectedCurve) << row.what;
    EXPECT_EQ(options.demosaic, row.expectedDemosaic) << row.what;
    EXPECT_EQ(options.warpPercent, row.expectedWarp) << row.what;
    EXPECT_EQ(options.vignettePercent, row.expectedVignette) << row.what;
    EXPECT_EQ(options.exposureEv, row.expectedEv) << row.what;
    EXPECT_EQ(options.cpuOnly, 1) << row.what;
    EXPECT_EQ(options.whiteBalanceOn, 1) << row.what;
  }
}

TEST(ClipPrefs, TellsValidBlocksFromOthers) {
  struct Row {
    const char* what;
    std::vector<uint8_t> block;
    bool valid;
  };
  const auto block = [](uint32_t version, uint32_t length, size_t size) { return BlockMaker(size).Header(version, length, 5).bytes(); };
  std::vector<uint8_t> otherMagic = block(3, 76, 76);
  otherMagic[3] = 'T';
  for (const Row& row : {Row{"none", {}, false}, Row{"75 bytes", block(3, 75, 75), false}, Row{"76 bytes", block(3, 76, 76), true},
                         Row{"shorter than the block", block(3, 100, 300), true}, Row{"length 75", block(3, 75, 300), false},
                         Row{"longer than the block", block(3, 301, 300), false}, Row{"whole", block(3, 300, 300), true},
                         Row{"length with the sign bit", block(3, 0x80000000, 300), false}, Row{"version 1", block(1, 300, 300), false},
                         Row{"version 2", block(2, 300, 300), true}, Row{"version of the future", block(4, 300, 300), true},
                         Row{"other magic", otherMagic, false}}) {
    DevelopOptions options = WithLut(u"left over");
    options.warpPercent = 3;
    EXPECT_EQ(ReadClipPrefs(row.block, &options), row.valid ? 1 : 0) << row.what;
    EXPECT_EQ(ClipPrefsGeneration(row.block), row.valid ? 5u : 0u) << row.what;
    EXPECT_FALSE(options.hasLut()) << row.what;
    EXPECT_EQ(options.warpPercent, row.valid ? 0 : 100) << row.what;
  }
}

TEST(ClipPrefs, TakesThePathOfVersion2FromLongEnoughBlocks) {
  for (const auto& [length, expected] : {std::pair{592u, u"C:\\a.cube"}, std::pair{591u, u""}}) {
    BlockMaker block(1024);
    block.Header(2, length, 3).Text(72, u"C:\\a.cube");
    DevelopOptions options;
    ASSERT_EQ(ReadClipPrefs(block.bytes(), &options), 1);
    EXPECT_EQ(LutTextOf(options), expected) << length;
  }
  BlockMaker unterminated(592);
  unterminated.Header(2, 592, 3).Text(72, std::u16string(260, u'x'));
  DevelopOptions options;
  ASSERT_EQ(ReadClipPrefs(unterminated.bytes(), &options), 1);
  EXPECT_EQ(LutTextOf(options), std::u16string(259, u'x'));
}

TEST(ClipPrefs, DecodesPathsOfVersion3Strictly) {
  struct Row {
    const char* what;
    std::string path;
    std::u16string expected;
  };
  const std::string film = "\xE6\x98\xA0", camera = "\xF0\x9F\x8E\xA5";
  std::string longest = camera;  // 2 units in 4 bytes, then 257 units in 3 bytes each
  for (int i = 0; i < 257; ++i) longest += film;
  for (const Row& row :
       {Row{"whole", film + camera, u"\u6620\U0001F3A5"}, Row{"cut character", "a" + film.substr(0, 2), u""},
        Row{"overlong", "a\xC0\x80", u""}, Row{"surrogate", "\xED\xA0\x80", u""}, Row{"above the last character", "\xF4\x90\x80\x80", u""},
        Row{"stray", "a\x80", u""}, Row{"259 units", longest, u"\U0001F3A5" + std::u16string(257, u'\u6620')},
        Row{"260 units", longest + "x", u""}, Row{"cut by a zero", std::string("ab\0cd", 5), u"ab"}, Row{"empty", "", u""}}) {
    DevelopOptions options;
    ASSERT_EQ(ReadClipPrefs(PathBlock(1024, row.path).bytes(), &options), 1) << row.what;
    EXPECT_EQ(LutTextOf(options), row.expected) << row.what;
  }
  for (const auto& [length, expected] :
       {std::pair{24u, std::u16string(24, u'y')}, std::pair{25u, std::u16string()}, std::pair{0xFFFFFFFFu, std::u16string()}}) {
    BlockMaker block(100);
    block.Header(3, 100, 1).U32(72, length).Text(76, std::string(24, 'y'));
    DevelopOptions options;
    ASSERT_EQ(ReadClipPrefs(block.bytes(), &options), 1);
    EXPECT_EQ(LutTextOf(options), expected) << length;
  }
}

TEST(ClipPrefs, RefusesToWriteWhatDoesNotFit) {
  struct Row {
    const char* what;
    std::u16string path;
    size_t size;
    int result;
  };
  for (const Row& row :
       {Row{"no path", u"", 76, 0}, Row{"block too small", u"", 75, -1}, Row{"path fits exactly", std::u16string(124, u'a'), 200, 0},
        Row{"path one byte too long", std::u16string(125, u'a'), 200, -1},
        Row{"longer in UTF-8 than in UTF-16", std::u16string(42, u'\u6620'), 200, -1},
        Row{"unpaired surrogate", u"a" + std::u16string(1, char16_t(0xDC00)), 1024, -1},
        Row{"longest in the largest", std::u16string(259, u'\u6620'), 1024, 0}}) {
    std::vector<uint8_t> block(row.size, 0x11);
    EXPECT_EQ(WriteClipPrefs(WithLut(row.path), 2, block), row.result) << row.what;
    if (row.result != 0) {
      EXPECT_EQ(block, std::vector<uint8_t>(row.size, 0x11)) << row.what;
    }
  }
}

}  // namespace
}  // namespace qx
