#include "importer/file_refresh.h"

#include <atomic>

#include "base/utf.h"
#include "importer/diagnostic_log.h"
#include "importer/host_suite.h"

namespace qx {

namespace {

std::atomic<const host::SPBasicSuite*> keptBasicSuite{nullptr};

}  // namespace

void KeepBasicSuite(const host::SPBasicSuite* basic) {
  if (basic != nullptr) keptBasicSuite = basic;
}

void RefreshClip(const std::u16string& path) {
  const std::string name = Utf8FromUtf16(path);
  const HostSuite<host::ImporterFileManagerSuite> manager(keptBasicSuite, host::kImporterFileManagerSuiteName,
                                                          host::kImporterFileManagerSuiteVersion);
  if (!manager.Available()) {
    LogLine("refresh %s: no Importer File Manager Suite", name.c_str());
    return;
  }
  const host::SuiteError result = manager->refreshFileAsync(path.c_str());
  LogLine("refresh %s -> %d", name.c_str(), result);
}

}  // namespace qx
