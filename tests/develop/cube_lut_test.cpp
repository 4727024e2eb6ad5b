#include "develop/cube_lut.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qx {
namespace {

struct Parsed {
  int result = 0;
  std::string message;
  CubeLut lut;
};

Parsed Parse(std::string_view text) {
  Parsed parsed;
  MessageBuffer<200> message;
  parsed.result = ParseCubeLut(text, &parsed.lut, message);
  parsed.message = message.text();
  return parsed;
}

std::string Rows(size_t count) {
  std::string rows;
  for (size_t i = 0; i < count; ++i) rows += "0.25 0.5 1\n";
  return rows;
}

std::vector<float> Values(const GrowBuffer<float>& table, size_t count) {
  return {table.data(), table.data() + count};
}

TEST(CubeLut, ReadsTablesDomainsAndTitle) {
  const Parsed both = Parse(
      "# made by hand\n"
      "TITLE \"A look\"\n"
      "LUT_1D_SIZE 2\n"
      "LUT_3D_SIZE 2\n"
      "LUT_1D_INPUT_RANGE -0.5 1.5\n"
      "DOMAIN_MIN 0 0.1 0\n"
      "DOMAIN_MAX 1 1 2 # comment\n"
      "SOME_VENDOR_KEYWORD whatever\n"
      "\n"
      "0 0 0\n"
      "1 2 3\n"
      "0 0 0\n.1 0 0\n+0.2 -0.2 2e-1\n1. 1 1\t# comment\n"
      "  0.5 0.5\t0.5\n0 0 1\n0 1 1\n1 1 1");
  ASSERT_EQ(both.result, 0) << both.message;
  EXPECT_EQ(both.lut.title, "A look");
  ASSERT_EQ(both.lut.size1D, 2u);
  ASSERT_EQ(both.lut.size3D, 2u);
  EXPECT_EQ(Values(both.lut.table1D, 6), (std::vector<float>{0, 0, 0, 1, 2, 3}));
  EXPECT_EQ(Values(both.lut.table3D, 15), (std::vector<float>{0, 0, 0, 0.1f, 0, 0, 0.2f, -0.2f, 0.2f, 1, 1, 1, 0.5f, 0.5f, 0.5f}));
  EXPECT_EQ(both.lut.domainMin1D, (std::array<float, 3>{-0.5f, -0.5f, -0.5f}));
  EXPECT_EQ(both.lut.domainMax1D, (std::array<float, 3>{1.5f, 1.5f, 1.5f}));
  EXPECT_EQ(both.lut.domainMin3D, (std::array<float, 3>{0, 0.1f, 0}));
  EXPECT_EQ(both.lut.domainMax3D, (std::array<float, 3>{1, 1, 2}));
}

TEST(CubeLut, LineEndsByteOrderMarkAndCommentsChangeNothing) {
  const std::string plain = "TITLE \"x\"\nLUT_1D_SIZE 2\n0 0 0\n1 1 1\n";
  const Parsed reference = Parse(plain);
  ASSERT_EQ(reference.result, 0);
  const auto withLineEnd = [&](const char* lineEnd) {
    std::string text;
    for (const char c : plain) text += c == '\n' ? std::string(lineEnd) : std::string(1, c);
    return text;
  };
  for (const std::string& text : {withLineEnd("\r\n"), withLineEnd("\r"), "\xEF\xBB\xBF" + withLineEnd("\r\n"), "# first line\n" + plain,
                                  plain.substr(0, plain.size() - 1), plain + "\n# end\n\n"}) {
    const Parsed parsed = Parse(text);
    EXPECT_EQ(parsed.result, 0) << parsed.message;
    EXPECT_EQ(parsed.lut.title, "x");
    EXPECT_EQ(parsed.lut.contentHash, reference.lut.contentHash);
  }
  EXPECT_NE(Parse("LUT_1D_SIZE 2\n0 0 0\n1 1 0.9999\n").lut.contentHash, reference.lut.contentHash);
  EXPECT_NE(Parse("DOMAIN_MAX 1 1 2\n" + plain).lut.contentHash, reference.lut.contentHash);
}

TEST(CubeLut, Titles) {
  struct Row {
    const char* line;
    std::string expected;
    const char* why;
  };
  for (const Row& row : {Row{"TITLE \"a b\" c", "a b", "up to the next quote"}, Row{"TITLE\t \"open", "open", "up to the end of the line"},
                         Row{"TITLE plain", "", "not quoted"}, Row{"TITLE", "", "nothing"}, Row{"TITLES \"a\"", "", "another keyword"},
                         Row{"title \"a\"", "", "case matters"}, Row{"TITLE \"\"", "", "empty"}}) {
    const Parsed parsed = Parse(std::string(row.line) + "\nLUT_1D_SIZE 2\n0 0 0\n1 1 1\n");
    EXPECT_EQ(parsed.result, 0) << parsed.message;
    EXPECT_EQ(parsed.lut.title, row.expected) << row.why;
  }
  EXPECT_EQ(Parse("TITLE \"" + std::string(200, 'a') + "\"\nLUT_1D_SIZE 2\n0 0 0\n1 1 1\n").lut.title, std::string(127, 'a'));
  const Parsed cut = Parse("TITLE \"" + std::string(126, 'a') + "\xC3\xA9\"\nLUT_1D_SIZE 2\n0 0 0\n1 1 1\n");
  EXPECT_EQ(cut.lut.title, std::string(126, 'a')) << "not inside a character";
}

TEST(CubeLut, NumbersOfARow) {
  struct Row {
    const char* row;
    bool accepted;
    const char* why;
  };
  for (const Row& row :
       {Row{"1e-3 1E+2 .5e1", true, "exponents"}, Row{"0 0 0 # c", true, "comment behind a blank"}, Row{"0 0 0\t", true, "blank"},
        Row{"0 0 0#", false, "comment at the number"}, Row{"0 0", false, "two"}, Row{"0 0 0 0", false, "four"},
        Row{"0,0 0 0", false, "comma"}, Row{"0 0 1e", false, "exponent without digits"}, Row{"0x1 0 0", false, "hexadecimal"},
        Row{"-0X1p3 0 0", false, "hexadecimal"}, Row{"+-1 0 0", false, "two signs"}, Row{"0 - 0", false, "sign alone"},
        Row{". 0 0", false, "point alone"}, Row{"0 inf 0", false, "not finite"}, Row{"0 nan 0", false, "not a number"},
        Row{"0 0 1e39", false, "beyond float"}, Row{"0 0 1e999", false, "beyond double"},
        Row{"0 0 0.001e999999999999999999999", false, "exponent beyond any integer"},
        Row{"1e-60 1e-999 0.1e-999999999999999999999", true, "too small is 0"}}) {
    const Parsed parsed = Parse("LUT_1D_SIZE 2\n" + std::string(row.row) + "\n0 0 0\n");
    EXPECT_EQ(parsed.message, row.accepted ? "" : "line 2: three numbers expected") << row.row << ": " << row.why;
  }
  const Parsed small = Parse("LUT_1D_SIZE 2\n1e-999 -0.00000001 123456.75\n0 0 0\n");
  EXPECT_EQ(Values(small.lut.table1D, 3), (std::vector<float>{0, -1e-8f, 123456.75f}));
}

TEST(CubeLut, RefusesWithTheLineAndTheReason) {
  struct Row {
    std::string text, message;
  };
  const std::vector<Row> rows = {
      {"", "empty file"},
      {"# nothing\n", "no LUT_1D_SIZE / LUT_3D_SIZE"},
      {"LUT_3D_SIZE 2\n", "data rows 0, 0 needed"},
      {"0 0 0\n", "line 1: data before LUT_1D_SIZE / LUT_3D_SIZE"},
      {"LUT_3D_SIZE 66\n", "line 1: LUT_3D_SIZE 66 — allowed 2…65"},
      {"LUT_3D_SIZE 1\n", "line 1: LUT_3D_SIZE 1 — allowed 2…65"},
      {"\n\r\nLUT_1D_SIZE 0\n", "line 3: LUT_1D_SIZE 0 — allowed 2…65536"},
      {"LUT_1D_SIZE 65537", "line 1: LUT_1D_SIZE 65537 — allowed 2…65536"},
      {"LUT_1D_SIZE 100000000", "line 1: LUT_1D_SIZE 100000000 — allowed 2…65536"},
      {"LUT_1D_SIZE 100000001", "line 1: LUT size must be an integer"},
      {"LUT_1D_SIZE 99999999999999999999999999", "line 1: LUT size must be an integer"},
      {"LUT_3D_SIZE 33.0\n", "line 1: LUT size must be an integer"},
      {"LUT_3D_SIZE +33\n", "line 1: LUT size must be an integer"},
      {"LUT_3D_SIZE\n", "line 1: LUT size must be an integer"},
      {"LUT_3D_SIZE 33 33\n", "line 1: LUT size must be an integer"},
      {"LUT_3D_SIZE 33#\n", "line 1: LUT size must be an integer"},
      {"LUT_1D_SIZE 2\nLUT_1D_SIZE 2\n", "line 2: size given twice"},
      {"DOMAIN_MIN 0 0\n", "line 1: DOMAIN_MIN — three numbers"},
      {"DOMAIN_MAX 0 0 0 0\n", "line 1: DOMAIN_MAX — three numbers"},
      {"LUT_3D_INPUT_RANGE 0\n", "line 1: INPUT_RANGE — two numbers"},
      {"LUT_1D_INPUT_RANGE 0 1 2\n", "line 1: INPUT_RANGE — two numbers"},
      {"LUT_1D_SIZE 2\n0 0 0\nTITLE \"late\"\n", "line 3: keyword after the data started"},
      {"LUT_1D_SIZE 2\n0 0 0\n", "data rows 1, 2 needed"},
      {"LUT_1D_SIZE 2\n0 0 0\n1 1 1\n1 1 1\n", "line 4: extra data row (2 needed)"},
      {"LUT_3D_SIZE 33\n" + Rows(35936), "data rows 35936, 35937 needed"},
      {"LUT_3D_SIZE 33\n" + Rows(35938), "line 35939: extra data row (35937 needed)"},
      {"LUT_1D_SIZE 1024\nLUT_3D_SIZE 17\n" + Rows(5936), "data rows 5936, 5937 needed"},
      {"LUT_1D_SIZE 2\nDOMAIN_MIN 0 0 1\nDOMAIN_MAX 1 1 1\n0 0 0\n1 1 1\n", "domain: maximum is not greater than minimum"},
      {"LUT_1D_SIZE 2\nLUT_1D_INPUT_RANGE 1 0\n0 0 0\n1 1 1\n", "domain: maximum is not greater than minimum"},
  };
  for (const Row& row : rows) {
    const Parsed parsed = Parse(row.text);
    EXPECT_EQ(parsed.result, -1) << row.message;
    EXPECT_EQ(parsed.message, row.message);
    EXPECT_TRUE(parsed.lut.size1D == 0 && parsed.lut.size3D == 0 && parsed.lut.contentHash == 0 && parsed.lut.table3D.data() == nullptr);
  }
  EXPECT_EQ(Parse("LUT_3D_SIZE 33\n" + Rows(35937)).result, 0);
  EXPECT_EQ(Parse("LUT_3D_SIZE 2\nLUT_1D_INPUT_RANGE 1 0\n" + Rows(8)).result, 0) << "the range of an absent table is not checked";
  EXPECT_EQ(Parse(std::string(kMaxCubeFileBytes + 1, '#')).message, "file larger than 64 MB");
}

TEST(CubeLut, ShortTextsGetNoTables) {
  // The next allocation would fail and say so.
  FailAllocationForTest(0);
  EXPECT_EQ(Parse("LUT_3D_SIZE 65\n0 0 0\n").message, "data rows 1, 274625 needed");
  EXPECT_EQ(Parse("LUT_1D_SIZE 65536\n0 0 0\n0 0\n").message, "line 3: three numbers expected");
  FailAllocationForTest(-1);
  EXPECT_EQ(Parse("LUT_1D_SIZE 2\n0 0 0\n1 1 1").result, 0) << "the shortest rows there are";
}

TEST(CubeLut, AllocationFailuresAreReported) {
  for (int n = 0; n < 2; ++n) {
    FailAllocationForTest(n);
    EXPECT_EQ(Parse("LUT_1D_SIZE 2\nLUT_3D_SIZE 2\n" + Rows(10)).message, "out of memory");
    FailAllocationForTest(-1);
  }
}

}  // namespace
}  // namespace qx
