#include "rawzip/frame_index.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

const char* kHeader = "name,sensor_timestamp_ns,slot\n";
const std::vector<std::string_view> kNames = {"a_1.dng", "a_2.dng", "a_3.dng"};

std::string Slots(const FrameIndex& index) {
  std::string text;
  for (const FrameIndexEntry& entry : index.entries) text += std::to_string(entry.timestampNs) + "@" + std::to_string(entry.slot) + " ";
  return text;
}

TEST(FrameIndex, AcceptsARowPerFrameInAnyForm) {
  struct Row {
    const char* what;
    std::string text;
  };
  const std::string rows = "a_2.dng,2000,1\na_1.dng,1000,0\na_3.dng,4000,3";
  for (const Row& row :
       {Row{"no line end after the last row", kHeader + rows}, Row{"empty lines", kHeader + std::string("\n\r\n") + rows + "\n\n"},
        Row{"CR LF, trailing spaces, other columns",
            "slot ,gain,name\r ,sensor_timestamp_ns  \r\n0,7,a_1.dng ,1000 \r\n1,,a_2.dng,2000\r\n3, ,a_3.dng ,4000,extra,\r\n"},
        Row{"signs and leading spaces of numbers", kHeader + std::string("a_1.dng,+1000, 0\na_2.dng, 2000,+1\na_3.dng,4000,3\n")}}) {
    SCOPED_TRACE(row.what);
    const FrameIndex index = ParseFrameIndex(row.text, kNames);
    EXPECT_EQ(index.state, 1);
    EXPECT_EQ(index.rows, 3);
    EXPECT_EQ(index.note, "frame index: 3 rows, timeline by sensor timestamps");
    EXPECT_EQ(Slots(index), "1000@0 2000@1 4000@3 ");
  }
}

TEST(FrameIndex, NeedsItsThreeColumns) {
  std::string sixteen = "name,slot";
  for (int i = 3; i < 16; ++i) sixteen += ",x";
  struct Row {
    const char* what;
    std::string header;
    bool found;
  };
  for (const Row& row : {Row{"no slot", "name,sensor_timestamp_ns", false}, Row{"leading space", "name, sensor_timestamp_ns,slot", false},
                         Row{"capital", "Name,sensor_timestamp_ns,slot", false}, Row{"empty", "", false},
                         Row{"the sixteenth column", sixteen + ",sensor_timestamp_ns", true},
                         Row{"the seventeenth", sixteen + ",x,sensor_timestamp_ns", false},
                         Row{"behind a column of 255", "name,slot," + std::string(255, 'x') + ",sensor_timestamp_ns", true},
                         Row{"behind a column of 256", "name,slot," + std::string(256, 'x') + ",sensor_timestamp_ns", false}}) {
    SCOPED_TRACE(row.what);
    const FrameIndex index = ParseFrameIndex(row.header + "\n", kNames);
    EXPECT_EQ(index.state, row.found ? -2 : -1);
    EXPECT_EQ(index.note == "frame index: no header name,sensor_timestamp_ns,slot", !row.found);
  }
}

TEST(FrameIndex, OneBadRowRejectsIt) {
  const std::string long255(255, 'n'), long256(256, 'n');
  struct Row {
    const char* what;
    std::string row;
    bool bad;
  };
  for (const Row& row :
       {Row{"time stamp 0", "a_1.dng,0,1", true}, Row{"negative time stamp", "a_1.dng,-5,1", true},
        Row{"no time stamp", "a_1.dng,,1", true}, Row{"no slot", "a_1.dng,5,", true}, Row{"missing field", "a_1.dng,5", true},
        Row{"only spaces", "   ", true}, Row{"not decimal", "a_1.dng,0x5,1", true}, Row{"a fraction", "a_1.dng,5.0,1", true},
        Row{"text behind a number", "a_1.dng,5,1x", true}, Row{"beyond 64 bits", "a_1.dng,9223372036854775808,1", true},
        Row{"the largest time stamp", "a_1.dng,9223372036854775807,1", false}, Row{"negative slot", "a_1.dng,5,-1", false},
        Row{"32 characters of time stamp", "a_1.dng," + std::string(31, '0') + "1,1", true},
        Row{"31 characters of time stamp", "a_1.dng," + std::string(30, '0') + "1,1", false}, Row{"long name", long256 + ",5,1", true},
        Row{"longest name", long255 + ",5,1", false}}) {
    SCOPED_TRACE(row.what);
    const FrameIndex index = ParseFrameIndex(kHeader + std::string("a_2.dng,1000,0\n") + row.row + "\n" + row.row + "\n", kNames);
    EXPECT_EQ(index.state, row.bad ? -1 : -2);
    // One good row before it: the first bad one is line 3.
    EXPECT_EQ(index.note == "frame index: 2 bad rows (first — line 3)", row.bad);
  }
}

TEST(FrameIndex, MustMatchTheFrames) {
  struct Row {
    const char* what;
    std::string rows;
    int32_t state;
    std::string note;
  };
  const std::string match = "frame index does not match the archive: rows ";
  const std::string longName = "b\x01\xC3\xA9" + std::string(80, 'c');
  for (const Row& row :
       {Row{"repeated row", "a_1.dng,1,0\na_2.dng,2,1\na_2.dng,3,2\na_3.dng,4,3", -2,
            match + "4, unknown names 0, repeats 1, frames without a row 0 of 3"},
        Row{"unknown and missing", "a_1.dng,1,0\nA_2.dng,2,1\nx.dng,2,1", -2,
            match + "3, unknown names 2, first A_2.dng, repeats 0, frames without a row 2 of 3"},
        Row{"unprintable name", longName + ",1,0\na_1.dng,1,0\na_2.dng,2,1\na_3.dng,4,3", -2,
            match + "4, unknown names 1, first b???" + std::string(59, 'c') + ", repeats 0, frames without a row 0 of 3"},
        Row{"no rows", "", -2, match + "0, unknown names 0, repeats 0, frames without a row 3 of 3"},
        Row{"equal time stamps", "a_1.dng,7,0\na_2.dng,9,1\na_3.dng,7,2", -3, "frame index: 1 repeated sensor timestamps"},
        Row{"all equal", "a_1.dng,7,0\na_2.dng,7,1\na_3.dng,7,2", -3, "frame index: 2 repeated sensor timestamps"},
        Row{"equal slots are no harm", "a_1.dng,7,0\na_2.dng,8,0\na_3.dng,9,0", 1, "frame index: 3 rows, timeline by sensor timestamps"}}) {
    SCOPED_TRACE(row.what);
    const FrameIndex index = ParseFrameIndex(kHeader + row.rows, kNames);
    EXPECT_EQ(index.state, row.state);
    EXPECT_EQ(index.note, row.note);
    EXPECT_EQ(index.entries.size(), row.state == 1 ? 3u : 0u);
  }
}

}  // namespace
}  // namespace qx
