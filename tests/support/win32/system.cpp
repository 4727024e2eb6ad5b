#include "tests/support/system.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>

namespace qx {

namespace {

std::wstring Wide(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).native();
}

}  // namespace

const uint32_t kIllegalInstructionCode = 0xC000001D, kBadAccessCode = 0xC0000005;

unsigned long ProcessId() {
  return GetCurrentProcessId();
}

void SetEnvironment(const std::string& name, const std::string& value) {
  SetEnvironmentVariableW(Wide(name).c_str(), Wide(value).c_str());
}

void UnsetEnvironment(const std::string& name) {
  SetEnvironmentVariableW(Wide(name).c_str(), nullptr);
}

int RunThisProgram(const std::vector<std::string>& arguments) {
  std::wstring program(32768, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), DWORD(program.size())));
  std::wstring line = L'"' + program + L'"';
  for (const std::string& argument : arguments) line += L' ' + Wide(argument);
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process;
  // Under load, one start of some thousand fails in Wine with an internal error, and the next one does not.
  for (int tries = 3; CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process) == 0;) {
    const DWORD error = GetLastError();
    fprintf(stderr, "the program did not start: error %lu\n", error);
    if (error != ERROR_INTERNAL_ERROR || --tries == 0) return -1;
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 0;
  const bool known = GetExitCodeProcess(process.hProcess, &code) != 0;
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  if (known && code < 256) return int(code);
  fprintf(stderr, "the program ended with exception %08lx\n", code);
  return -1;
}

int PriorityOfThisThread() {
  return GetThreadPriority(GetCurrentThread());
}

GuardedPage::GuardedPage() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  size_ = info.dwPageSize;
  pages_ = static_cast<uint8_t*>(VirtualAlloc(nullptr, 2 * size_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  DWORD before = 0;
  VirtualProtect(pages_ + size_, size_, PAGE_NOACCESS, &before);
}

GuardedPage::~GuardedPage() {
  VirtualFree(pages_, 0, MEM_RELEASE);
}

}  // namespace qx
