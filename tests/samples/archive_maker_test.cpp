#include "samples/archive_maker.h"

#include <gtest/gtest.h>
#include <libdeflate.h>

#include "plain_parsers.h"
#include "samples/scene.h"

namespace qx {
namespace {

ArchiveOptions SmallArchive(int frames) {
  ArchiveOptions options;
  options.picture.width = 64;
  options.picture.height = 48;
  options.picture.bits = 16;
  options.frames = frames;
  return options;
}

Bytes Make(const ArchiveOptions& options) {
  Bytes zip;
  EXPECT_EQ(CheckArchive(options), "");
  EXPECT_TRUE(MakeArchive(options, ZipSinkTo(&zip)));
  return zip;
}

std::map<uint16_t, Bytes> TagsOfFrame(const ArchiveOptions& options, size_t member) {
  return ListTags(ListArchive(Make(options)).members.at(member).data);
}

std::string Text(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

bool CrcHolds(const ListedMember& member) {
  return libdeflate_crc32(0, member.data.data(), member.data.size()) == member.crc32;
}

// 1001/24000 s are 41708333.3 ns; three of them 125125000.
TEST(ArchiveMaker, LaysARecordingOut) {
  ArchiveOptions options = SmallArchive(4);
  options.recording.fps = {24000, 1001};
  options.recording.folder = "clip";
  options.recording.name = "a";
  options.recording.indexCrlf = true;
  options.recording.comment = {{"AppVersion", "mine"}, {"DurationMS", "5"}};
  options.droppedSlots = {2};
  options.reversed = true;
  options.members = {{"a.wav", {1, 2, 3}}};
  const ListedArchive archive = ListArchive(Make(options));
  std::vector<std::string> names;
  for (const ListedMember& member : archive.members) {
    names.push_back(member.name);
    EXPECT_TRUE(CrcHolds(member)) << member.name;
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{"clip/a_000003.dng", "clip/a_000001.dng", "clip/a_000000.dng", "clip/a.wav", "clip/a.frames.csv"}));
  EXPECT_EQ(Text(archive.members[4].data),
            "name,sensor_timestamp_ns,slot\r\nclip/a_000003.dng,81359692890,3\r\nclip/a_000001.dng,81276276223,1\r\n"
            "clip/a_000000.dng,81234567890,0\r\n");
  const std::string lines = "\n" + archive.comment;
  for (const char* line :
       {"Width:64", "Height:48", "BitsPerSample:16", "FrameRate:23.976024", "DngNumbering:sensor", "AppVersion:mine", "DurationMS:5"}) {
    EXPECT_NE(lines.find("\n" + std::string(line) + "\n"), std::string::npos) << line;
  }
  EXPECT_EQ(lines.find("DurationMS:167"), std::string::npos);
}

TEST(ArchiveMaker, FramesHoldTheSceneInEachPattern) {
  struct Row {
    std::array<uint8_t, 4> cfa;
    int skipX, skipY;  // of the RGGB scene
  };
  for (const Row& row : {Row{{0, 1, 1, 2}, 0, 0}, Row{{1, 0, 2, 1}, 1, 0}, Row{{1, 2, 0, 1}, 0, 1}, Row{{2, 1, 1, 0}, 1, 1}}) {
    SCOPED_TRACE(testing::Message() << int(row.cfa[0]) << int(row.cfa[1]));
    ArchiveOptions options = SmallArchive(2);
    options.picture.cfa = row.cfa;
    const Bytes dng = ListArchive(Make(options)).members[1].data;
    const int width = 64 + row.skipX;
    const std::vector<uint16_t> scene = MakeNoisyMosaic(width, 48 + row.skipY, 16, 1024, 1, 1);
    size_t different = 0;
    for (int y = 0; y < 48; ++y) {
      for (int x = 0; x < 64; ++x) {
        different += Little(dng, size_t(8 + 2 * (y * 64 + x)), 2) != scene[size_t((y + row.skipY) * width + x + row.skipX)];
      }
    }
    EXPECT_EQ(different, 0u);
    const Bytes pattern = ListTags(dng)[33422];
    EXPECT_TRUE(std::equal(pattern.begin(), pattern.end(), row.cfa.begin(), row.cfa.end()));
  }
}

// T.81: a stream begins FFD8 FFC3, then length, precision, lines, samples a line and components.
TEST(ArchiveMaker, TilesAreWholeLosslessJpegStreams) {
  ArchiveOptions options = SmallArchive(1);
  options.picture.bits = 12;
  options.picture.losslessJpeg = true;
  options.picture.tileWidth = options.picture.tileLength = 32;
  const Bytes dng = ListArchive(Make(options)).members[0].data;
  auto tags = ListTags(dng);
  ASSERT_EQ(tags[324].size(), 4 * 4u);  // 2 × 2 tiles, the lower ones half outside
  for (size_t tile = 0; tile < 4; ++tile) {
    const auto stream = std::span(dng).subspan(Little(tags[324], 4 * tile, 4), Little(tags[325], 4 * tile, 4));
    const uint8_t head[] = {0xFF, 0xD8, 0xFF, 0xC3, 0, 14, 12, 0, 32, 0, 16, 2};
    EXPECT_TRUE(std::equal(std::begin(head), std::end(head), stream.begin()));
    EXPECT_EQ(stream[stream.size() - 2], 0xFF);
    EXPECT_EQ(stream.back(), 0xD9);
  }
}

TEST(ArchiveMaker, TimeCodesStartAtTheMarkOrAtOneHour) {
  ArchiveOptions options = SmallArchive(2);
  options.recording.fps = {25, 1};
  EXPECT_EQ(TagsOfFrame(options, 1)[51043], (Bytes{0x01, 0, 0, 0x01, 0, 0, 0, 0}));
  options.timecodeMark = DngPrivateTimecode{.source = 2, .start = 25 * (12 * 3600 + 34 * 60 + 56) + 23};
  auto tags = TagsOfFrame(options, 1);
  EXPECT_EQ(tags[51043], (Bytes{0x24, 0x56, 0x34, 0x12, 0, 0, 0, 0}));
  EXPECT_EQ(Text(tags[50740]), std::string("qorixcam") + '\0' + "TimecodeSource:2\nTimecodeStart:1132423\n");
  options.recording.fps = {100, 1};
  EXPECT_EQ(TagsOfFrame(options, 0).count(51043), 0u);
}

// D65 is (0.95047, 1, 1.08883) in XYZ; a camera matrix must turn it into the neutral.
TEST(ArchiveMaker, ColourTagsDescribeTheScene) {
  auto tags = TagsOfFrame(SmallArchive(1), 0);
  const std::vector<double> matrix = Fractions(tags[50722]), neutral = Fractions(tags[50728]);
  ASSERT_EQ(matrix.size(), 9u);
  ASSERT_EQ(neutral.size(), 3u);
  for (size_t row = 0; row < 3; ++row) {
    EXPECT_NEAR(matrix[3 * row] * 0.95047 + matrix[3 * row + 1] + matrix[3 * row + 2] * 1.08883, neutral[row], 1e-3);
    EXPECT_NEAR(neutral[row], kSceneNeutral[row], 1e-6);
  }
  EXPECT_EQ(tags[50779], (Bytes{21, 0}));
}

// DNG 1.7, GainMap: 76 bytes of parameters, then the points. The corners of this scene have 55 % of the light.
TEST(ArchiveMaker, GainMapsUndoTheVignetting) {
  ArchiveOptions options = SmallArchive(1);
  options.picture.gainMap = true;
  const Bytes list = TagsOfFrame(options, 0)[51009];
  EXPECT_EQ(list[3], 4);  // one for each phase
  const auto gain = [&list](size_t point) {
    const uint32_t bits =
        uint32_t(list[96 + 4 * point]) << 24 | list[97 + 4 * point] << 16 | list[98 + 4 * point] << 8 | list[99 + 4 * point];
    return std::bit_cast<float>(bits);
  };
  EXPECT_FLOAT_EQ(gain(0), 1 / 0.55f);
  EXPECT_FLOAT_EQ(gain(6 * 17 + 8), 1.0f);  // the middle of 13 × 17 points
  EXPECT_FLOAT_EQ(gain(13 * 17 - 1), 1 / 0.55f);
}

// DNG 1.7, WarpRectilinear: 20 bytes of list and opcode heads, the plane count, then kr0 … kr3, kt0, kt1.
TEST(ArchiveMaker, FullWarpsComeEveryKthFrame) {
  ArchiveOptions options = SmallArchive(6);
  options.picture.warp = true;
  options.picture.fullWarpEvery = 3;
  const ListedArchive archive = ListArchive(Make(options));
  for (size_t frame = 0; frame < 6; ++frame) {
    const Bytes list = ListTags(archive.members[frame].data)[51022];
    const size_t kr0 = 24, kr3 = kr0 + 24;
    EXPECT_EQ(BigDouble(list, kr0), 1.0);
    EXPECT_EQ(BigDouble(list, kr3) != 0, frame % 3 == 2) << frame;
  }
}

TEST(ArchiveMaker, DamagesWhatItIsAskedTo) {
  ArchiveOptions options = SmallArchive(4);
  const Bytes whole = Make(options);
  const ListedArchive listed = ListArchive(whole);

  options.recording.corruptSlots = {1};
  options.recording.unindexedSlots = {2};
  const ListedArchive damaged = ListArchive(Make(options));
  for (size_t i = 0; i < damaged.members.size(); ++i) EXPECT_EQ(CrcHolds(damaged.members[i]), i != 1) << i;
  EXPECT_EQ(Bytes(damaged.members[1].data.begin(), damaged.members[1].data.begin() + 64), Bytes(64, 0));
  EXPECT_TRUE(std::equal(damaged.members[1].data.begin() + 64, damaged.members[1].data.end(), listed.members[1].data.begin() + 64));
  const std::string index = Text(damaged.members[4].data);
  EXPECT_EQ(std::count(index.begin(), index.end(), '\n'), 4);
  EXPECT_EQ(index.find("_000002.dng"), std::string::npos);

  ArchiveOptions cutOff = SmallArchive(4);
  cutOff.recording.directory = false;
  EXPECT_EQ(Make(cutOff), Bytes(whole.begin(), whole.begin() + ptrdiff_t(listed.directoryOffset)));
}

TEST(ArchiveMaker, StopsWhenTheSinkIsFull) {
  size_t asked = 0;
  const auto full = [&asked](std::span<const uint8_t>) { return ++asked < 4; };
  size_t told = 0;
  EXPECT_FALSE(MakeArchive(SmallArchive(50), full, [&told](size_t done, size_t) { told = done; }));
  EXPECT_EQ(told, 1u);
}

TEST(ArchiveMaker, RefusesWhatCannotBeMade) {
  struct Row {
    const char* why;
    void (*change)(ArchiveOptions&);
  };
  const Row rows[] = {
      {"size", [](ArchiveOptions& o) { o.picture.width = 8; }},
      {"bits", [](ArchiveOptions& o) { o.picture.bits = 11; }},
      {"pattern",
       [](ArchiveOptions& o) {
         o.picture.cfa = {0, 1, 2, 1};
       }},
      {"two greens in a row",
       [](ArchiveOptions& o) {
         o.picture.cfa = {1, 1, 0, 2};
       }},
      {"strips and tiles", [](ArchiveOptions& o) { o.picture.stripRows = 8, o.picture.tileWidth = o.picture.tileLength = 16; }},
      {"tile without a length", [](ArchiveOptions& o) { o.picture.tileWidth = 16; }},
      {"odd width in two components", [](ArchiveOptions& o) { o.picture.width = 65, o.picture.losslessJpeg = true; }},
      {"active area outside",
       [](ArchiveOptions& o) {
         o.picture.activeArea = {{0, 0, 49, 64}};
       }},
      {"crop outside the active area",
       [](ArchiveOptions& o) {
         o.picture.activeArea = {{8, 8, 40, 56}}, o.picture.crop = {{0, 0, 49, 32}};
       }},
      {"rate",
       [](ArchiveOptions& o) {
         o.recording.fps = {24, 0};
       }},
      {"comment",
       [](ArchiveOptions& o) {
         o.recording.comment = {{"a:b", "c"}};
       }},
      {"slot outside", [](ArchiveOptions& o) { o.droppedSlots = {4}; }},
      {"nothing left",
       [](ArchiveOptions& o) {
         o.droppedSlots = {0, 1, 2, 3};
       }},
      {"mark",
       [](ArchiveOptions& o) {
         o.timecodeMark = {3, 0};
       }},
  };
  for (const Row& row : rows) {
    ArchiveOptions options = SmallArchive(4);
    row.change(options);
    EXPECT_NE(CheckArchive(options), "") << row.why;
  }
}

}  // namespace
}  // namespace qx
