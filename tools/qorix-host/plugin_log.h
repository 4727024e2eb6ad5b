// What the plug-in writes into its diagnostic log while this program drives it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// Make it before the plug-in is loaded. Reads the log that QORIX_IMPORT_LOG names, or switches one on in a temporary file that goes with
/// the object.
class PluginLog {
 public:
  PluginLog();
  ~PluginLog();
  PluginLog(const PluginLog&) = delete;
  PluginLog& operator=(const PluginLog&) = delete;

  /// The messages since the last call that begin with `prefix`, without time and thread.
  std::vector<std::string> Take(const std::string& prefix);

 private:
  std::string path_;
  bool temporary_ = false;
  int64_t read_ = 0;
};

}  // namespace tool
