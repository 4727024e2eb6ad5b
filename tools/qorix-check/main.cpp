// The health check: what is whole, damaged or lost in a recording of either kind.

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "platform/file.h"
#include "report.h"
#include "tools/common/progress.h"

namespace {

tool::Health CheckFile(const std::string& path, bool decode) {
  qx::File file;
  if (!file.Open(path)) {
    tool::Health health;
    health.reason = "cannot open the file";
    return health;
  }
  tool::Progress progress("checking");
  return tool::CheckHealth(file, decode, [&](size_t done, size_t total) { progress.Show(done, total); });
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Tells what is whole, damaged or lost in recordings: CinemaDNG RAW-ZIP archives and .qorix files.");
  app.footer("Exit code: 0 whole, 1 damaged but readable, 2 unreadable, 3 wrong use; of several files the worst.");
  std::vector<std::string> paths;
  bool json = false, quick = false;
  app.add_option("FILE", paths, "recordings")->required();
  app.add_flag("--json", json, "as JSON, one object a file, nothing left out");
  app.add_flag("--quick", quick, "look at the structure only, decode no frames");
  try {
    app.parse(argc, argv);
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
