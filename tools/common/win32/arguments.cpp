#include <windows.h>
// Beneath windows.h, whose types it uses.
#include <shellapi.h>

#include <filesystem>

#include "tools/common/command_line.h"

namespace tool {

CommandLine::CommandLine(int, char**) {
  SetConsoleOutputCP(CP_UTF8);
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 0; i < count; ++i) texts_.push_back(std::filesystem::path(wide[i]).string());  // which is UTF-8
  LocalFree(wide);
  for (const std::string& text : texts_) pointers_.push_back(text.c_str());
}

}  // namespace tool
