#include "samples/zip_writer.h"

#include <gtest/gtest.h>

#include <sstream>

namespace qx {
namespace {

std::string Text(const std::vector<uint8_t>& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

// Laid out by hand after the ZIP application note (4.3.7, 4.3.9, 4.3.12, 4.3.14 to 4.3.16, 4.5.3). The CRC-32 of "123456789" is the check
// value of that CRC, 0xCBF43926.
TEST(ZipWriter, WritesThePlainLayout) {
  std::ostringstream stream;
  ZipWriter writer(ZipSinkTo(&stream));
  const std::string data = "123456789";
  writer.Add("n", {reinterpret_cast<const uint8_t*>(data.data()), data.size()});
  EXPECT_EQ(writer.offset(), 40u);
  EXPECT_TRUE(writer.Finish({.comment = "hi"}));
  using std::string_literals::operator""s;
  // clang-format off
  EXPECT_EQ(stream.str(),
            "PK\3\4" "\x14\0" "\0\0" "\0\0" "\0\0\x21\0" "\x26\x39\xF4\xCB" "\x09\0\0\0" "\x09\0\0\0" "\1\0" "\0\0" "n" "123456789"
            "PK\1\2" "\x14\0\x14\0" "\0\0" "\0\0" "\0\0\x21\0" "\x26\x39\xF4\xCB" "\x09\0\0\0" "\x09\0\0\0" "\1\0" "\0\0" "\0\0"
            "\0\0" "\0\0" "\0\0\0\0" "\0\0\0\0" "n"
            "PK\5\6" "\0\0" "\0\0" "\1\0" "\1\0" "\x2F\0\0\0" "\x28\0\0\0" "\2\0" "hi"s);
  // clang-format on
}

TEST(ZipWriter, WritesDescriptorAndZip64Layout) {
  std::vector<uint8_t> bytes;
  ZipWriter writer(ZipSinkTo(&bytes));
  const std::vector<uint8_t> data = {'d'};
  const ZipMemberOptions options{.descriptor = ZipDescriptor::kSigned, .localSizes = ZipLocalSizes::kUncompressedOnly, .forceZip64 = true};
  writer.AddRaw("\xC3\xA9", {93, data, 2, 0x11223344}, options);
  EXPECT_TRUE(writer.Finish({.forceZip64 = true}));
  using std::string_literals::operator""s;
  // clang-format off
  EXPECT_EQ(Text(bytes),
            "PK\3\4" "\x3F\0" "\x08\x08" "\x5D\0" "\0\0\x21\0" "\0\0\0\0" "\xFF\xFF\xFF\xFF" "\xFF\xFF\xFF\xFF" "\2\0" "\x14\0" "\xC3\xA9"
            "\1\0" "\x10\0" "\2\0\0\0\0\0\0\0" "\0\0\0\0\0\0\0\0" "d"
            "PK\7\x08" "\x44\x33\x22\x11" "\1\0\0\0\0\0\0\0" "\2\0\0\0\0\0\0\0"
            "PK\1\2" "\x3F\0\x3F\0" "\x08\x08" "\x5D\0" "\0\0\x21\0" "\x44\x33\x22\x11" "\xFF\xFF\xFF\xFF" "\xFF\xFF\xFF\xFF" "\2\0" "\x14\0" "\0\0"
            "\0\0" "\0\0" "\0\0\0\0" "\0\0\0\0" "\xC3\xA9" "\1\0" "\x10\0" "\2\0\0\0\0\0\0\0" "\1\0\0\0\0\0\0\0"
            "PK\6\6" "\x2C\0\0\0\0\0\0\0" "\x2D\0\x2D\0" "\0\0\0\0" "\0\0\0\0" "\1\0\0\0\0\0\0\0" "\1\0\0\0\0\0\0\0"
            "\x44\0\0\0\0\0\0\0" "\x4D\0\0\0\0\0\0\0"
            "PK\6\7" "\0\0\0\0" "\x91\0\0\0\0\0\0\0" "\1\0\0\0"
            "PK\5\6" "\0\0" "\0\0" "\1\0" "\1\0" "\x44\0\0\0" "\x4D\0\0\0" "\0\0"s);
  // clang-format on
}

TEST(ZipWriter, SaysWhenTheSinkOrItsUserFails) {
  ZipWriter full([written = 0](std::span<const uint8_t>) mutable { return ++written < 3; });
  EXPECT_TRUE(full.AddRaw("a", {}));  // its header; no data
  EXPECT_TRUE(full.AddRaw("b", {}));
  EXPECT_FALSE(full.AddRaw("c", {}));
  EXPECT_FALSE(full.Finish());
  EXPECT_FALSE(full.ok());

  std::vector<uint8_t> bytes;
  ZipWriter finished(ZipSinkTo(&bytes));
  EXPECT_TRUE(finished.Finish());
  EXPECT_FALSE(finished.AddRaw("late", {}));
  EXPECT_EQ(bytes.size(), 22u);

  ZipWriter longName(ZipSinkTo(&bytes));
  EXPECT_FALSE(longName.AddRaw(std::string(65536, 'n'), {}));
  ZipWriter longComment(ZipSinkTo(&bytes));
  EXPECT_FALSE(longComment.Finish({.comment = std::string(65536, 'c')}));
}

TEST(ZipWriter, TurnsToZip64WhenThereAreTooManyMembers) {
  std::vector<uint8_t> bytes;
  ZipWriter writer(ZipSinkTo(&bytes));
  for (int i = 0; i < 65535; ++i) writer.AddRaw("n", {});
  ASSERT_TRUE(writer.Finish());
  const std::string end = Text(bytes).substr(bytes.size() - 98);
  EXPECT_EQ(end.substr(0, 4), "PK\6\6");
  EXPECT_EQ(end.substr(32, 8), std::string("\xFF\xFF\0\0\0\0\0\0", 8));
  EXPECT_EQ(end.substr(76 + 10, 2), "\xFF\xFF");
}

}  // namespace
}  // namespace qx
