// Whether windows can be shown here, found out without risking the host.
#pragma once

#include <sys/types.h>

#include <filesystem>

#include "base/message.h"

namespace qx {

/// Qt ends the process when it finds no display or no plug-in for it. So a program of ours tries first. It keeps its connection until this
/// object goes: some servers start anew when their last client leaves, and answer nobody meanwhile.
class DisplayProbe {
 public:
  DisplayProbe() = default;
  /// Ends the program.
  ~DisplayProbe();
  DisplayProbe(const DisplayProbe&) = delete;
  DisplayProbe& operator=(const DisplayProbe&) = delete;

  /// Starts `program` and waits for its answer. 0, or -1 with Qt's reason. Once.
  [[nodiscard]] int Connect(const std::filesystem::path& program, Message message);

 private:
  pid_t process_ = 0;
};

/// The last line of a probe that could connect.
constexpr const char* kProbeSuccess = "display ok";
/// How long a probe that nobody ends stays connected.
constexpr unsigned kProbeSeconds = 30;

}  // namespace qx
