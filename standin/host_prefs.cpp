#include "standin/host_prefs.h"

#include <cstring>
#include <filesystem>

#include "host/selectors.h"
#include "standin/guarded.h"

namespace standin {

namespace host = qx::host;

namespace {

/// The largest block that this host would keep.
constexpr int32_t kLargestBlock = 1 << 20;

std::u16string HostPath(const std::string& path) {
  return std::filesystem::path(std::u8string(path.begin(), path.end())).u16string();
}

/// The file access record with the path that it points to.
class AccessRecord {
 public:
  AccessRecord(const Plugin& plugin, const std::string& path) : path_(HostPath(path)), record_("file access record") {
    record_->filetype = int32_t(plugin.FileTypeOf(path));
    record_->filepath = path_.c_str();
    record_->fileref = host::kNoFile;
  }
  host::FileAccessRec8* get() { return record_.get(); }

 private:
  std::u16string path_;
  GuardedRecord<host::FileAccessRec8> record_;
};

/// Calls with a guarded copy of the block; the block is replaced when the answer is 0 and must not change otherwise.
template <typename Call>
int32_t CallWithBlock(const char* what, PrefsBlock* block, const Call& call) {
  GuardedBlock copy(block->size());
  std::memcpy(copy.data(), block->data(), block->size());
  const int32_t result = call(copy.data());
  copy.Check(what);
  const PrefsBlock after(copy.data(), copy.data() + copy.size());
  if (result == host::imNoErr) {
    *block = after;
  } else if (after != *block) {
    ReportViolation("%s: result %d with a changed block", what, result);
  }
  return result;
}

int32_t AskWithBlock(const Plugin& plugin, const std::string& path, bool firstTime, PrefsBlock* block) {
  AccessRecord access(plugin, path);
  GuardedRecord<host::GetPrefsRec> record("settings record");
  return CallWithBlock("imGetPrefs8", block, [&](uint8_t* bytes) {
    record->prefs = bytes;
    record->prefsLength = int32_t(block->size());
    record->firstTime = firstTime ? 1 : 0;
    record->timelineData = -1;  // a host leaves anything here
    return plugin.Call(host::imGetPrefs8, access.get(), record.get());
  });
}

}  // namespace

int32_t AskFirstPrefs(const Plugin& plugin, const std::string& path, PrefsBlock* block) {
  AccessRecord access(plugin, path);
  GuardedRecord<host::GetPrefsRec> record("settings record");
  record->firstTime = 1;
  const int32_t result = plugin.Call(host::imGetPrefs8, access.get(), record.get());
  if (result != host::imNoErr) return result;
  const int32_t length = record->prefsLength;
  if (length < 1 || length > kLargestBlock) {
    ReportViolation("imGetPrefs8: asks for a settings block of %d bytes", length);
    return host::imOtherErr;
  }
  block->assign(size_t(length), 0);
  return AskWithBlock(plugin, path, true, block);
}

int32_t OpenSettings(const Plugin& plugin, const std::string& path, PrefsBlock* block) {
  return AskWithBlock(plugin, path, false, block);
}

int32_t OpenInstanceSettings(const Plugin& plugin, const std::string& path, host::Handle privateData, PrefsBlock* block) {
  AccessRecord access(plugin, path);
  GuardedRecord<host::GetInstancePrefsRec> record("instance settings record");
  return CallWithBlock("imGetInstancePrefs", block, [&](uint8_t* bytes) {
    record->privatedata = privateData;
    record->prefs.prefs = bytes;
    record->prefs.prefsLength = int32_t(block->size());
    return plugin.Call(host::imGetInstancePrefs, access.get(), record.get());
  });
}

}  // namespace standin
