// Archives without a usable directory: cut-off recordings, unknown sizes, and files made to cost the reader time.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "rawzip/zip_reader.h"
#include "samples/zip_writer.h"
#include "tests/rawzip/zip_test_support.h"

namespace qx {
namespace {

constexpr ZipMemberOptions kUnsizedDeflate{
    .method = ZipMethod::kDeflate, .descriptor = ZipDescriptor::kSigned, .localSizes = ZipLocalSizes::kUncompressedOnly};

std::string Name(int i) {
  return "frame " + std::to_string(i);
}

ByteVector ReadMember(ZipArchive* archive, int32_t index) {
  ZipReadScratch scratch;
  ByteVector out(archive->entries[size_t(index)].uncompressedSize);
  EXPECT_EQ(zip_read_entry(archive, index, out.data(), out.size(), &scratch), int64_t(out.size()));
  return out;
}

// A data descriptor with its signature.
ByteVector Descriptor(uint32_t crc, uint64_t compressed, uint64_t uncompressed, bool zip64) {
  const int width = zip64 ? 8 : 4;
  return LittleEndian({{0x08074b50, 4}, {crc, 4}, {compressed, width}, {uncompressed, width}});
}

TEST(ZipRecovery, RebuildsEveryFormThatPhonesWrite) {
  struct Row {
    const char* what;
    ZipMemberOptions options;
    size_t found;  // of three members
    bool crcIsKnown;
  };
  using M = ZipMethod;
  using D = ZipDescriptor;
  using S = ZipLocalSizes;
  for (const Row& row : {
           Row{"STORE", {}, 3, true},
           Row{"ZIP64 STORE", {.forceZip64 = true}, 3, true},
           Row{"ZSTD", {.method = M::kZstd}, 3, true},
           Row{"STORE, size given once", {.descriptor = D::kSigned, .localSizes = S::kUncompressedOnly}, 3, true},
           Row{"DEFLATE, sizes given", {.method = M::kDeflate, .descriptor = D::kSigned}, 3, true},
           Row{"the same without signature: its CRC is not looked for", {.method = M::kDeflate, .descriptor = D::kUnsigned}, 3, false},
           Row{"ZIP64, sizes given, without signature", {.descriptor = D::kUnsigned, .forceZip64 = true}, 3, false},
           Row{"DEFLATE, size unknown", kUnsizedDeflate, 3, true},
           Row{"ZIP64 DEFLATE, size unknown",
               {.method = M::kDeflate, .descriptor = D::kSigned, .localSizes = S::kUncompressedOnly, .forceZip64 = true},
               3,
               true},
           Row{"ZSTD, size unknown", {.method = M::kZstd, .descriptor = D::kSigned, .localSizes = S::kUncompressedOnly}, 3, true},
           Row{"ZIP64 ZSTD, size unknown",
               {.method = M::kZstd, .descriptor = D::kSigned, .localSizes = S::kUncompressedOnly, .forceZip64 = true},
               3,
               true},
           Row{"size unknown and no signature: nothing to find it by",
               {.method = M::kDeflate, .descriptor = D::kUnsigned, .localSizes = S::kUncompressedOnly},
               0,
               true},
       }) {
    SCOPED_TRACE(row.what);
    ByteVector bytes;
    ZipWriter writer(ZipSinkTo(&bytes));
    std::vector<ByteVector> data;
    for (int i = 0; i < 3; ++i) {
      data.push_back(Noise(2000 + 700 * size_t(i), uint32_t(i)));
      writer.Add(Name(i), data.back(), row.options);
    }
    const uint64_t end = writer.offset();
    writer.Finish();
    // What the directory says is what the walk should find.
    const MemorySource whole(bytes);
    const OpenedZip told(whole);
    const MemorySource headless(Bytes(bytes).first(size_t(end)));
    OpenedZip walked(headless);
    ASSERT_EQ(walked.archive.entries.size(), row.found);
    if (row.found == 0) {
      EXPECT_EQ(walked.message, "not ZIP or no whole record");
      continue;
    }
    EXPECT_EQ(walked.result, 0);
    EXPECT_EQ(walked.message, "");
    EXPECT_TRUE(walked.archive.recovered);
    EXPECT_EQ(walked.archive.directoryOffset, end);
    EXPECT_EQ(walked.archive.compressedCount, told.archive.compressedCount);
    for (int i = 0; i < 3; ++i) {
      const ZipEntry& entry = walked.archive.entries[size_t(i)];
      const ZipEntry& expected = told.archive.entries[size_t(i)];
      EXPECT_EQ(entry.name, expected.name);
      EXPECT_EQ(entry.flags, expected.flags);
      EXPECT_EQ(entry.compressedSize, expected.compressedSize);
      EXPECT_EQ(entry.uncompressedSize, expected.uncompressedSize);
      EXPECT_EQ(entry.localHeaderOffset, expected.localHeaderOffset);
      EXPECT_EQ(entry.crc32, row.crcIsKnown ? expected.crc32 : 0);
      EXPECT_EQ(ReadMember(&walked.archive, i), data[size_t(i)]);
    }
  }
}

TEST(ZipRecovery, KeepsTheWholeMembersOfARecordingThatWasCutOff) {
  for (const bool unsized : {false, true}) {
    for (const ZipMethod method : {ZipMethod::kStore, ZipMethod::kDeflate, ZipMethod::kZstd}) {
      SCOPED_TRACE(testing::Message() << zip_method_name(uint16_t(method)) << (unsized ? ", size unknown" : ""));
      ZipMemberOptions options = kUnsizedDeflate;
      options.method = method;
      if (!unsized) options.descriptor = ZipDescriptor::kNone;
      ByteVector bytes;
      ZipWriter writer(ZipSinkTo(&bytes));
      std::vector<uint64_t> wholeAt;  // the file size from which a member can be had
      for (int i = 0; i < 4; ++i) {
        writer.Add(Name(i), Noise(100 + 10 * size_t(i), uint32_t(i)), options);
        // A known size needs the data only; an unknown one stands in the descriptor. STORE says its size as the uncompressed one.
        const bool needsDescriptor = unsized && method != ZipMethod::kStore;
        wholeAt.push_back(writer.offset() - (unsized && !needsDescriptor ? 16 : 0));
      }
      for (size_t size = 30; size <= bytes.size(); ++size) {
        const auto whole = size_t(std::count_if(wholeAt.begin(), wholeAt.end(), [size](uint64_t at) { return at <= size; }));
        const MemorySource cut(Bytes(bytes).first(size));
        const OpenedZip zip(cut);
        ASSERT_EQ(zip.archive.entries.size(), whole) << "cut at " << size;
        ASSERT_EQ(zip.result, whole > 0 ? 0 : -1);
      }
    }
  }
}

TEST(ZipRecovery, StopsWhereAHeaderIsNoWholeMember) {
  // Local headers at 0 and 36 of five bytes each with a name of one.
  struct Row {
    const char* what;
    size_t at;
    ByteVector patch;
    size_t entries;
    uint64_t stop;
    bool cutOff;
    const char* cutOffName;
  };
  for (const Row& row : {
           Row{"sound", 0, {'P'}, 2, 72, false, ""},
           Row{"second header has another signature", 36, {'Q'}, 1, 36, false, ""},
           Row{"second name runs past the end", 36 + 26, {7, 0}, 1, 36, true, "bother"},
           Row{"second extra field runs past the end", 36 + 28, {6, 0}, 1, 36, true, "b"},
           Row{"second size runs past the end", 36 + 18, {6}, 1, 36, true, "b"},
           Row{"compressed with no size and no descriptor", 36 + 8, {8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 1, 36, true, "b"},
           Row{"stored with no compressed size", 36 + 18, {0}, 2, 72, false, ""},
           Row{"both sizes 0, as streams have them", 36 + 18, {0, 0, 0, 0, 0}, 2, 67, false, ""},
           // The walk trusts the flag: it skips the 12 bytes that a descriptor without signature has.
           Row{"descriptor cut off by the end of the file", 36 + 6, {8}, 2, 84, false, ""},
       }) {
    SCOPED_TRACE(row.what);
    ByteVector bytes;
    ZipWriter writer(ZipSinkTo(&bytes));
    writer.Add("a", BytesOf("first"));
    writer.Add("b", BytesOf("other"));
    Overwrite(&bytes, row.at, row.patch);
    const OpenedZip zip(bytes);
    EXPECT_EQ(zip.result, 0);
    EXPECT_TRUE(zip.archive.recovered);
    EXPECT_EQ(zip.archive.entries.size(), row.entries);
    EXPECT_EQ(zip.archive.directoryOffset, row.stop);
    EXPECT_EQ(zip.archive.cutOff, row.cutOff);
    EXPECT_EQ(zip.archive.cutOffName, row.cutOffName);
  }
}

TEST(ZipRecovery, TakesOnlyADescriptorThatFitsWithARecordBehindIt) {
  constexpr uint32_t kUncompressed = 900;
  for (const bool zip64 : {false, true}) {
    for (const uint16_t method : {8, 93}) {
      struct Row {
        const char* what;
        ByteVector decoy;  // at byte 300 of the data
        uint64_t size;
      };
      const ByteVector record = LittleEndian({{0x04034b50, 4}});
      const auto joined = [](ByteVector a, const ByteVector& b) {
        Append(&a, b);
        return a;
      };
      for (const Row& row : {
               Row{"no decoy", {}, 800},
               Row{"sizes fit, no record behind", joined(Descriptor(1, 300, kUncompressed, zip64), BytesOf("PK\3\3")), 800},
               Row{"other compressed size", joined(Descriptor(1, 299, kUncompressed, zip64), record), 800},
               Row{"other uncompressed size", joined(Descriptor(1, 300, kUncompressed - 1, zip64), record), 800},
               Row{"sizes of the other width", joined(Descriptor(1, 300, kUncompressed, !zip64), record), 800},
               Row{"a second signature right behind the first three bytes",
                   joined(BytesOf("PK\7"), Descriptor(1, 303, kUncompressed, zip64)), 800},
               Row{"everything fits: the first one wins", joined(Descriptor(1, 300, kUncompressed, zip64), record), 300},
           }) {
        SCOPED_TRACE(testing::Message() << row.what << ", zip64 " << zip64 << ", method " << method);
        ByteVector data = Noise(800, 7);
        Overwrite(&data, 300, row.decoy);
        ZipMemberOptions options = kUnsizedDeflate;
        options.forceZip64 = zip64;
        ByteVector bytes;
        ZipWriter writer(ZipSinkTo(&bytes));
        writer.AddRaw("decoy", {method, data, kUncompressed, 2}, options);
        writer.AddRaw("next", {method, Noise(100, 8), kUncompressed, 3}, options);
        const OpenedZip zip(bytes);
        ASSERT_FALSE(zip.archive.entries.empty());
        EXPECT_EQ(zip.archive.entries[0].compressedSize, row.size);
        EXPECT_EQ(zip.archive.entries[0].crc32, row.size == 800 ? 2u : 1u);
        EXPECT_EQ(zip.archive.entries.size(), row.size == 800 ? 2u : 1u);
      }
    }
  }
}

TEST(ZipRecovery, FindsSizesFarFromTheGuess) {
  // Steps around a guess begin at 64 KiB and grow fourfold: sizes on both sides of every window, within one archive.
  const std::vector<size_t> sizes = {400000, 399000, 10,     250000, 1,      900000, 899999, 40000, 0,     131071, 65536 + 131072,
                                     65535,  131072, 600000, 5000,   700000, 700001, 20,     21,    90000, 3};
  for (const uint16_t method : {8, 93}) {
    for (const bool zip64 : {false, true}) {
      ZipMemberOptions options = kUnsizedDeflate;
      options.forceZip64 = zip64;
      ByteVector bytes;
      ZipWriter writer(ZipSinkTo(&bytes));
      for (size_t i = 0; i < sizes.size(); ++i) {
        // Noise grows a little when it is packed; images shrink; now and then to next to nothing.
        const uint64_t uncompressed = i % 3 == 0 ? sizes[i] - sizes[i] / 200 + 1 : sizes[i] * 2 + 1000000 * (i % 2) + 1;
        writer.AddRaw(Name(int(i)), {method, Noise(sizes[i], uint32_t(i)), uncompressed, uint32_t(i)}, options);
      }
      const OpenedZip zip(bytes);
      ASSERT_EQ(zip.archive.entries.size(), sizes.size());
      for (size_t i = 0; i < sizes.size(); ++i) {
        EXPECT_EQ(zip.archive.entries[i].compressedSize, sizes[i]) << i;
        EXPECT_EQ(zip.archive.entries[i].crc32, i);
      }
    }
  }
}

// A ZSTD frame (RFC 8878, 3.1.1) of `blocks` with the given frame header behind the magic.
ByteVector ZstdFrame(const ByteVector& header, const ByteVector& blocks) {
  ByteVector frame = LittleEndian({{0xFD2FB528, 4}});
  Append(&frame, header);
  Append(&frame, blocks);
  return frame;
}
ByteVector ZstdBlock(uint32_t type, bool last, uint32_t size) {
  ByteVector block = LittleEndian({{size << 3 | type << 1 | uint32_t(last), 3}});
  Append(&block, ByteVector(type == 1 ? 1 : size, 0xAB));
  return block;
}

TEST(ZipRecovery, FollowsZstdFramesPastTheReachOfTheSearch) {
  // A descriptor is searched up to uncompressed size * 129 / 128 + 64 KiB behind the start; these frames are longer, so only their block
  // headers lead to the end.
  ByteVector empty;
  for (int i = 0; i < 40000; ++i) Append(&empty, ZstdBlock(0, false, 0));
  const auto long_ = [&empty](const ByteVector& last) {
    ByteVector blocks = empty;
    Append(&blocks, last);
    return blocks;
  };
  const ByteVector raw = long_(ZstdBlock(0, true, 100));
  const auto padded = [&raw](size_t trailing) {
    ByteVector blocks = raw;
    Append(&blocks, ByteVector(trailing, 0xCD));
    return blocks;
  };
  ByteVector twoFrames = ZstdFrame({0x20, 9}, raw);
  Append(&twoFrames, ZstdFrame({0x20, 9}, raw));
  struct Row {
    const char* what;
    ByteVector data;
    bool found;
  };
  for (const Row& row : {
           Row{"single segment, 1-byte content size", ZstdFrame({0x20, 9}, raw), true},
           Row{"window descriptor, no content size", ZstdFrame({0x00, 9}, raw), true},
           Row{"content size of 2, dictionary id of 1", ZstdFrame({0x41, 9, 9, 9, 9}, raw), true},
           Row{"content size of 4, dictionary id of 2", ZstdFrame({0x82, 9, 9, 9, 9, 9, 9, 9}, raw), true},
           Row{"content size of 8, dictionary id of 4, single segment", ZstdFrame({0xE3, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9}, raw), true},
           Row{"checksum", ZstdFrame({0x24, 9}, padded(4)), true},
           Row{"run of 90,000 bytes stored as one", ZstdFrame({0x20, 9}, long_(LittleEndian({{90000 << 3 | 1 << 1 | 1, 3}, {0xAB, 1}}))),
               true},
           Row{"compressed block of 128 KiB", ZstdFrame({0x20, 9}, long_(ZstdBlock(2, true, 0x20000))), true},
           Row{"two frames", twoFrames, true},
           Row{"reserved frame bit", ZstdFrame({0x28, 9}, raw), false},
           Row{"reserved block type", ZstdFrame({0x20, 9}, long_(ZstdBlock(3, true, 100))), false},
           Row{"block above 128 KiB", ZstdFrame({0x20, 9}, long_(ZstdBlock(0, true, 0x20001))), false},
           Row{"a byte behind the frames", ZstdFrame({0x20, 9}, padded(1)), false},
       }) {
    for (const bool zip64 : {false, true}) {
      SCOPED_TRACE(testing::Message() << row.what << ", zip64 " << zip64);
      ByteVector bytes;
      ZipWriter writer(ZipSinkTo(&bytes));
      ZipMemberOptions options = kUnsizedDeflate;
      options.forceZip64 = zip64;
      writer.AddRaw("zstd", {93, row.data, 100, 77}, options);
      const OpenedZip zip(bytes);
      ASSERT_EQ(zip.archive.entries.size(), row.found ? 1u : 0u);
      if (!row.found) continue;
      EXPECT_EQ(zip.archive.entries[0].compressedSize, row.data.size());
      EXPECT_EQ(zip.archive.entries[0].crc32, 77u);
    }
  }
}

TEST(ZipRecovery, HopsOverFramesOfSimilarSize) {
  const ByteVector frame = Noise(1000000, 1);
  for (const bool unsized : {false, true}) {
    ZipMemberOptions options = kUnsizedDeflate;
    if (!unsized) options.descriptor = ZipDescriptor::kNone;
    ByteVector bytes;
    ZipWriter writer(ZipSinkTo(&bytes));
    for (size_t i = 0; i < 20; ++i) writer.AddRaw("f", {8, Bytes(frame).first(frame.size() - 500 * i), 2 * frame.size(), 0}, options);
    const FlakySource file(bytes);
    const OpenedZip zip(file);
    EXPECT_EQ(zip.archive.entries.size(), 20u);
    // A page a member when sizes are known; else the first frame and 64 KiB (a guess's first step) of each other one, read at most twice.
    EXPECT_LE(file.bytesRead, 65577 + (unsized ? 2 * frame.size() + 19 * 2 * 65536 : 20 * 4096));
  }
}

// Each of these makes a reader that searches afresh for every member read the file hundreds of times over.
TEST(ZipRecovery, ReadsAHostileFileAFewTimesAtMost) {
  const auto unsized = [](ZipMethod method) {
    ZipMemberOptions options = kUnsizedDeflate;
    options.method = method;
    options.forceZip64 = true;
    return options;
  };
  constexpr uint64_t kHuge = uint64_t(1) << 60;
  struct Row {
    const char* what;
    std::function<void(ZipWriter*)> write;
  };
  for (const Row& row : {
           Row{"tiny members that claim to be huge",
               [&](ZipWriter* writer) {
                 for (int i = 0; i < 20000; ++i) writer->AddRaw("n", {8, Noise(20, 1), kHuge, 0}, unsized(ZipMethod::kDeflate));
               }},
           Row{"members of no bytes, so that there is never a guess",
               [&](ZipWriter* writer) {
                 for (int i = 0; i < 20000; ++i) writer->AddRaw("n", {8, {}, kHuge, 0}, unsized(ZipMethod::kDeflate));
               }},
           Row{"large and tiny members in turn, so that every guess is wrong",
               [&](ZipWriter* writer) {
                 for (int i = 0; i < 40; ++i) {
                   writer->AddRaw("n", {8, Noise(i % 2 == 0 ? 100000 : 10, uint32_t(i)), kHuge, 0}, unsized(ZipMethod::kDeflate));
                 }
               }},
           Row{"plain empty members",
               [](ZipWriter* writer) {
                 for (int i = 0; i < 50000; ++i) writer->AddRaw("", {});
               }},
           Row{"ZSTD frames that lead to the end of the file and fail there",
               [&](ZipWriter* writer) {
                 // One raw block skips from each first member of a pair into a tail of empty blocks; the second member has no bytes, which
                 // takes the guess away again.
                 constexpr int kPairs = 600;
                 for (int i = 0; i < kPairs; ++i) {
                   const uint32_t skip = uint32_t((kPairs - i) * 218);
                   writer->AddRaw("n", {93, ZstdFrame({0x20, 0}, LittleEndian({{skip << 3, 3}})), kHuge, 0}, unsized(ZipMethod::kZstd));
                   writer->AddRaw("n", {93, {}, kHuge, 0}, unsized(ZipMethod::kZstd));
                 }
                 writer->AddRaw("tail", {0, ByteVector(1000000), 1000000, 0});
               }},
       }) {
    SCOPED_TRACE(row.what);
    ByteVector bytes;
    ZipWriter writer(ZipSinkTo(&bytes));
    row.write(&writer);
    const FlakySource file(bytes);
    const OpenedZip zip(file);
    EXPECT_EQ(zip.archive.entries.size(), writer.memberCount());
    EXPECT_LT(file.bytesRead, 6 * bytes.size() + 400000);
  }
}

}  // namespace
}  // namespace qx
