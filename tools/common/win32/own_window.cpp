#include "tools/common/own_window.h"

#include <windows.h>

#include <cstdio>

namespace tool {

void KeepOwnWindowOpen() {
  DWORD processes[2], mode = 0;
  const bool isAlone = GetConsoleProcessList(processes, 2) == 1;
  const bool showsHere = GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
  if (!isAlone || !showsHere) return;
  std::fputs("\nPress Enter to close this window.\n", stdout);
  std::fflush(stdout);
  std::getchar();
}

}  // namespace tool
