#include "standin/host_suites.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>

#include "host/suites.h"
#include "standin/host_frames.h"
#include "standin/host_memory.h"
#include "standin/violations.h"

namespace standin {

namespace host = qx::host;

namespace {

using SuiteKey = std::pair<std::string, int32_t>;

struct HostState {
  std::mutex lock;
  std::map<SuiteKey, int> acquired;
  std::string refused;
  std::string language = "en_US";
  std::vector<std::u16string> refreshed;
};

HostState& TheState() {
  static HostState* const state = new HostState;
  return *state;
}

host::SuiteError GetTicksPerSecond(int64_t* ticks) {
  *ticks = kTicksPerSecond;
  return host::kSuiteNoError;
}

host::SuiteError GetTicksPerVideoFrame(int32_t rateCode, int64_t* ticks) {
  static constexpr int32_t kRates[][2] = {{24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1}};
  if (rateCode < 1 || rateCode > 8) return host::kSuiteInvalidParameter;
  *ticks = kTicksPerSecond / kRates[rateCode - 1][0] * kRates[rateCode - 1][1];
  return host::kSuiteNoError;
}

host::SuiteError GetTicksPerAudioSample(float sampleRate, int64_t* ticks) {
  if (!(sampleRate > 0)) return host::kSuiteInvalidParameter;
  *ticks = std::llround(double(kTicksPerSecond) / double(sampleRate));
  return host::kSuiteNoError;
}

host::SuiteError SetStreamFileCount(uint32_t, int32_t, int32_t) {
  return host::kSuiteNoError;
}
host::SuiteError GetGrowingFileRefreshInterval(int32_t* seconds) {
  *seconds = 0;
  return host::kSuiteNoError;
}
host::SuiteError SetInstanceStreamFileCount(void*, int32_t) {
  return host::kSuiteNoError;
}
host::SuiteError RefreshFileAsync(const char16_t* path) {
  if (path == nullptr || *path == 0) {
    ReportViolation("refreshFileAsync: no path");
    return host::kSuiteInvalidParameter;
  }
  const std::lock_guard<std::mutex> guard(TheState().lock);
  TheState().refreshed.emplace_back(path);
  return host::kSuiteNoError;
}

host::SuiteError GetAppInfo(int32_t selector, void* out) {
  if (selector != host::kAppInfoLanguage) return host::kSuiteNotImplemented;
  const std::lock_guard<std::mutex> guard(TheState().lock);
  std::memset(out, 0, 6);
  std::memcpy(out, TheState().language.data(), std::min<size_t>(TheState().language.size(), 5));
  return host::kSuiteNoError;
}

constexpr host::TimeSuite kTimeSuite = {GetTicksPerSecond, GetTicksPerVideoFrame, GetTicksPerAudioSample};
constexpr host::ImporterFileManagerSuite kFileManagerSuite = {SetStreamFileCount, RefreshFileAsync, GetGrowingFileRefreshInterval,
                                                              SetInstanceStreamFileCount};
constexpr host::AppInfoSuite kAppInfoSuite = {GetAppInfo};

const void* FindSuite(const SuiteKey& key) {
  struct Row {
    const char* name;
    int32_t version;
    const void* functions;
  };
  const Row rows[] = {{host::kPPixCreatorSuiteName, host::kPPixCreatorSuiteVersion, PPixCreatorFunctions()},
                      {host::kPPixCreator2SuiteName, host::kPPixCreator2SuiteVersion, PPixCreator2Functions()},
                      {host::kPPixSuiteName, host::kPPixSuiteVersion, PPixFunctions()},
                      {host::kTimeSuiteName, host::kTimeSuiteVersion, &kTimeSuite},
                      {host::kImporterFileManagerSuiteName, host::kImporterFileManagerSuiteVersion, &kFileManagerSuite},
                      {host::kAppInfoSuiteName, host::kAppInfoSuiteVersion, &kAppInfoSuite}};
  for (const Row& row : rows) {
    if (key.first == row.name && key.second == row.version) return row.functions;
  }
  return nullptr;
}

int32_t AcquireSuite(const char* name, int32_t version, const void** suite) {
  const SuiteKey key(name, version);
  const void* const functions = FindSuite(key);
  const std::lock_guard<std::mutex> guard(TheState().lock);
  if (functions == nullptr || key.first == TheState().refused) return 1;
  ++TheState().acquired[key];
  *suite = functions;
  return 0;
}

int32_t ReleaseSuite(const char* name, int32_t version) {
  const std::lock_guard<std::mutex> guard(TheState().lock);
  int& count = TheState().acquired[SuiteKey(name, version)];
  if (count < 1) {
    ReportViolation("releaseSuite: \"%s\" version %d is not acquired", name, version);
    return 1;
  }
  --count;
  return 0;
}

uint8_t IsEqual(const char* a, const char* b) {
  return std::strcmp(a, b) == 0 ? 1 : 0;
}
int32_t AllocateBlock(size_t size, void** block) {
  return (*block = std::malloc(size)) != nullptr ? 0 : 1;
}
int32_t FreeBlock(void* block) {
  std::free(block);
  return 0;
}
int32_t ReallocateBlock(void* block, size_t size, void** grown) {
  return (*grown = std::realloc(block, size)) != nullptr ? 0 : 1;
}
int32_t Undefined() {
  return 1;
}

const host::SPBasicSuite* GetBasicSuite() {
  static constexpr host::SPBasicSuite kSuite = {AcquireSuite, ReleaseSuite, IsEqual, AllocateBlock, FreeBlock, ReallocateBlock, Undefined};
  return &kSuite;
}

}  // namespace

host::StdParms* StandardParameters() {
  static host::UtilFuncs utilities = {};
  static host::PiSuites suites = {9, MemoryFunctions(), nullptr, nullptr, &utilities, nullptr};
  static host::StdParms parameters = {23, nullptr, &suites};
  static const bool ready = [] {
    utilities.getSPBasicSuite = GetBasicSuite;
    return true;
  }();
  return ready ? &parameters : nullptr;
}

void SetHostLanguage(const std::string& language) {
  const std::lock_guard<std::mutex> guard(TheState().lock);
  TheState().language = language;
}

void RefuseSuite(const std::string& name) {
  const std::lock_guard<std::mutex> guard(TheState().lock);
  TheState().refused = name;
}

std::vector<std::string> AcquiredSuites() {
  const std::lock_guard<std::mutex> guard(TheState().lock);
  std::vector<std::string> lines;
  for (const auto& [key, count] : TheState().acquired) {
    if (count > 0) lines.push_back(key.first + " " + std::to_string(key.second) + ": " + std::to_string(count));
  }
  return lines;
}

std::vector<std::u16string> RefreshedFiles() {
  const std::lock_guard<std::mutex> guard(TheState().lock);
  return TheState().refreshed;
}

}  // namespace standin
