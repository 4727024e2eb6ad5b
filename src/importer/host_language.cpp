#include "importer/host_language.h"

#include <strings.h>

#include <atomic>
#include <cstring>
#include <iterator>

#include "importer/host_suite.h"

namespace qx {

namespace {

constexpr size_t kLongestLanguage = 5;
std::atomic<bool> languageAsked{false};
std::atomic<int> hostLanguage{0};

bool Matches(std::string_view language, std::string_view code) {
  if (language.size() < code.size() || strncasecmp(language.data(), code.data(), code.size()) != 0) return false;
  if (code.size() > 2) return true;
  return language.size() == 2 || language[2] == '_' || language[2] == '-';
}

}  // namespace

int MatchLanguage(std::string_view language) {
  for (size_t i = 0; i < std::size(kLanguageCodes); ++i) {
    if (Matches(language, kLanguageCodes[i])) return int(i);
  }
  return 0;
}

void QueryHostLanguage(const host::SPBasicSuite* basic) {
  if (basic == nullptr || languageAsked.exchange(true)) return;
  const HostSuite<host::AppInfoSuite> appInfo(basic, host::kAppInfoSuiteName, host::kAppInfoSuiteVersion);
  if (!appInfo.Available()) return;
  char language[16] = {};  // the host writes 6 bytes; a longer answer is cut
  if (appInfo->getAppInfo(host::kAppInfoLanguage, language) < 0) return;
  hostLanguage = MatchLanguage(std::string_view(language, strnlen(language, kLongestLanguage)));
}

int HostLanguage() {
  return hostLanguage;
}

}  // namespace qx
