#include "importer/host_language.h"

#include <atomic>
#include <cstring>

#include "base/ascii.h"
#include "importer/host_suite.h"
#include "ui/settings_labels.h"

namespace qx {

namespace {

constexpr size_t kLongestLanguage = 5;
std::atomic<bool> languageAsked{false};
std::atomic<int> hostLanguage{0};

bool Matches(std::string_view language, std::string_view code) {
  if (!EqualsIgnoringAsciiCase(language.substr(0, code.size()), code)) return false;
  if (code.size() > 2) return true;
  return language.size() == 2 || language[2] == '_' || language[2] == '-';
}

}  // namespace

int MatchLanguage(std::string_view language) {
  for (int i = 0; i < kLanguageCount; ++i) {
    if (Matches(language, kLanguageCodes[i])) return i;
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
