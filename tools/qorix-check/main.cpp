// The health check: what is whole, damaged or lost in a recording of either kind.

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "platform/file.h"
#include "report.h"
#include "tools/common/command_line.h"
#include "tools/common/own_window.h"
#include "tools/common/paths.h"
#include "tools/common/progress.h"

namespace {

tool::Health NotOpened(std::string reason) {
  tool::Health health;
  health.opened = false;
  health.reason = std::move(reason);
  return health;
}

tool::Health CheckFile(const std::string& path, bool decode) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(tool::PathOf(path), error);
  if (!std::filesystem::exists(status)) return NotOpened("there is no such file");
  if (std::filesystem::is_directory(status)) return NotOpened("this is a folder");
  qx::File file;
  if (!file.Open(tool::PathOf(path))) return NotOpened("it may not be read");
  tool::Progress progress("checking");
  tool::Health health = tool::CheckHealth(file, decode, [&](size_t done, size_t total) { progress.Show(done, total); });
  tool::NoteWrongName(path, &health);
  return health;
}

int Run(const tool::CommandLine& commandLine) {
  CLI::App app("Tells what is whole, damaged or lost in recordings: CinemaDNG RAW-ZIP archives and .qorix files.");
  app.footer(
      "Exit code: 0 whole, 1 damaged but readable, 2 unreadable, 3 wrong use,\n4 no such file, or it may not be read; of several files the "
      "highest.");
  app.allow_windows_style_options(false);  // "/clip" is a path
  std::vector<std::string> paths;
  bool json = false, quick = false;
  app.add_option("FILE", paths, "recordings")->required();
  app.add_flag("--json", json, "as JSON, one object a file, nothing left out");
  app.add_flag("--quick", quick, "look at the structure only, decode no frames");
  try {
    app.parse(commandLine.count(), commandLine.arguments());
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 3;
  }
  int worst = 0;
  for (const std::string& path : paths) {
    const tool::Health health = CheckFile(path, !quick);
    fmt::print("{}", json ? tool::HealthJson(path, health) : tool::HealthText(path, health));
    worst = std::max(worst, int(health.verdict()));
  }
  return worst;
}

}  // namespace

int main(int argc, char** argv) {
  const int exitCode = Run(tool::CommandLine(argc, argv));
  tool::KeepOwnWindowOpen();
  return exitCode;
}
