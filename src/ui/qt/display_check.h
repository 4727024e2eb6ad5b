// Whether windows can be shown here, found out without risking the host.
#pragma once

#include <filesystem>

#include "base/message.h"

namespace qx {

/// Qt ends the process when it finds no display or no plug-in for it. So a program of ours (`probe`) tries first. 0, or -1 with Qt's
/// reason.
[[nodiscard]] int CheckDisplay(const std::filesystem::path& probe, Message message);

/// The last line of a probe that could connect.
constexpr const char* kProbeSuccess = "display ok";

}  // namespace qx
