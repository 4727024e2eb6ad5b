#include "standin/process.h"

#include <windows.h>
// Beneath windows.h, whose types they use.
#include <psapi.h>
#include <tlhelp32.h>

#include <filesystem>
#include <memory>

namespace standin {

namespace {

struct HandleCloser {
  void operator()(void* handle) const {
    if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  }
};
using OwnedHandle = std::unique_ptr<void, HandleCloser>;

// Null where the system is older than the function.
template <typename Function>
Function SystemFunction(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

std::wstring FinalPath(HANDLE file) {
  std::wstring path(32768, L'\0');
  const DWORD length = GetFinalPathNameByHandleW(file, path.data(), DWORD(path.size()), 0);
  path.resize(length < path.size() ? length : 0);
  return path;
}

}  // namespace

std::string DefaultImporterPath() {
  std::wstring program(32768, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), DWORD(program.size())));
  return (std::filesystem::path(program).parent_path() / "qorix-importer.prm").string();
}

std::string ReadVariable(const char* name) {
  const std::filesystem::path wideName(name);
  std::wstring value(32768, L'\0');  // the longest that Windows knows
  value.resize(GetEnvironmentVariableW(wideName.c_str(), value.data(), DWORD(value.size())));
  return std::filesystem::path(value).string();
}

void SetVariable(const char* name, const std::string& value) {
  const std::filesystem::path wideName(name), wideValue = std::u8string(value.begin(), value.end());
  SetEnvironmentVariableW(wideName.c_str(), wideValue.c_str());
}

uint64_t PeakMemoryBytes() {
  PROCESS_MEMORY_COUNTERS counters;
  return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) != 0 ? counters.PeakWorkingSetSize : 0;
}

int OpenHandlesOf(const std::string& path) {
  const std::filesystem::path native = std::u8string(path.begin(), path.end());
  const OwnedHandle file(CreateFileW(native.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file.get() == INVALID_HANDLE_VALUE) return 0;
  const std::wstring wanted = FinalPath(file.get());
  // Handle values are small multiples of 4 that the system gives out from below, so they can be tried until a long gap.
  constexpr int kLongGap = 1024;
  int count = 0, gap = 0;
  for (uintptr_t value = 4; gap < kLongGap; value += 4) {
    const HANDLE handle = reinterpret_cast<HANDLE>(value);
    DWORD flags = 0;
    gap = GetHandleInformation(handle, &flags) != 0 ? 0 : gap + 1;
    count += gap == 0 && handle != file.get() && GetFileType(handle) == FILE_TYPE_DISK && FinalPath(handle) == wanted;
  }
  return count;
}

int ThreadsNamed(const std::string& name) {
  using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);
  static const auto getDescription = SystemFunction<GetDescription>("GetThreadDescription");
  const OwnedHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  if (getDescription == nullptr || snapshot.get() == INVALID_HANDLE_VALUE) return 0;
  int count = 0;
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot.get(), &entry); more != 0; more = Thread32Next(snapshot.get(), &entry)) {
    if (entry.th32OwnerProcessID != GetCurrentProcessId()) continue;
    const OwnedHandle thread(OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ThreadID));
    PWSTR description = nullptr;
    if (thread == nullptr || getDescription(thread.get(), &description) < 0) continue;
    count += std::filesystem::path(description).string() == name;
    LocalFree(description);
  }
  return count;
}

}  // namespace standin
