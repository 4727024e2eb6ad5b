#include "rawzip/comment_metadata.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

TEST(CommentMetadata, ReadsEveryKey) {
  const CommentMetadata metadata = ParseCommentMetadata(
      "Width:4080\nHeight:3072\nBitsPerSample:12\nFrameRate:23.976\nDurationMS:4000\nAvgBitrateBps:3000000000\nRawType:BAYER\n"
      "RawQuantizationType:LOG\nRawDebayer:2\nAudioOffsetUs:-1500\nAudioStretch:4.004\nDngNumbering:sensor\nAppVersion:1.2 (34)");
  EXPECT_EQ(metadata.width, 4080);
  EXPECT_EQ(metadata.height, 3072);
  EXPECT_EQ(metadata.bitsPerSample, 12);
  EXPECT_DOUBLE_EQ(metadata.frameRate, 23.976);
  EXPECT_EQ(metadata.durationMs, 4000);
  EXPECT_EQ(metadata.avgBitrateBps, 3000000000);
  EXPECT_EQ(metadata.rawType, "BAYER");
  EXPECT_EQ(metadata.rawQuantizationType, "LOG");
  EXPECT_EQ(metadata.rawDebayer, 2);
  EXPECT_TRUE(metadata.hasAudioOffset);
  EXPECT_EQ(metadata.audioOffsetUs, -1500);
  EXPECT_DOUBLE_EQ(metadata.audioStretch, 4.004);
  EXPECT_EQ(metadata.dngNumbering, 1);
  EXPECT_EQ(metadata.appVersion, "1.2 (34)");
}

TEST(CommentMetadata, TakesKeysAndValuesAsTheyStand) {
  const CommentMetadata metadata =
      ParseCommentMetadata("width:1\n Height:2\nnothing here\nRawType: a:b\r\n:3\nRawDebayer:1\nRawDebayer:7\nFrameRate:24\r\nHeight :4");
  EXPECT_EQ(metadata.width, 0) << "keys are case-sensitive";
  EXPECT_EQ(metadata.height, 0) << "and not trimmed";
  EXPECT_EQ(metadata.rawType, " a:b\r") << "the first colon ends the key";
  EXPECT_EQ(metadata.rawDebayer, 7) << "the later line counts";
  EXPECT_DOUBLE_EQ(metadata.frameRate, 24) << "numbers end where they end";
}

TEST(CommentMetadata, NumbersAreAllOrNothing) {
  struct Row {
    const char* value;
    bool hasOffset;
    int64_t offset;
    double stretch;
  };
  for (const Row& row :
       {Row{"", false, 0, 0}, Row{"x", false, 0, 0}, Row{"-", false, 0, 0}, Row{"+-1", false, 0, 0}, Row{" +12 us", true, 12, 12},
        Row{"0x10", true, 0, 0}, Row{"2.5", true, 2, 2.5}, Row{"-4", true, -4, 0}, Row{"1e3", true, 1, 1000},
        Row{"1000000", true, 1000000, 0}, Row{"999999.5", true, 999999, 999999.5}, Row{"nan", false, 0, 0}, Row{"inf", false, 0, 0},
        Row{"99999999999999999999", true, INT64_MAX, 0}, Row{"-99999999999999999999", true, INT64_MIN, 0}}) {
    SCOPED_TRACE(row.value);
    const std::string value = row.value;
    const CommentMetadata metadata = ParseCommentMetadata("AudioOffsetUs:" + value + "\nAudioStretch:" + value);
    EXPECT_EQ(metadata.hasAudioOffset, row.hasOffset);
    EXPECT_EQ(metadata.audioOffsetUs, row.offset);
    EXPECT_DOUBLE_EQ(metadata.audioStretch, row.stretch);
  }
  EXPECT_EQ(ParseCommentMetadata("Width:3000000000").width, INT32_MAX);
}

TEST(CommentMetadata, NumberingIsSensorOrNot) {
  for (const auto& [value, expected] : {std::pair{"sensor", 1}, {"Sensor", -1}, {"sensor ", -1}, {"", -1}}) {
    EXPECT_EQ(ParseCommentMetadata(std::string("DngNumbering:") + value).dngNumbering, expected) << value;
  }
  EXPECT_EQ(ParseCommentMetadata("").dngNumbering, 0);
}

TEST(CommentMetadata, CutsLongTextAtCharacters) {
  // 11 bytes of key and colon leave 148 of a line's 159; the field takes 127, and an é that would be split goes.
  EXPECT_EQ(ParseCommentMetadata("AppVersion:" + std::string(200, 'v')).appVersion, std::string(127, 'v'));
  EXPECT_EQ(ParseCommentMetadata("AppVersion:" + std::string(126, 'v') + "\xC3\xA9").appVersion, std::string(126, 'v'));
  EXPECT_EQ(ParseCommentMetadata("RawType:" + std::string(40, 't')).rawType, std::string(31, 't'));
  // The colon of this line lies behind the cut.
  EXPECT_EQ(ParseCommentMetadata(std::string(159, 'W') + ":1\nWidth:5").width, 5);
}

}  // namespace
}  // namespace qx
