// The program that tries the display out before the window's application does.
#include "ui/qt/display_check.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace qx {
namespace {

/// A shell script in the probe's place; it leaves its process number behind.
class ScriptedProbe {
 public:
  explicit ScriptedProbe(const std::string& commands)
      : path_(std::filesystem::temp_directory_path() / ("qx_probe_" + std::to_string(getpid()))), number_(path_.string() + ".pid") {
    std::ofstream(path_) << "#!/bin/sh\necho $$ > " << number_ << "\n" << commands << "\n";
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
  }
  ~ScriptedProbe() {
    std::filesystem::remove(path_);
    std::filesystem::remove(number_);
  }
  const std::filesystem::path& path() const { return path_; }
  bool isRunning() const {
    pid_t process = 0;
    std::ifstream(number_) >> process;
    return process > 0 && kill(process, 0) == 0;
  }

 private:
  const std::filesystem::path path_, number_;
};

TEST(DisplayProbe, HoldsItsConnectionUntilItGoes) {
  const ScriptedProbe script("echo display ok; exec >&-; exec sleep 60");
  {
    DisplayProbe probe;
    MessageBuffer<256> message;
    ASSERT_EQ(probe.Connect(script.path(), message), 0) << message.text();
    EXPECT_TRUE(script.isRunning());
  }
  EXPECT_FALSE(script.isRunning());
}

TEST(DisplayProbe, PassesTheFirstReasonOn) {
  struct Row {
    const char* commands;
    const char* message;
  };
  for (const Row& row : {Row{"echo could not connect; echo reinstall it; exit 1", "no display: could not connect"},
                         Row{"exit 1", "no display: no answer"}, Row{"echo display ok; echo but then; exit 1", "no display: display ok"}}) {
    SCOPED_TRACE(row.commands);
    const ScriptedProbe script(row.commands);
    DisplayProbe probe;
    MessageBuffer<256> message;
    EXPECT_EQ(probe.Connect(script.path(), message), -1);
    EXPECT_STREQ(message.text(), row.message);
  }
}

}  // namespace
}  // namespace qx
