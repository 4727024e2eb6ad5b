// Members as they are read out of an archive.
#include <gtest/gtest.h>

#include "rawzip/zip_reader.h"
#include "samples/zip_writer.h"
#include "tests/rawzip/zip_test_support.h"

namespace qx {
namespace {

TEST(ZipMember, TellsWhyAMemberCannotBeRead) {
  // DEFLATE (RFC 1951): 01 05 00 FA FF + 5 bytes is one stored block. ZSTD (RFC 8878): magic, descriptor 20 (single segment), size 5,
  // header of a last raw block of 5 bytes (5 << 3 | 1), 5 bytes.
  const ByteVector deflated = {0x01, 0x05, 0x00, 0xFA, 0xFF, 'h', 'e', 'l', 'l', 'o'};
  const ByteVector zstd = {0x28, 0xB5, 0x2F, 0xFD, 0x20, 0x05, 0x29, 0x00, 0x00, 'h', 'e', 'l', 'l', 'o'};
  const ByteVector reservedBlock = {0x07};  // DEFLATE block type 3
  struct Row {
    const char* what;
    uint16_t method;
    const ByteVector& data;
    uint64_t uncompressedSize;
    uint64_t capacity;
    int64_t expected;
  };
  for (const Row& row :
       {Row{"DEFLATE", 8, deflated, 5, 5, 5}, Row{"ZSTD", 93, zstd, 5, 9, 5},
        Row{"STORE of another size", 0, deflated, 9, 20, kZipSizeMismatch},
        Row{"destination too small", 0, deflated, 10, 9, kZipSizeMismatch},
        Row{"DEFLATE gives a byte more", 8, deflated, 4, 20, kZipSizeMismatch},
        Row{"DEFLATE gives a byte less", 8, deflated, 6, 20, kZipSizeMismatch},
        Row{"DEFLATE garbage", 8, reservedBlock, 5, 20, kZipCorrupt}, Row{"ZSTD gives a byte more", 93, zstd, 4, 20, kZipSizeMismatch},
        Row{"ZSTD gives a byte less", 93, zstd, 6, 20, kZipSizeMismatch}, Row{"ZSTD garbage", 93, deflated, 5, 20, kZipCorrupt},
        Row{"LZMA", 14, deflated, 5, 20, kZipUnsupportedMethod}, Row{"LZMA into too little", 14, deflated, 5, 4, kZipSizeMismatch}}) {
    SCOPED_TRACE(row.what);
    ByteVector bytes;
    ZipWriter writer(ZipSinkTo(&bytes));
    writer.AddRaw("m", {row.method, row.data, row.uncompressedSize, 0});
    writer.Finish();
    OpenedZip zip(bytes);
    ASSERT_EQ(zip.result, 0);
    ByteVector out(row.capacity);
    ZipReadScratch scratch;
    EXPECT_EQ(zip_read_entry(&zip.archive, 0, out.data(), out.size(), &scratch), row.expected);
    if (row.expected >= 0) {
      EXPECT_EQ(std::string(out.begin(), out.begin() + 5), "hello");
    }
    const bool wasRead = row.method != 14 && row.capacity >= row.uncompressedSize && row.method != 0;
    EXPECT_EQ(scratch.bytesRead, wasRead ? row.data.size() : 0);
  }
}

TEST(ZipMember, ChecksTheLocalHeaderOfAMember) {
  struct Row {
    const char* what;
    size_t at;
    ByteVector patch;
    uint64_t dataOffset;  // of member 1, whose header is at 36 and whose data begin at 67
  };
  const size_t record = kTwoDirectory + kTwoRecord;
  for (const Row& row :
       {Row{"sound", 36, {'P'}, 67}, Row{"another signature", 36, {'Q'}, 0},
        Row{"longer name than the directory says", 36 + 26, {4, 0}, 70}, Row{"extra field that the directory lacks", 36 + 28, {9, 0}, 76},
        Row{"data end with the file", record + 20, LittleEndian({{188 - 67, 4}}), 67},
        Row{"data end past the file", record + 20, LittleEndian({{188 - 66, 4}}), 0},
        Row{"header cut off by the end of the file", record + 42, LittleEndian({{188 - 29, 4}}), 0},
        Row{"header past the file", record + 42, LittleEndian({{0xFFFFFFFF, 4}}), 0}}) {
    SCOPED_TRACE(row.what);
    ByteVector bytes = TwoMembers();
    Overwrite(&bytes, row.at, row.patch);
    OpenedZip zip(bytes);
    ASSERT_EQ(zip.archive.entries.size(), 2u);
    EXPECT_EQ(zip_entry_data_offset(&zip.archive, 1), row.dataOffset);
    EXPECT_EQ(zip.archive.entries[1].dataOffset, row.dataOffset);
    ZipReadScratch scratch;
    uint8_t out[8];
    if (row.dataOffset == 0) {
      EXPECT_EQ(zip_read_entry(&zip.archive, 1, out, sizeof(out), &scratch), kZipReadFailed);
    }
    for (const int32_t outside : {-1, 2, INT32_MIN, INT32_MAX}) {
      EXPECT_EQ(zip_entry_data_offset(&zip.archive, outside), 0u);
      EXPECT_EQ(zip_read_entry(&zip.archive, outside, out, sizeof(out), &scratch), kZipReadFailed);
    }
  }
}

TEST(ZipMember, SurvivesAFileThatStopsGivingBytes) {
  // Longer than the tail that is read first, so that only the end of the file is out of reach of the failure.
  ByteVector bytes;
  ZipWriter writer(ZipSinkTo(&bytes));
  writer.Add("a", BytesOf("first"));
  writer.Add("b", Noise(100000, 5));
  writer.Finish();

  EXPECT_EQ(OpenedZip(FlakySource(bytes, bytes.size() - 1)).message, "error reading the end of the file");
  EXPECT_EQ(OpenedZip(FlakySource(bytes, 0)).result, -1);

  const MemorySource whole(bytes);
  OpenedZip zip(whole);
  const FlakySource cut(bytes, 50000);
  zip.archive.file = &cut;
  ZipReadScratch scratch;
  ByteVector out(100000);
  EXPECT_EQ(zip_read_entry(&zip.archive, 1, out.data(), out.size(), &scratch), kZipReadFailed);
  EXPECT_EQ(scratch.bytesRead, 50000u - zip.archive.entries[1].dataOffset);
  EXPECT_EQ(zip_read_entry(&zip.archive, 0, out.data(), out.size(), &scratch), 5);
}

TEST(ZipMember, ReusesItsScratch) {
  ByteVector bytes;
  ZipWriter writer(ZipSinkTo(&bytes));
  for (const ZipMethod method : {ZipMethod::kDeflate, ZipMethod::kZstd}) {
    writer.Add("frame 1", Noise(10000, 1), {.method = method});
    writer.Add("frame 2, a little larger", Noise(10500, 2), {.method = method});
  }
  writer.Finish();
  OpenedZip zip(bytes);
  ZipReadScratch scratch;
  ByteVector out(10500);
  ASSERT_EQ(zip_read_entry(&zip.archive, 0, out.data(), out.size(), &scratch), 10000);
  const uint8_t* const buffer = scratch.buffer.data();
  for (int i = 1; i < 4; ++i) ASSERT_GT(zip_read_entry(&zip.archive, i, out.data(), out.size(), &scratch), 0);
  EXPECT_EQ(scratch.buffer.data(), buffer);
  EXPECT_EQ(out, Noise(10500, 2));

  zip_scratch_free(&scratch);
  EXPECT_EQ(scratch.buffer.capacity(), 0u);
  EXPECT_EQ(scratch.zstdContext, nullptr);
  EXPECT_EQ(scratch.deflateContext, nullptr);
  EXPECT_EQ(zip_read_entry(&zip.archive, 3, out.data(), out.size(), &scratch), 10500);
}

}  // namespace
}  // namespace qx
