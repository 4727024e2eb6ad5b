#include "rawzip/lj92.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "base/grow_buffer.h"
#include "rawzip/lj92_scan.h"
#include "samples/lj92_writer.h"
#include "samples/scene.h"

namespace qx {
namespace {

using ByteList = std::vector<uint8_t>;
using Samples = std::vector<uint16_t>;

void Append(ByteList& out, std::initializer_list<ByteList> parts) {
  for (const ByteList& part : parts) out.insert(out.end(), part.begin(), part.end());
}
ByteList Join(std::initializer_list<ByteList> parts) {
  ByteList out;
  Append(out, parts);
  return out;
}

/// Entropy-coded bytes from a text of 0 and 1 (spaces are for the reader), filled up with ones and stuffed.
ByteList Coded(std::string_view text) {
  std::string bits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(bits), [](char c) { return c != ' '; });
  while (bits.size() % 8 != 0) bits += '1';
  ByteList out;
  for (size_t i = 0; i < bits.size(); i += 8) {
    out.push_back(uint8_t(std::stoi(bits.substr(i, 8), nullptr, 2)));
    if (out.back() == 0xFF) out.push_back(0);
  }
  return out;
}

/// The segments of a small stream of one component; tests replace some of them.
struct TinyStream {
  ByteList soi = {0xFF, 0xD8};
  ByteList frame = {0xFF, 0xC3, 0, 11, 4, 0, 2, 0, 3, 1, 7, 0x11, 0};  // P 4, Y 2, X 3, component 7
  // Categories 0 … 3 are the codes 00, 01, 10 and 110.
  ByteList table = {0xFF, 0xC4, 0, 23, 0, 0, 3, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3};
  ByteList restart;
  ByteList scan = {0xFF, 0xDA, 0, 8, 1, 7, 0, 1, 0, 0};
  // Differences 1, 0, −7 and 0, 3, 0.
  ByteList data = Coded("01 1  00  110 000    00  10 11  00");
  ByteList end = {0xFF, 0xD9};

  ByteList Bytes() const { return Join({soi, frame, table, restart, scan, data, end}); }
};

/// Decodes with one build of the row routines.
int DecodeWith(const Lj92RowKernels& kernels, const ByteList& stream, Samples& out) {
  Lj92Header header;
  if (const int result = ParseLj92Header(stream, header); result != kLj92Ok) return result;
  const auto width = int32_t(header.LineSamples()), height = int32_t(header.lines);
  out.assign(size_t(width) * height, 0);
  bool category16ReadsBits = false;
  return DecodeLj92Scan(header, {out.data(), width, width, height}, kernels, category16ReadsBits);
}

int Decode(const ByteList& stream, int32_t width, int32_t height, Samples& out, Lj92Info* info = nullptr) {
  out.assign(size_t(std::max(width, 0)) * std::max(height, 0), 0);
  return lj92_decode(stream, out.data(), width, width, height, info);
}

TEST(Lj92, PredictsAsTheStandardsTable) {
  // First line: 8 (half of 2^4) + 1 = 9, then Ra + 0 = 9 and Ra − 7 = 2. Second line: Rb + 0 = 9; with Ra = Rb = Rc = 9 every predictor
  // gives 9, + 3 = 12; the last has Ra 12, Rb 2, Rc 9 and difference 0.
  const int lastOf[8] = {0, 12, 2, 9, 12 + 2 - 9, 12 + -4, 2 + 1, 7};  // (2 − 9) >> 1 is −4
  for (const Lj92RowKernels* kernels : Lj92RowKernelsForThisProcessor()) {
    for (int predictor = 1; predictor <= 7; ++predictor) {
      SCOPED_TRACE(std::string(kernels->name) + ", predictor " + std::to_string(predictor));
      TinyStream stream;
      stream.scan[7] = uint8_t(predictor);
      Samples out;
      ASSERT_EQ(DecodeWith(*kernels, stream.Bytes(), out), kLj92Ok);
      EXPECT_EQ(out, (Samples{9, 9, 2, 9, 12, uint16_t(lastOf[predictor])}));
    }
  }
}

TEST(Lj92, RestoresWhatWasEncoded) {
  for (const Lj92RowKernels* kernels : Lj92RowKernelsForThisProcessor()) {
    for (int components = 1; components <= 4; ++components) {
      for (int predictor = 1; predictor <= 7; ++predictor) {
        for (const auto& [precision, pointTransform, restartLines, tables] :
             {std::tuple{12, 0, 0, Lj92Tables::kOptimal}, std::tuple{16, 0, 5, Lj92Tables::kOptimalPerComponent},
              std::tuple{10, 2, 1, Lj92Tables::kFixed}, std::tuple{2, 0, 0, Lj92Tables::kOptimal}}) {
          SCOPED_TRACE(testing::Message() << kernels->name << ", " << components << " components, predictor " << predictor << ", "
                                          << precision << " bits, point transform " << pointTransform);
          Lj92Format format{.samplesPerLine = 37, .lines = 23, .components = components, .precision = precision};
          format.predictor = predictor;
          format.pointTransform = pointTransform;
          format.restartLines = restartLines;
          format.tables = tables;
          const int width = format.samplesPerLine * components;
          Samples picture = MakeNoisyMosaic(width, format.lines, std::max(precision, 8), 0, 1, 0);
          if (precision < 8) std::for_each(picture.begin(), picture.end(), [](uint16_t& sample) { sample &= 3; });
          Samples out;
          ASSERT_EQ(DecodeWith(*kernels, WriteLj92(picture.data(), width, format), out), kLj92Ok);
          EXPECT_TRUE(out == Lj92DecodedSamples(picture.data(), width, format));
        }
      }
    }
  }
}

TEST(Lj92, ReadsCodesOfEveryLength) {
  // One code of each length: n ones and a zero mean category n. Differences + 2^(n−1) and − 2^(n−1) in turn.
  TinyStream stream;
  stream.frame = {0xFF, 0xC3, 0, 11, 16, 0, 1, 0, 31, 1, 7, 0x11, 0};
  stream.table = {0xFF, 0xC4, 0, 35, 0, 1, 1, 1, 1, 1, 1, 1, 1,  1,  1,  1,  1,  1, 1,
                  1,    1,    0, 1,  2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  std::string bits = "0";  // the first sample is the middle
  Samples expected = {32768};
  for (int n = 1; n <= 15; ++n) {
    const std::string code = std::string(n, '1') + "0";
    bits += code + "1" + std::string(n - 1, '0') + code + "0" + std::string(n - 1, '1');
    expected.push_back(uint16_t(32768 + (1 << (n - 1))));
    expected.push_back(32768);
  }
  stream.data = Coded(bits);
  for (const Lj92RowKernels* kernels : Lj92RowKernelsForThisProcessor()) {
    Samples out;
    ASSERT_EQ(DecodeWith(*kernels, stream.Bytes(), out), kLj92Ok) << kernels->name;
    EXPECT_EQ(out, expected) << kernels->name;
  }
}

TEST(Lj92, HeaderErrors) {
  const TinyStream good;
  const auto with = [&](ByteList TinyStream::*part, ByteList bytes) {
    TinyStream stream = good;
    stream.*part = std::move(bytes);
    return stream.Bytes();
  };
  const auto changed = [&](ByteList TinyStream::*part, size_t at, uint8_t value) {
    TinyStream stream = good;
    (stream.*part)[at] = value;
    return stream.Bytes();
  };
  const ByteList comment = {0xFF, 0xFE, 0, 4, 0xFF, 0xD9};
  struct Row {
    const char* what;
    ByteList stream;
    int code;
  };
  const Row rows[] = {
      {"whole", good.Bytes(), kLj92Ok},
      {"empty", {}, kLj92Corrupt},
      {"no SOI", changed(&TinyStream::soi, 1, 0xD9), kLj92Corrupt},
      {"fill bytes, stray bytes and markers without length are skipped",
       with(&TinyStream::soi, {0xFF, 0xD8, 0x12, 0xFF, 0xFF, 0xD8, 0xFF, 0x01, 0xFF, 0xD3, 0x00}), kLj92Ok},
      {"comment that holds a marker", with(&TinyStream::restart, comment), kLj92Ok},
      {"EOI before the scan", with(&TinyStream::restart, good.end), kLj92Corrupt},
      {"segment length below 2", with(&TinyStream::restart, {0xFF, 0xFE, 0, 1}), kLj92Corrupt},
      {"segment longer than the data", with(&TinyStream::restart, {0xFF, 0xFE, 0xFF, 0}), kLj92Truncated},
      {"data ends before the scan", Join({good.soi, good.frame}), kLj92Truncated},
      {"data ends in a length", Join({good.soi, good.frame, {0xFF, 0xC4, 0}}), kLj92Truncated},
      {"frame too short", with(&TinyStream::frame, {0xFF, 0xC3, 0, 7, 4, 0, 2, 0, 3}), kLj92Corrupt},
      {"precision 1", changed(&TinyStream::frame, 4, 1), kLj92Corrupt},
      {"precision 17", changed(&TinyStream::frame, 4, 17), kLj92Corrupt},
      {"no samples", changed(&TinyStream::frame, 8, 0), kLj92Corrupt},
      {"no components", changed(&TinyStream::frame, 9, 0), kLj92Corrupt},
      {"five components", changed(&TinyStream::frame, 9, 5), kLj92Corrupt},
      {"more components than entries", changed(&TinyStream::frame, 9, 2), kLj92Corrupt},
      {"height given later", changed(&TinyStream::frame, 6, 0), kLj92Unsupported},
      {"subsampling", changed(&TinyStream::frame, 11, 0x21), kLj92Unsupported},
      {"baseline frame", changed(&TinyStream::frame, 1, 0xC0), kLj92Unsupported},
      {"arithmetic conditioning", with(&TinyStream::restart, {0xFF, 0xCC, 0, 2}), kLj92Unsupported},
      {"DNL", with(&TinyStream::restart, {0xFF, 0xDC, 0, 4, 0, 2}), kLj92Unsupported},
      {"AC table", changed(&TinyStream::table, 4, 0x10), kLj92Corrupt},
      {"table 4", changed(&TinyStream::table, 4, 4), kLj92Corrupt},
      {"more symbols than bytes", changed(&TinyStream::table, 6, 4), kLj92Corrupt},
      {"bytes after the last table", changed(&TinyStream::table, 6, 2), kLj92Corrupt},
      {"three codes of one bit", with(&TinyStream::table, {0xFF, 0xC4, 0, 22, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2}),
       kLj92Corrupt},
      {"category 17", changed(&TinyStream::table, 24, 17), kLj92Corrupt},
      {"restart interval cut", with(&TinyStream::restart, {0xFF, 0xDD, 0, 3, 0}), kLj92Corrupt},
      {"restart in the middle of a line", with(&TinyStream::restart, {0xFF, 0xDD, 0, 4, 0, 4}), kLj92Unsupported},
      {"restart interval beyond the picture", with(&TinyStream::restart, {0xFF, 0xDD, 0, 4, 0, 9}), kLj92Ok},
      {"scan without frame", with(&TinyStream::frame, {}), kLj92Corrupt},
      {"empty scan header", with(&TinyStream::scan, {0xFF, 0xDA, 0, 2}), kLj92Corrupt},
      {"scan of other components", changed(&TinyStream::scan, 4, 2), kLj92Unsupported},
      {"scan header too short", with(&TinyStream::scan, {0xFF, 0xDA, 0, 7, 1, 7, 0, 1, 0}), kLj92Corrupt},
      {"unknown component", changed(&TinyStream::scan, 5, 8), kLj92Unsupported},
      {"table selector above 63", changed(&TinyStream::scan, 6, 64), kLj92Corrupt},
      {"table that does not exist", changed(&TinyStream::scan, 6, 0x10), kLj92Corrupt},
      {"predictor 0", changed(&TinyStream::scan, 7, 0), kLj92Unsupported},
      {"predictor 8", changed(&TinyStream::scan, 7, 8), kLj92Unsupported},
      {"point transform as large as the precision", changed(&TinyStream::scan, 9, 4), kLj92Corrupt},
  };
  for (const Row& row : rows) {
    Samples out;
    EXPECT_EQ(Decode(row.stream, 3, 2, out), row.code) << row.what;
  }
}

TEST(Lj92, LaterTableReplacesAnEarlierOne) {
  TinyStream stream;
  // Before the good one: a table that reads the data in another way.
  stream.restart = stream.table;
  stream.table = {0xFF, 0xC4, 0, 21, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  Samples out;
  ASSERT_EQ(Decode(stream.Bytes(), 3, 2, out), kLj92Ok);
  EXPECT_EQ(out, (Samples{9, 9, 2, 9, 12, 12}));
}

TEST(Lj92, CropsLargerFramesAndRefusesSmallerOnes) {
  struct Row {
    int32_t width, height;
    int code;
    Samples expected;
  };
  const Row rows[] = {
      {3, 2, kLj92Ok, {9, 9, 2, 9, 12, 12}}, {2, 2, kLj92Ok, {9, 9, 9, 12}},    {3, 1, kLj92Ok, {9, 9, 2}}, {0, 0, kLj92Ok, {}},
      {4, 2, kLj92TooSmall, Samples(8)},     {3, 3, kLj92TooSmall, Samples(9)}, {-1, 2, kLj92TooSmall, {}}, {3, -1, kLj92TooSmall, {}}};
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.width << " x " << row.height);
    Samples out;
    EXPECT_EQ(Decode(TinyStream().Bytes(), row.width, row.height, out), row.code);
    EXPECT_EQ(out, row.expected);
  }
}

TEST(Lj92, WritesOnlyTheSamplesOfItsRows) {
  for (const int32_t width : {3, 2}) {  // into the output directly, and through line buffers
    Samples out(12, 777);
    ASSERT_EQ(lj92_decode(TinyStream().Bytes(), out.data(), 5, width, 2, nullptr), kLj92Ok);
    for (const size_t i : {3, 4, 8, 9, 10, 11}) EXPECT_EQ(out[i], 777) << i;
    EXPECT_EQ(out[5], 9);
    EXPECT_EQ(out[6], 12);
  }
}

TEST(Lj92, ReportsWhatTheStreamSays) {
  const Samples picture(6 * 4, 100);
  Lj92Format format{.samplesPerLine = 3, .lines = 4, .components = 2, .precision = 10};
  format.predictor = 6;
  format.pointTransform = 1;
  format.restartLines = 2;
  Lj92Info info;
  Samples out;
  ASSERT_EQ(Decode(WriteLj92(picture.data(), 6, format), 6, 4, out, &info), kLj92Ok);
  EXPECT_EQ(info.samplesPerLine, 3);
  EXPECT_EQ(info.lines, 4);
  EXPECT_EQ(info.components, 2);
  EXPECT_EQ(info.precision, 10);
  EXPECT_EQ(info.predictor, 6);
  EXPECT_EQ(info.pointTransform, 1);
  EXPECT_EQ(info.restartInterval, 6);
  EXPECT_FALSE(info.category16ReadsBits);
}

TEST(Lj92, RestartsAtMarkers) {
  // Predictor 2: without a restart the second line would start from the 9 above.
  const std::string_view firstLine = "01 1  00  110 000", secondLine = "00  10 11  00";
  struct Row {
    const char* what;
    ByteList between;
    int code;
  };
  const Row rows[] = {
      {"RST0", {0xFF, 0xD0}, kLj92Ok},
      {"RST7, the number is not checked", {0xFF, 0xD7}, kLj92Ok},
      {"bytes before the marker and fill bytes", {0x12, 0xFF, 0x00, 0x34, 0xFF, 0xFF, 0xD0}, kLj92Ok},
      {"another marker", {0xFF, 0xD9}, kLj92Corrupt},
      {"a comment", {0xFF, 0xFE}, kLj92Corrupt},
  };
  for (const Row& row : rows) {
    TinyStream stream;
    stream.restart = {0xFF, 0xDD, 0, 4, 0, 3};
    stream.scan[7] = 2;
    stream.data = Join({Coded(firstLine), row.between, Coded(secondLine)});
    Samples out;
    ASSERT_EQ(Decode(stream.Bytes(), 3, 2, out), row.code) << row.what;
    if (row.code != kLj92Ok) continue;
    EXPECT_EQ(out, (Samples{9, 9, 2, 8, 11, 11})) << row.what;
  }
  TinyStream stream;
  stream.restart = {0xFF, 0xDD, 0, 4, 0, 3};
  stream.end.clear();
  Samples out;
  EXPECT_EQ(Decode(stream.Bytes(), 3, 2, out), kLj92Truncated) << "no marker up to the end of the data";
}

TEST(Lj92, DataThatEndsEarlyIsTruncated) {
  Lj92Format format{.samplesPerLine = 40, .lines = 30, .components = 2, .precision = 12};
  const Samples picture = MakeNoisyMosaic(80, 30, 12, 64, 1, 0);
  const ByteList whole = WriteLj92(picture.data(), 80, format);
  Samples out;
  ASSERT_EQ(Decode(whole, 80, 30, out), kLj92Ok);
  EXPECT_EQ(Decode(ByteList(whole.begin(), whole.end() - 2), 80, 30, out), kLj92Ok) << "EOI is not needed";
  for (size_t size = 4; size < whole.size() - 2; ++size) {
    ASSERT_EQ(Decode(ByteList(whole.begin(), whole.begin() + ptrdiff_t(size)), 80, 30, out), kLj92Truncated) << size;
  }
  // A marker ends the data as well.
  ByteList marked = whole;
  marked[marked.size() / 2] = 0xFF;
  marked[marked.size() / 2 + 1] = 0xD9;
  EXPECT_EQ(Decode(marked, 80, 30, out), kLj92Truncated);
}

TEST(Lj92, HugeFrameOfFewBytesEndsAtItsFirstLine) {
  TinyStream stream;
  stream.frame = {0xFF, 0xC3, 0, 20, 4, 0xFF, 0xFF, 0xFF, 0xFF, 4, 1, 0x11, 0, 2, 0x11, 0, 3, 0x11, 0, 4, 0x11, 0};
  stream.scan = {0xFF, 0xDA, 0, 14, 4, 1, 0, 2, 0, 3, 0, 4, 0, 1, 0, 0};
  stream.data = Coded("00 00 00 00 00 00 00 00");
  Samples out;
  EXPECT_EQ(Decode(stream.Bytes(), 3, 2, out), kLj92Truncated);
}

TEST(Lj92, CodeThatMatchesNoSymbolIsCorrupt) {
  for (const std::string_view bits : {"111", "01 1 00 110 000 00 111"}) {
    TinyStream stream;
    stream.data = Coded(bits);
    Samples out;
    EXPECT_EQ(Decode(stream.Bytes(), 3, 2, out), kLj92Corrupt) << bits;
  }
}

/// Category 16 is the code 0 and category 0 the code 10; with `repeat`, 110 is category 0 too.
TinyStream Category16Stream(bool repeat, std::string_view bits) {
  TinyStream stream;
  stream.frame = {0xFF, 0xC3, 0, 11, 16, 0, 1, 0, 3, 1, 7, 0x11, 0};
  stream.table = {0xFF, 0xC4, 0, uint8_t(repeat ? 22 : 21), 0, 1, 1, uint8_t(repeat), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 0};
  if (repeat) stream.table.push_back(0);
  stream.data = Coded(bits);
  return stream;
}

TEST(Lj92, ChoosesTheReadingOfCategory16ThatFitsTheData) {
  struct Row {
    const char* what;
    bool repeat;
    const char* bits;
    int code;
    bool readsBits;
    Samples expected;
  };
  const Row rows[] = {
      {"standard", false, "0 10 0", kLj92Ok, false, {0, 0, 32768}},
      {"standard although a symbol is repeated: the other reading runs out of data", true, "0 10 0", kLj92Ok, false, {0, 0, 32768}},
      {"16 bits, announced", true, "0 1000000000000001 10 0 1000000000000010", kLj92Ok, true, {1, 1, 32771}},
      {"16 bits, found because the standard reading leaves bytes",
       false,
       "0 1000000000000001 10 0 1000000000000010",
       kLj92Ok,
       true,
       {1, 1, 32771}},
      {"neither ends cleanly: the first stands, decoded again",
       false,
       "0 1000000000000001 10 10 11111111 11111111",
       kLj92Ok,
       false,
       {0, 0, 32768}},
      {"the first reading fails, the other one leaves bytes",
       false,
       "0 1100000000000001 10 0 1000000000000010 11111111 11111111",
       kLj92Ok,
       true,
       {16385, 16385, 49155}},
      {"both fail: the first code stands", false, "0 11", kLj92Corrupt, false, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    Samples out;
    Lj92Info info;
    ASSERT_EQ(Decode(Category16Stream(row.repeat, row.bits).Bytes(), 3, 1, out, &info), row.code);
    EXPECT_EQ(info.category16ReadsBits, row.readsBits);
    if (row.code == kLj92Ok) {
      EXPECT_EQ(out, row.expected);
    }
  }
}

TEST(Lj92, ReportsFailedAllocations) {
  for (const int32_t width : {3, 2}) {
    for (int n = 0; n < (width == 3 ? 1 : 2); ++n) {
      Samples out;
      FailAllocationForTest(n);
      EXPECT_EQ(Decode(TinyStream().Bytes(), width, 2, out), kLj92OutOfMemory) << "width " << width << ", allocation " << n;
    }
  }
  FailAllocationForTest(-1);
}

TEST(Lj92, TextsOfCodes) {
  const char* const texts[] = {"no error",
                               "LJ92: corrupt data",
                               "LJ92: data truncated",
                               "LJ92: variant not supported",
                               "LJ92: out of memory",
                               "LJ92: JPEG frame smaller than the DNG frame",
                               "LJ92: error"};
  for (int code = 0; code > -7; --code) EXPECT_STREQ(lj92_error_text(code), texts[-code]);
  EXPECT_STREQ(lj92_error_text(1), "LJ92: error");
}

}  // namespace
}  // namespace qx
