#include "samples/damage.h"

#include <gtest/gtest.h>

#include <fstream>

#include "plain_parsers.h"
#include "samples/wrap_dng.h"

namespace qx {
namespace {

/// Files of one test, removed with it.
class Damage : public testing::Test {
 protected:
  Damage() : folder_(testing::TempDir() + testing::UnitTest::GetInstance()->current_test_info()->name()) {
    std::filesystem::create_directories(folder_);
  }
  ~Damage() override { std::filesystem::remove_all(folder_); }

  std::filesystem::path Write(const char* name, const Bytes& bytes) const {
    const std::filesystem::path file = folder_ / name;
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return file;
  }
  std::filesystem::path folder_;
};

TEST_F(Damage, CutsAtBytesOrPercent) {
  struct Row {
    CutPoint cut;
    uint64_t size, expected;
  };
  for (const Row& row : {Row{{100, false}, 250, 100}, Row{{300, false}, 250, 250}, Row{{60, true}, 250, 150}, Row{{33, true}, 10, 3},
                         Row{{100, true}, 7, 7}, Row{{0, true}, 7, 0}, Row{{50, true}, uint64_t(1) << 63, uint64_t(1) << 62}}) {
    EXPECT_EQ(row.cut.In(row.size), row.expected) << row.cut.value;
  }
  const auto file = Write("file", Bytes(1000, 7));
  EXPECT_TRUE(CutFile(file, {25, true}));
  EXPECT_EQ(ReadWholeFile(file), Bytes(250, 7));
}

TEST_F(Damage, FlipsDifferentBytesAfterTheSeed) {
  const Bytes before(5000, 7);
  std::vector<uint64_t> offsets[3];
  Bytes after[3];
  for (int i = 0; i < 3; ++i) {
    const auto file = Write("file", before);
    ASSERT_TRUE(FlipBytes(file, 40, i == 2 ? 8 : 9, &offsets[i]));
    after[i] = *ReadWholeFile(file);
    std::vector<uint64_t> changed;
    for (uint64_t at = 0; at < before.size(); ++at) {
      if (after[i][at] != before[at]) changed.push_back(at);
    }
    EXPECT_EQ(changed.size(), 40u);
    EXPECT_EQ(changed, offsets[i]);
  }
  EXPECT_EQ(after[0], after[1]);
  EXPECT_NE(offsets[0], offsets[2]);
  const auto tiny = Write("tiny", {1, 2, 3});
  EXPECT_TRUE(FlipBytes(tiny, 100, 1, &offsets[0]));
  EXPECT_EQ(offsets[0], (std::vector<uint64_t>{0, 1, 2}));
}

TEST_F(Damage, ZeroesARangeWithinTheFile) {
  const auto file = Write("file", Bytes(200000, 7));
  EXPECT_TRUE(ZeroRange(file, 10, 150000));
  EXPECT_TRUE(ZeroRange(file, 199999, 300000));
  EXPECT_TRUE(ZeroRange(file, 400000, 400001));
  Bytes expected(200000, 7);
  std::fill(expected.begin() + 10, expected.begin() + 150000, uint8_t(0));
  expected.back() = 0;
  EXPECT_EQ(ReadWholeFile(file), expected);
}

TEST_F(Damage, SaysThatThereIsNoFile) {
  EXPECT_FALSE(CutFile(folder_ / "none", {1, false}));
  EXPECT_FALSE(FlipBytes(folder_ / "none", 1, 1));
  EXPECT_FALSE(ZeroRange(folder_ / "none", 0, 1));
}

using WrapDng = Damage;

TEST_F(WrapDng, KeepsFilesAsTheyAreInTheGivenOrder) {
  const Bytes first = {'M', 'M', 0, 42, 0, 0, 0, 8, 1}, second = {'I', 'I', 42, 0, 8, 0, 0, 0, 2};
  RecordingOptions options;
  options.name = "mine";
  options.fps = {25, 1};
  Bytes zip;
  std::string error;
  EXPECT_TRUE(WrapDngFiles({Write("z.dng", first), Write("a.dng", second)}, options, {}, ZipSinkTo(&zip), {}, &error));
  const ListedArchive archive = ListArchive(zip);
  ASSERT_EQ(archive.members.size(), 3u);
  EXPECT_EQ(archive.members[0].name, "mine_000000.dng");
  EXPECT_EQ(archive.members[0].data, first);
  EXPECT_EQ(archive.members[1].data, second);
  EXPECT_EQ(archive.members[2].name, "mine.frames.csv");
  EXPECT_EQ(archive.comment.substr(0, 20), "FrameRate:25.000000\n");
}

TEST_F(WrapDng, NamesTheFileThatIsNoDng) {
  Bytes zip;
  std::string error;
  const auto text = Write("text.dng", {'h', 'e', 'l', 'l', 'o', ' ', 'y', 'o', 'u'});
  EXPECT_FALSE(WrapDngFiles({text}, {}, {}, ZipSinkTo(&zip), {}, &error));
  EXPECT_EQ(error, text.string() + ": is no DNG file");
  EXPECT_FALSE(WrapDngFiles({folder_ / "none.dng"}, {}, {}, ZipSinkTo(&zip), {}, &error));
  EXPECT_EQ(error, (folder_ / "none.dng").string() + ": cannot be read");
}

}  // namespace
}  // namespace qx
