// The plug-in as the host drives it: one entry, selectors, results.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/records.h"
#include "standin/module_loader.h"

namespace standin {

/// A file format that the plug-in announced.
struct FileFormat {
  uint32_t fileType = 0;
  std::string name, shortName;
  std::vector<std::string> extensions;
};

/// Loaded, initialised, and shut down by the destructor. Calls may come from any thread.
class Plugin {
 public:
  /// Loads and initialises; null with a reason.
  static std::unique_ptr<Plugin> Load(const std::string& path, std::string* error);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  int32_t Call(int32_t selector, void* param1, void* param2) const;
  int32_t Call(int32_t selector, uint64_t index, void* param2) const { return Call(selector, reinterpret_cast<void*>(index), param2); }

  /// What imInit answered, and the record it filled.
  int32_t initResult() const { return initResult_; }
  const qx::host::ImportInfoRec& importInfo() const { return importInfo_; }
  const std::vector<FileFormat>& formats() const { return formats_; }
  /// The announced file type of a path's extension, 0 for none.
  uint32_t FileTypeOf(const std::string& path) const;

  /// Sends imShutdown now; later calls and the destructor do not send it again.
  int32_t Shutdown();

  /// Everything the plug-in left behind or did wrong so far: live handles and frames, suites still acquired, violations. Empty when clean.
  static std::vector<std::string> Leftovers();

 private:
  explicit Plugin(ImportEntry entry) : entry_(entry) {}
  void Initialise();

  ImportEntry entry_;
  int32_t initResult_ = 0;
  qx::host::ImportInfoRec importInfo_ = {};
  std::vector<FileFormat> formats_;
  bool running_ = true;
};

}  // namespace standin
