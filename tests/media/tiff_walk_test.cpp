#include "media/dng_parser.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "samples/tiff_writer.h"

namespace qx {
namespace {

using Record = std::vector<uint8_t>;

TEST(TiffWalk, VisitsChainSubIfdsExifAndGpsByName) {
  TiffIfd leaf(TiffOrder::kBig), sub(TiffOrder::kBig), main(TiffOrder::kBig), second(TiffOrder::kBig);
  for (TiffIfd* ifd : {&leaf, &sub, &main, &second}) ifd->Short(256, uint16_t(1));
  sub.AddChild(330, leaf);
  sub.AddChild(34665, leaf);
  main.AddChild(330, leaf);
  main.AddChild(330, sub);
  main.AddChild(34853, leaf);
  const Record record = WriteTiff(std::array{main, second}, {});
  std::vector<std::string> names;
  const int visited = tiff_walk(record, [&](const TiffEntry& entry) {
    if (entry.tag != 256) return;
    names.push_back(std::to_string(entry.ifdIndex) + " " + entry.ifdName);
    EXPECT_EQ(entry.valueOffset, entry.ifdOffset + 2 + 8) << "the first entry of each";
  });
  EXPECT_EQ(visited, 7);
  EXPECT_EQ(names, (std::vector<std::string>{"0 IFD0", "1 IFD0.Sub0", "2 IFD0.Sub1", "3 IFD0.Sub1.Sub0", "4 IFD0.Sub1.EXIF", "5 IFD0.GPS",
                                             "6 IFD1"}));
}

TEST(TiffWalk, EndsLoopsAndDeepTrees) {
  TiffIfd ifd(TiffOrder::kLittle);
  ifd.Short(256, uint16_t(1));
  const auto count = [](const Record& record) { return tiff_walk(record, [](const TiffEntry&) {}); };

  // IFD0 lies at offset 8; its next-IFD field follows the one entry.
  Record ring = WriteTiff(std::span(&ifd, 1), {});
  ring[8 + 2 + 12] = 8;
  EXPECT_EQ(count(ring), 1) << "an IFD chained to itself";

  Record pair = WriteTiff(std::array{ifd, ifd}, {});
  pair[8 + 2 + 12] = 26;  // IFD1, written first, now points on to IFD0
  EXPECT_EQ(count(pair), 9) << "two IFDs chained in a ring: the chain is cut at IFD8";

  ifd.Long(330, std::vector<uint32_t>(16, 8u + 16 * 4));  // the values at 8, IFD0 itself behind them
  EXPECT_EQ(count(WriteTiff(std::span(&ifd, 1), {})), 32) << "an IFD that is its own SubIFD, sixteen times";

  TiffIfd tree(TiffOrder::kLittle);
  tree.Short(256, uint16_t(1));
  for (int depth = 0; depth < 6; ++depth) {
    TiffIfd parent(TiffOrder::kLittle);
    parent.AddChild(330, tree);
    tree = parent;
  }
  EXPECT_EQ(count(WriteTiff(std::span(&tree, 1), {})), 5) << "IFD0 and four levels below";
}

TEST(TiffWalk, ChecksEachValueAgainstTheRecord) {
  struct Row {
    uint16_t type;
    uint32_t count;
    std::vector<uint8_t> bytes;  // four bytes: value or offset
    bool hasValue;
    const char* why;
  };
  // The record is 26 bytes long: header, one entry at 10 … 21, next IFD.
  for (const Row& row : {
           Row{1, 4, {1, 2, 3, 4}, true, "inline"},
           Row{3, 0, {0xFF, 0xFF, 0xFF, 0xFF}, true, "no values"},
           Row{1, 26, {0, 0, 0, 0}, true, "the whole record"},
           Row{1, 25, {1, 0, 0, 0}, true, "up to the last byte"},
           Row{1, 26, {1, 0, 0, 0}, false, "one byte past the end"},
           Row{4, 0xFFFFFFFF, {0, 0, 0, 0}, false, "four billion values"},
           Row{12, 1, {0xFF, 0xFF, 0xFF, 0xFF}, false, "offset outside"},
           Row{0, 1, {1, 2, 3, 4}, false, "type 0"},
           Row{14, 1, {1, 2, 3, 4}, false, "unknown type"},
       }) {
    TiffIfd ifd(TiffOrder::kLittle);
    ifd.Raw(40000, row.type, row.count, row.bytes);
    const Record record = WriteTiff(std::span(&ifd, 1), {});
    ASSERT_EQ(record.size(), 26u);
    const int visited = tiff_walk(record, [&](const TiffEntry& entry) { EXPECT_EQ(entry.hasValue, row.hasValue) << row.why; });
    EXPECT_EQ(visited, 1) << row.why;
  }
}

}  // namespace
}  // namespace qx
