#include "platform/file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>
#include <utility>

#include "platform/path.h"

namespace qx {
namespace {

/// A file whose name is not ASCII and no other case's: ctest runs the cases at the same time.
std::filesystem::path WriteTemporary(std::u16string_view name, const std::string& content) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / PathFromUtf16(u"qx_file_test_\u00E9\u6620_" + std::u16string(name));
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

TEST(File, ReadsAtPositionsUpToTheEnd) {
  const std::filesystem::path path = WriteTemporary(u"read", "0123456789");
  File file;
  ASSERT_TRUE(file.Open(path));
  EXPECT_EQ(file.size(), 10u);
  char out[8] = {};
  EXPECT_EQ(file.ReadAt(4, out, 3), 3u);
  EXPECT_EQ(std::string(out, 3), "456");
  EXPECT_EQ(file.ReadAt(8, out, 8), 2u);
  EXPECT_EQ(file.ReadAt(10, out, 1), 0u);
  EXPECT_EQ(file.ReadAt(uint64_t(1) << 40, out, 1), 0u);
  File moved = std::move(file);
  EXPECT_TRUE(moved.ReadExactly(0, out, 8));
  moved.Close();
  EXPECT_FALSE(moved.isOpen());
  EXPECT_EQ(moved.nativeHandle(), File::kInvalidHandle);
  std::filesystem::remove(path);
}

TEST(File, OpensNeitherFoldersNorWhatIsNotThere) {
  File file;
  EXPECT_FALSE(file.Open(std::filesystem::temp_directory_path()));
  EXPECT_FALSE(file.Open(std::filesystem::temp_directory_path() / "qx_file_test_none"));
  EXPECT_FALSE(file.isOpen());
}

TEST(FileState, ChangesWithSizeAndTime) {
  const std::filesystem::path path = WriteTemporary(u"state", "one");
  FileState before, after;
  // The library's own time of a file has whole seconds only on some systems.
  const auto time = std::filesystem::last_write_time(path);
  std::filesystem::last_write_time(path, time);
  ASSERT_TRUE(ReadFileState(path, &before));
  EXPECT_EQ(before.size, 3u);
  std::filesystem::last_write_time(path, time + std::chrono::seconds(2));
  ASSERT_TRUE(ReadFileState(path, &after));
  EXPECT_EQ(after.lastWriteTime - before.lastWriteTime, 20000000u) << "in units of 100 ns";
  std::ofstream(path, std::ios::binary | std::ios::app) << "more";
  ASSERT_TRUE(ReadFileState(path, &after));
  EXPECT_EQ(after.size, 7u);
  std::filesystem::remove(path);
  EXPECT_FALSE(ReadFileState(path, &after));
}

}  // namespace
}  // namespace qx
