// Command lines whose texts are UTF-8 on every system.
#pragma once

#include <string>
#include <vector>

namespace tool {

/// The program's arguments, its name first, as UTF-8; natively just argv.
class CommandLine {
 public:
  CommandLine(int argc, char** argv);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  int count() const { return int(pointers_.size()); }
  const char* const* arguments() const { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<const char*> pointers_;
};

}  // namespace tool
