#include "rawzip/zip_reader.h"

#include <gtest/gtest.h>

#include "samples/zip_writer.h"
#include "tests/rawzip/zip_test_support.h"

namespace qx {
namespace {

constexpr size_t kEndRecordSize = 22;

ByteVector FromHex(std::string_view hex) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  ByteVector bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) bytes.push_back(uint8_t(digit(hex[i]) << 4 | digit(hex[i + 1])));
  return bytes;
}

std::string ReadText(ZipArchive* archive, int32_t index) {
  ZipReadScratch scratch;
  ByteVector out(archive->entries[size_t(index)].uncompressedSize);
  const int64_t size = zip_read_entry(archive, index, out.data(), out.size(), &scratch);
  return size < 0 ? zip_result_text(size) : std::string(out.begin(), out.end());
}

TEST(ZipReader, ReadsAnArchiveOfAnotherTool) {
  // Python 3.11 zipfile: "a.txt" stored, "d/b.txt" deflated, archive comment.
  const ByteVector bytes = FromHex(
      "504b0304140000000000000021000bf94356060000000600000005000000612e74787473746f726564504b030414000000080000002100353b2bf90e"
      "0000002d00000007000000642f622e7478744b494dcb492c494d514821820100504b01021403140000000000000021000bf943560600000006000000"
      "050000000000000000000000800100000000612e747874504b0102140314000000080000002100353b2bf90e0000002d000000070000000000000000"
      "000000800129000000642f622e747874504b05060000000002000200680000005c00000007004650533a203234");
  OpenedZip zip(bytes);
  ASSERT_EQ(zip.result, 0);
  EXPECT_EQ(zip.message, "");
  EXPECT_EQ(zip.archive.fileSize, 225u);
  EXPECT_EQ(zip.archive.comment, "FPS: 24");
  EXPECT_EQ(zip.archive.directoryOffset, 92u);
  EXPECT_EQ(zip.archive.compressedCount, 1);
  EXPECT_FALSE(zip.archive.recovered);
  EXPECT_FALSE(zip.archive.zip64);
  ASSERT_EQ(zip.Names(), (std::vector<std::string>{"a.txt", "d/b.txt"}));
  const ZipEntry& second = zip.archive.entries[1];
  EXPECT_EQ(second.method, 8);
  EXPECT_EQ(second.crc32, 0xf92b3b35u);
  EXPECT_EQ(second.compressedSize, 14u);
  EXPECT_EQ(second.uncompressedSize, 45u);
  EXPECT_EQ(second.localHeaderOffset, 41u);
  EXPECT_EQ(second.dataOffset, 0u);
  EXPECT_EQ(zip_entry_data_offset(&zip.archive, 1), 78u);
  EXPECT_EQ(second.dataOffset, 78u);
  EXPECT_EQ(ReadText(&zip.archive, 0), "stored");
  EXPECT_EQ(ReadText(&zip.archive, 1), "deflated deflated deflated deflated deflated ");
}

TEST(ZipReader, ReadsEveryMethodAndHeaderForm) {
  const ByteVector data = Noise(3000, 1);
  for (const ZipMethod method : {ZipMethod::kStore, ZipMethod::kDeflate, ZipMethod::kZstd}) {
    for (const ZipDescriptor descriptor : {ZipDescriptor::kNone, ZipDescriptor::kSigned, ZipDescriptor::kUnsigned}) {
      for (const bool zip64 : {false, true}) {
        SCOPED_TRACE(testing::Message() << zip_method_name(uint16_t(method)) << " descriptor " << int(descriptor) << " zip64 " << zip64);
        ByteVector bytes;
        ZipWriter writer(ZipSinkTo(&bytes));
        const ZipMemberOptions options{.method = method, .descriptor = descriptor, .localSizes = ZipLocalSizes::kNone, .forceZip64 = zip64};
        writer.Add("empty \xFF name", {}, options);
        writer.Add("x", data, options);
        ASSERT_TRUE(writer.Finish({.forceZip64 = zip64}));
        OpenedZip zip(bytes);
        ASSERT_EQ(zip.result, 0);
        EXPECT_EQ(zip.archive.zip64, zip64);
        EXPECT_EQ(zip.archive.compressedCount, method == ZipMethod::kStore ? 0 : 2);
        ASSERT_EQ(zip.Names(), (std::vector<std::string>{"empty \xFF name", "x"}));
        EXPECT_EQ(ReadText(&zip.archive, 0), "");
        EXPECT_EQ(ReadText(&zip.archive, 1), std::string(data.begin(), data.end()));
      }
    }
  }
}

TEST(ZipReader, TakesAnEndRecordOnlyWhenItsCommentReachesTheEnd) {
  const ByteVector plain = TwoMembers();
  const ByteVector commented = TwoMembers("twelve bytes");
  const ByteVector nested = TwoMembers(std::string_view("PK\5\6, 18 bytes more \x12\0", 22));
  struct Row {
    const char* what;
    ByteVector bytes;
    bool recovered;
    size_t commentSize;
  };
  const auto changed = [](ByteVector bytes, int by) {
    bytes[kTwoEnd + 20] = uint8_t(bytes[kTwoEnd + 20] + by);
    return bytes;
  };
  const auto extended = [](ByteVector bytes) {
    bytes.push_back(0);
    return bytes;
  };
  for (const Row& row :
       {Row{"no comment", plain, false, 0}, Row{"comment", commented, false, 12}, Row{"one too long", changed(commented, 1), true, 0},
        Row{"one too short", changed(commented, -1), true, 0}, Row{"a byte behind", extended(plain), true, 0},
        Row{"longest comment", TwoMembers(std::string(65535, 'c')), false, 65535},
        Row{"signature inside the comment", nested, false, 22}}) {
    SCOPED_TRACE(row.what);
    const OpenedZip zip(row.bytes);
    EXPECT_EQ(zip.result, 0);
    EXPECT_EQ(zip.message, "");
    EXPECT_EQ(zip.archive.recovered, row.recovered);
    EXPECT_EQ(zip.archive.comment.size(), row.commentSize);
    EXPECT_EQ(zip.archive.directoryOffset, kTwoDirectory);
    EXPECT_EQ(zip.Names(), (std::vector<std::string>{"a", "b"}));
  }
}

TEST(ZipReader, RefusesWhatIsNoArchive) {
  ByteVector headless = TwoMembers();
  headless.erase(headless.begin());
  headless.resize(60);
  for (const auto& [bytes, expected] :
       {std::pair{ByteVector{}, "file too small (0 bytes)"}, std::pair{ByteVector(29), "file too small (29 bytes)"},
        std::pair{ByteVector(30), "not ZIP or no whole record"}, std::pair{Noise(70000, 3), "not ZIP or no whole record"},
        std::pair{headless, "not ZIP or no whole record"}}) {
    const OpenedZip zip(bytes);
    EXPECT_EQ(zip.result, -1);
    EXPECT_EQ(zip.message, expected);
    EXPECT_TRUE(zip.archive.entries.empty());
  }
}

TEST(ZipReader, ReportsADirectoryThatDoesNotHold) {
  struct Row {
    const char* what;
    size_t at;
    ByteVector patch;
    const char* message;
    size_t entries;
    bool recovered;
  };
  const size_t count = kTwoEnd + 10, size = kTwoEnd + 12, offset = kTwoEnd + 16;
  for (const Row& row :
       {Row{"more declared", count, {3, 0}, "the directory has 2 records of 3 declared", 2, false},
        Row{"fewer declared", count, {1, 0}, "the directory has 2 records of 1 declared", 2, false},
        Row{"second record has another signature",
            kTwoDirectory + kTwoRecord,
            {'Q'},
            "the directory has 1 records of 2 declared",
            1,
            false},
        Row{"second record runs past the directory",
            kTwoDirectory + kTwoRecord + 32,
            {1},
            "the directory has 1 records of 2 declared",
            1,
            false},
        Row{"first record has another signature", kTwoDirectory, {'Q'}, "the directory has 0 records of 2 declared", 2, true},
        Row{"directory of no bytes", size, {0, 0, 0, 0}, "the directory has 0 records of 2 declared", 2, true},
        Row{"directory ends inside the end record", size, {94 + kEndRecordSize, 0, 0, 0}, "", 2, false},
        Row{"directory ends past the file",
            size,
            {95 + kEndRecordSize, 0, 0, 0},
            "central directory outside the file (72+117 > 188)",
            2,
            true},
        Row{"directory begins past the file",
            offset,
            {0xFF, 0xFF, 0xFF, 0xFF},
            "central directory outside the file (4294967295+94 > 188)",
            2,
            true}}) {
    SCOPED_TRACE(row.what);
    ByteVector bytes = TwoMembers();
    Overwrite(&bytes, row.at, row.patch);
    const OpenedZip zip(bytes);
    EXPECT_EQ(zip.result, 0);
    EXPECT_EQ(zip.message, row.message);
    EXPECT_EQ(zip.archive.entries.size(), row.entries);
    EXPECT_EQ(zip.archive.recovered, row.recovered);
    EXPECT_EQ(zip.archive.directoryOffset, kTwoDirectory);  // a walk stops there too
  }
}

TEST(ZipReader, KeepsThe32BitValuesWhenTheZip64RecordIsUnusable) {
  ByteVector good;
  ZipWriter writer(ZipSinkTo(&good));
  writer.Add("a", BytesOf("first"));
  const size_t record = size_t(writer.offset()) + 47;  // behind the directory
  ASSERT_TRUE(writer.Finish({.forceZip64 = true}));
  const size_t locator = record + 56;
  struct Row {
    const char* what;
    size_t at;
    ByteVector patch;
    bool zip64;
    const char* message;
  };
  for (const Row& row :
       {Row{"sound", record, {'P'}, true, ""}, Row{"another count", record + 32, {7}, true, "the directory has 1 records of 7 declared"},
        Row{"locator without signature", locator, {'Q'}, false, ""}, Row{"record without signature", record, {'Q'}, false, ""},
        Row{"record past the end", locator + 8, LittleEndian({{good.size() - 55, 8}}), false, ""},
        Row{"record at 2^64 - 1", locator + 8, LittleEndian({{UINT64_MAX, 8}}), false, ""}}) {
    SCOPED_TRACE(row.what);
    ByteVector bytes = good;
    Overwrite(&bytes, row.at, row.patch);
    const OpenedZip zip(bytes);
    EXPECT_EQ(zip.result, 0);
    EXPECT_EQ(zip.message, row.message);
    EXPECT_EQ(zip.archive.zip64, row.zip64);
    EXPECT_FALSE(zip.archive.recovered);
    EXPECT_EQ(zip.archive.entries.size(), 1u);
  }
}

// A directory record in front of an end record: the archive has no members, only what its directory says.
ByteVector DirectoryOnly(uint32_t uncompressed, uint32_t compressed, uint32_t offset, const ByteVector& extra) {
  ByteVector bytes = LittleEndian({{0x02014b50, 4},
                                   {20, 2},
                                   {20, 2},
                                   {0, 2},
                                   {0, 2},
                                   {0, 4},
                                   {0, 4},
                                   {compressed, 4},
                                   {uncompressed, 4},
                                   {1, 2},
                                   {extra.size(), 2},
                                   {0, 2},
                                   {0, 2},
                                   {0, 2},
                                   {0, 4},
                                   {offset, 4},
                                   {'n', 1}});
  Append(&bytes, extra);
  const size_t size = bytes.size();
  Append(&bytes, LittleEndian({{0x06054b50, 4}, {0, 4}, {1, 2}, {1, 2}, {size, 4}, {0, 4}, {0, 2}}));
  return bytes;
}

TEST(ZipReader, TakesFrom64BitExtraFieldOnlyWhatTheRecordLacks) {
  constexpr uint32_t kLacks = 0xFFFFFFFF;
  const uint64_t u = 0x100000001, c = 0x200000002, o = 0x300000003;
  struct Row {
    const char* what;
    uint32_t uncompressed, compressed, offset;
    ByteVector extra;
    uint64_t expectedUncompressed, expectedCompressed, expectedOffset;
  };
  for (const Row& row :
       {Row{"all three", kLacks, kLacks, kLacks, LittleEndian({{1, 2}, {24, 2}, {u, 8}, {c, 8}, {o, 8}}), u, c, o},
        Row{"offset alone", 5, 6, kLacks, LittleEndian({{1, 2}, {8, 2}, {o, 8}}), 5, 6, o},
        Row{"compressed size and offset", 5, kLacks, kLacks, LittleEndian({{1, 2}, {16, 2}, {c, 8}, {o, 8}}), 5, c, o},
        Row{"nothing lacking", 5, 6, 7, LittleEndian({{1, 2}, {24, 2}, {u, 8}, {c, 8}, {o, 8}}), 5, 6, 7},
        Row{"behind other items", kLacks, 6, 7, LittleEndian({{0x5455, 2}, {1, 2}, {9, 1}, {1, 2}, {8, 2}, {u, 8}}), u, 6, 7},
        Row{"second item of the id", kLacks, kLacks, 7, LittleEndian({{1, 2}, {8, 2}, {u, 8}, {1, 2}, {8, 2}, {c, 8}}), u, kLacks, 7},
        Row{"item too short", kLacks, kLacks, 7, LittleEndian({{1, 2}, {15, 2}, {u, 8}, {c, 7}}), u, kLacks, 7},
        Row{"item of no value", kLacks, 6, 7, LittleEndian({{1, 2}, {7, 2}, {u, 7}}), kLacks, 6, 7},
        Row{"item past the extra field", kLacks, 6, 7, LittleEndian({{1, 2}, {9, 2}, {u, 8}}), kLacks, 6, 7}}) {
    SCOPED_TRACE(row.what);
    const ByteVector bytes = DirectoryOnly(row.uncompressed, row.compressed, row.offset, row.extra);
    const OpenedZip zip(bytes);
    ASSERT_EQ(zip.result, 0);
    EXPECT_EQ(zip.message, "");
    ASSERT_EQ(zip.archive.entries.size(), 1u);
    EXPECT_EQ(zip.archive.entries[0].uncompressedSize, row.expectedUncompressed);
    EXPECT_EQ(zip.archive.entries[0].compressedSize, row.expectedCompressed);
    EXPECT_EQ(zip.archive.entries[0].localHeaderOffset, row.expectedOffset);
  }
}

TEST(ZipReader, ReadsPast4GiB) {
  // A member at 5 GiB, its directory record (46 bytes, a name of one, a ZIP64 item of 12) at 6 GiB, the ZIP64 end records behind it.
  constexpr uint64_t kMember = uint64_t(5) << 30, kDirectory = uint64_t(6) << 30;
  const ByteVector member = LittleEndian({{0x04034b50, 4}, {0, 6}, {0, 8}, {5, 4}, {5, 4}, {1, 2}, {0, 2}, {'n', 1}, {0x6f6c6c6568, 5}});
  const ByteVector tail = LittleEndian({{0x02014b50, 4}, {0, 8},          {0, 8},          {5, 4},       {5, 4},
                                        {1, 2},          {12, 2},         {0, 8},          {0, 2},       {0xFFFFFFFF, 4},
                                        {'n', 1},        {1, 2},          {8, 2},          {kMember, 8}, {0x06064b50, 4},
                                        {44, 8},         {0, 8},          {0, 4},          {1, 8},       {1, 8},
                                        {59, 8},         {kDirectory, 8}, {0x07064b50, 4}, {0, 4},       {kDirectory + 59, 8},
                                        {1, 4},          {0x06054b50, 4}, {0, 4},          {0xFFFF, 2},  {0xFFFF, 2},
                                        {0xFFFFFFFF, 4}, {0xFFFFFFFF, 4}, {0, 2}});
  const SparseSource file(kDirectory + tail.size(), {{kMember, member}, {kDirectory, tail}});
  OpenedZip zip(file);
  ASSERT_EQ(zip.result, 0);
  EXPECT_EQ(zip.message, "");
  EXPECT_TRUE(zip.archive.zip64);
  EXPECT_EQ(zip.archive.directoryOffset, kDirectory);
  ASSERT_EQ(zip.archive.entries.size(), 1u);
  EXPECT_EQ(zip_entry_data_offset(&zip.archive, 0), kMember + 31);
  EXPECT_EQ(ReadText(&zip.archive, 0), "hello");
}

TEST(ZipReader, RefusesADirectoryAbove2GiB) {
  constexpr uint64_t kSize = uint64_t(3) << 30;
  const ByteVector end = LittleEndian({{0x06054b50, 4}, {0, 4}, {1, 2}, {1, 2}, {0x80000001, 4}, {64, 4}, {0, 2}});
  const ByteVector member = LittleEndian({{0x04034b50, 4}, {0, 6}, {0, 8}, {5, 4}, {5, 4}, {1, 2}, {0, 2}, {'n', 1}, {0x6f6c6c6568, 5}});
  const SparseSource file(kSize, {{0, member}, {kSize - end.size(), end}});
  const OpenedZip zip(file);
  EXPECT_EQ(zip.result, 0);
  EXPECT_EQ(zip.message, "central directory outside the file (64+2147483649 > 3221225472)");
  EXPECT_TRUE(zip.archive.recovered);
}

TEST(ZipReader, ReportsShortMemory) {
  ByteVector bytes;
  ZipWriter writer(ZipSinkTo(&bytes));
  writer.Add("a", BytesOf("first"), {.method = ZipMethod::kDeflate});
  writer.Finish();
  const MemorySource file(bytes);

  FailAllocationForTest(0);  // the tail
  EXPECT_EQ(OpenedZip(file).message, "error reading the end of the file");
  FailAllocationForTest(1);  // the directory: the walk takes over, without a message
  const OpenedZip walked(file);
  EXPECT_EQ(walked.result, 0);
  EXPECT_EQ(walked.message, "");
  EXPECT_TRUE(walked.archive.recovered);
  EXPECT_EQ(walked.archive.compressedCount, 1);
  const ByteVector noDirectory(bytes.begin(), bytes.end() - 10);
  FailAllocationForTest(1);  // the walk's buffer
  EXPECT_EQ(OpenedZip(MemorySource(noDirectory)).message, "not ZIP or no whole record");

  OpenedZip zip(file);
  ZipReadScratch scratch;
  uint8_t out[5];
  FailAllocationForTest(0);
  EXPECT_EQ(zip_read_entry(&zip.archive, 0, out, sizeof(out), &scratch), kZipOutOfMemory);
  EXPECT_EQ(zip_read_entry(&zip.archive, 0, out, sizeof(out), &scratch), 5);
  FailAllocationForTest(-1);
}

TEST(ZipReader, ClosesCompletely) {
  const ByteVector bytes = TwoMembers("comment");
  const MemorySource file(bytes);
  OpenedZip zip(file);
  zip_close(&zip.archive);
  EXPECT_EQ(zip.archive.file, nullptr);
  EXPECT_TRUE(zip.archive.entries.empty());
  EXPECT_TRUE(zip.archive.comment.empty());
  EXPECT_EQ(zip_entry_data_offset(&zip.archive, 0), 0u);
}

TEST(ZipReader, NamesResultsAndMethods) {
  for (const auto& [code, text] : {std::pair{0, "OK"}, std::pair{-1, "record not read completely"},
                                   std::pair{-2, "ZIP compression method not supported (only STORE, DEFLATE, ZSTD)"},
                                   std::pair{-3, "compressed record data is corrupt"}, std::pair{-4, "record size does not match"},
                                   std::pair{-5, "out of memory"}, std::pair{-6, "?"}, std::pair{1, "?"}}) {
    EXPECT_STREQ(zip_result_text(code), text);
  }
  for (const auto& [method, name] : {std::pair{0, "STORE"}, std::pair{8, "DEFLATE"}, std::pair{12, "BZIP2"}, std::pair{14, "LZMA"},
                                     std::pair{93, "ZSTD"}, std::pair{9, "?"}, std::pair{65535, "?"}}) {
    EXPECT_STREQ(zip_method_name(uint16_t(method)), name);
  }
}

TEST(ZipReader, FindsTheZip64LocatorBeforeTheLongestComment) {
  const ByteVector bytes = TwoMembers(std::string(65535, 'c'), true);
  const OpenedZip zip(bytes);
  EXPECT_TRUE(zip.archive.zip64);
  EXPECT_FALSE(zip.archive.recovered);
}

}  // namespace
}  // namespace qx
