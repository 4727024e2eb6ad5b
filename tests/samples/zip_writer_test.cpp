#include "samples/zip_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qx {
namespace {

std::string Text(const std::vector<uint8_t>& bytes) {
  return std::string(bytes.begin(), bytes.end());
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
