// What only the Windows forms of the services have to get right.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/environment.h"
#include "platform/fault_guard.h"
#include "platform/file.h"
#include "platform/win32/wide_text.h"
#include "tests/support/system.h"

namespace qx {
namespace {

void OverflowStack(void* context) {
  volatile int frame[1024];
  int* const depth = static_cast<int*>(context);
  ++*depth;
  frame[*depth % 1024] = *depth;
  if (*depth < 100000000) OverflowStack(depth);
  *depth -= frame[0] == 0;  // no tail call
}

TEST(FaultGuard, CatchesAFullStackMoreThanOnce) {
  for (int i = 0; i < 2; ++i) {
    uint32_t code = 0;
    int depth = 0;
    EXPECT_FALSE(CallGuarded(OverflowStack, &depth, &code));
    EXPECT_EQ(code, 0xC00000FDu);
    EXPECT_GT(depth, 10);
  }
}

TEST(FaultGuard, CatchesExceptionsOfOtherCompilersAndDivisions) {
  uint32_t code = 0;
  EXPECT_FALSE(CallGuarded([](void*) { RaiseException(0xE06D7363, 0, 0, nullptr); }, nullptr, &code));
  EXPECT_EQ(code, 0xE06D7363u);
  const auto divide = [](void* context) {
    volatile int dividend = 1000, zero = 0;
    *static_cast<int*>(context) = dividend / zero;
  };
  int quotient = 7;
  EXPECT_FALSE(CallGuarded(divide, &quotient, &code));
  EXPECT_EQ(code, 0xC0000094u);
  EXPECT_EQ(quotient, 7);
}

TEST(FaultGuard, WorksOnThreadsThatSomebodyElseStarted) {
  const auto run = [](void* result) -> DWORD {
    uint32_t code = 0;
    *static_cast<bool*>(result) = !CallGuarded([](void*) { *static_cast<volatile int*>(nullptr) = 1; }, nullptr, &code);
    return code;
  };
  bool caught = false;
  const HANDLE thread = CreateThread(nullptr, 0, run, &caught, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  WaitForSingleObject(thread, INFINITE);
  DWORD code = 0;
  GetExitCodeThread(thread, &code);
  CloseHandle(thread);
  EXPECT_TRUE(caught);
  EXPECT_EQ(code, kBadAccessCode);
}

TEST(File, OpensPathsLongerThanPlainOnesMayBe) {
  std::filesystem::path folder = std::filesystem::temp_directory_path() / "qx_long";
  const std::filesystem::path top = folder;
  CreateDirectoryW(SystemPath(folder).c_str(), nullptr);
  std::vector<std::filesystem::path> folders = {folder};
  for (int i = 0; i < 6; ++i) {
    folder /= std::wstring(60, L'\u00E9');
    ASSERT_NE(CreateDirectoryW(SystemPath(folder).c_str(), nullptr), 0) << GetLastError();
    folders.push_back(folder);
  }
  const std::filesystem::path path = folder / L"\u6620\u50CF \U0001F3AC.zip";
  ASSERT_GT(path.native().size(), 300u);
  const HANDLE made = CreateFileW(SystemPath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(made, INVALID_HANDLE_VALUE) << GetLastError();
  DWORD written = 0;
  EXPECT_NE(WriteFile(made, "recording", 9, &written, nullptr), 0);
  CloseHandle(made);
  {
    File file;
    ASSERT_TRUE(file.Open(path));
    char text[9];
    EXPECT_TRUE(file.ReadExactly(0, text, 9));
    EXPECT_EQ(std::string(text, 9), "recording");
    FileState state;
    ASSERT_TRUE(ReadFileState(path, &state));
    EXPECT_EQ(state.size, 9u);
  }
  EXPECT_NE(DeleteFileW(SystemPath(path).c_str()), 0);
  while (!folders.empty()) {
    RemoveDirectoryW(SystemPath(folders.back()).c_str());
    folders.pop_back();
  }
  EXPECT_FALSE(std::filesystem::exists(top));
}

TEST(SystemPath, MarksLongPathsOnly) {
  struct Row {
    std::wstring path, expected;
    const char* why;
  };
  const std::wstring longName(300, L'a');
  for (const Row& row : {Row{L"C:\\clips\\a.zip", L"C:\\clips\\a.zip", "short"}, Row{L"clips/a.zip", L"clips/a.zip", "short and relative"},
                         Row{L"C:/" + longName, L"\\\\?\\C:\\" + longName, "slashes become what the long form needs"},
                         Row{L"\\\\server\\share\\" + longName, L"\\\\?\\UNC\\server\\share\\" + longName, "on another machine"},
                         Row{L"\\\\?\\C:\\" + longName, L"\\\\?\\C:\\" + longName, "marked already"},
                         Row{L"C:\\b\\..\\" + longName, L"\\\\?\\C:\\" + longName, "the long form knows no .."}}) {
    EXPECT_EQ(SystemPath(row.path), row.expected) << row.why;
  }
}

TEST(Environment, ReadsWhatFitsAsUtf8) {
  SetEnvironment("QX_TEST_VALUE", "\xC3\xA9t\xC3\xA9");
  EXPECT_EQ(ReadEnvironment("QX_TEST_VALUE", 4), "\xC3\xA9t\xC3\xA9") << "three characters and the terminator";
  EXPECT_EQ(ReadEnvironment("QX_TEST_VALUE", 3), std::nullopt);
  SetEnvironment("QX_TEST_VALUE", "");
  EXPECT_EQ(ReadEnvironment("QX_TEST_VALUE", 3), "");
  UnsetEnvironment("QX_TEST_VALUE");
  EXPECT_EQ(ReadEnvironment("QX_TEST_VALUE", 3), std::nullopt);
}

}  // namespace
}  // namespace qx
