#include "standin/plugin.h"

#include <algorithm>
#include <cctype>

#include "host/selectors.h"
#include "standin/guarded.h"
#include "standin/host_frames.h"
#include "standin/host_memory.h"
#include "standin/host_suites.h"

namespace standin {

namespace host = qx::host;

namespace {

constexpr int kMostFormats = 32;

FileFormat ReadFormat(const host::IndFormatRec& record) {
  FileFormat format;
  format.fileType = uint32_t(record.filetype);
  format.name = record.formatName;
  format.shortName = record.formatShortName;
  const char* const end = record.platformExtension + sizeof(record.platformExtension);
  for (const char* extension = record.platformExtension; extension < end && *extension != '\0';) {
    format.extensions.emplace_back(extension);
    extension += format.extensions.back().size() + 1;
  }
  return format;
}

std::string LowercaseExtension(const std::string& path) {
  const size_t dot = path.find_last_of("./\\");
  if (dot == std::string::npos || path[dot] != '.') return "";
  std::string extension = path.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return extension;
}

}  // namespace

std::unique_ptr<Plugin> Plugin::Load(const std::string& path, std::string* error) {
  const ImportEntry entry = LoadImporter(path, error);
  if (entry == nullptr) return nullptr;
  std::unique_ptr<Plugin> plugin(new Plugin(entry));
  plugin->Initialise();
  return plugin;
}

void Plugin::Initialise() {
  GuardedRecord<host::ImportInfoRec> info("importer info");
  initResult_ = Call(host::imInit, info.get(), nullptr);
  importInfo_ = *info;
  for (uint64_t index = 0; index < kMostFormats; ++index) {
    GuardedRecord<host::IndFormatRec> record("file format");
    if (Call(host::imGetIndFormat, index, record.get()) != host::imNoErr) break;
    formats_.push_back(ReadFormat(*record));
  }
}

Plugin::~Plugin() {
  Shutdown();
}

int32_t Plugin::Shutdown() {
  if (!running_) return 0;
  running_ = false;
  return Call(host::imShutdown, static_cast<void*>(nullptr), nullptr);
}

int32_t Plugin::Call(int32_t selector, void* param1, void* param2) const {
  return entry_(selector, StandardParameters(), param1, param2);
}

uint32_t Plugin::FileTypeOf(const std::string& path) const {
  const std::string extension = LowercaseExtension(path);
  for (const FileFormat& format : formats_) {
    if (std::find(format.extensions.begin(), format.extensions.end(), extension) != format.extensions.end()) return format.fileType;
  }
  return 0;
}

std::vector<std::string> Plugin::Leftovers() {
  std::vector<std::string> lines = Violations();
  if (LiveHandles() > 0) lines.push_back(std::to_string(LiveHandles()) + " memory handles not disposed of");
  if (LiveFrames() > 0) lines.push_back(std::to_string(LiveFrames()) + " frames not disposed of");
  for (const std::string& suite : AcquiredSuites()) lines.push_back("suite still acquired: " + suite);
  return lines;
}

}  // namespace standin
