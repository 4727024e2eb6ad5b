// qorix-host's settings command, from its command line to the frame.

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "standin/prefs_block.h"
#include "tests/standin/story_support.h"

namespace standin {
namespace {

/// A folder for the command's files, which is the user's folder for settings too.
class SettingsCommandTest : public testing::Test {
 protected:
  SettingsCommandTest() : folder_(testing::TempDir() + "qx_settings_command_" + std::to_string(getpid())) {
    std::filesystem::create_directories(folder_);
  }
  ~SettingsCommandTest() override { std::filesystem::remove_all(folder_); }

  /// The exit code; what the command prints goes to the file "output".
  int Run(const std::string& arguments) const {
    const std::string command = "cd " + folder_ + " && unset DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM && XDG_CONFIG_HOME=" + folder_ + " " +
                                QX_BINARY_DIR "/qorix-host " + arguments + " > output 2>&1";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string Read(const std::string& name) const {
    std::ifstream in(folder_ + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  BlockSettings Block(const std::string& name) const {
    const std::string bytes = Read(name);
    BlockSettings settings;
    EXPECT_TRUE(ReadBlock(PrefsBlock(bytes.begin(), bytes.end()), &settings)) << name;
    return settings;
  }

  std::string folder_;
  TemporaryClip clip_{TestClip{}};
};

TEST_F(SettingsCommandTest, EditsGoIntoTheBlockAndTheFrame) {
  std::ofstream(folder_ + "/film.cube") << "LUT_1D_SIZE 2\n1 1 1\n0 0 0\n";
  const std::string settings = "settings " + clip_.path() + " --prefs p.bin ";
  ASSERT_EQ(Run("frame " + clip_.path() + " -n 1 -o plain.ppm"), 0) << Read("output");
  ASSERT_EQ(Run(settings + "--set exposure=+1.5 --set curve=rec709 --set wb=5600,-10 --set demosaic=ahd --set warp=50 --set vignette=0 "
                           "--set cpu=on -n 1 -o changed.ppm"),
            0)
      << Read("output");
  EXPECT_NE(Read("output").find("log            gen 2 applied by reopening, curve 3\n"), std::string::npos) << Read("output");
  BlockSettings block = Block("p.bin");
  EXPECT_EQ(block.generation, 2u);
  EXPECT_EQ(block.exposureEv, 1.5f);
  EXPECT_EQ(block.curve, 2);
  EXPECT_TRUE(block.whiteBalanceOn);
  EXPECT_EQ(block.kelvin, 5600);
  EXPECT_EQ(block.tint, -10);
  EXPECT_EQ(block.demosaic, 1);
  EXPECT_EQ(block.warpPercent, 50);
  EXPECT_EQ(block.vignettePercent, 0);
  EXPECT_TRUE(block.cpuOnly);
  EXPECT_NE(Read("changed.ppm"), Read("plain.ppm"));
  ASSERT_EQ(Run("frame " + clip_.path() + " --prefs p.bin -n 1 -o stored.ppm"), 0) << Read("output");
  EXPECT_EQ(Read("stored.ppm"), Read("changed.ppm"));

  ASSERT_EQ(Run(settings + "--lut film.cube --set wb=as-shot"), 0) << Read("output");
  block = Block("p.bin");
  EXPECT_EQ(block.generation, 3u);
  EXPECT_EQ(block.lutPath, folder_ + "/film.cube") << "the plug-in's folder is another";
  EXPECT_FALSE(block.whiteBalanceOn);
  ASSERT_EQ(Run(settings + "--no-lut"), 0) << Read("output");
  EXPECT_EQ(Block("p.bin").lutPath, "");
  ASSERT_EQ(Run(settings), 0) << Read("output");
  EXPECT_EQ(Block("p.bin").generation, 4u) << "showing is no change";
}

TEST_F(SettingsCommandTest, FailuresAreToldAndLeaveTheBlockAlone) {
  const std::string settings = "settings " + clip_.path() + " --prefs p.bin ";
  std::ofstream(folder_ + "/film.cube") << "LUT_1D_SIZE 2\n1 1 1\n0 0 0\n";
  ASSERT_EQ(Run(settings + "--lut film.cube"), 0) << Read("output");
  std::filesystem::remove(folder_ + "/film.cube");
  const std::string before = Read("p.bin");
  struct Row {
    std::string arguments;
    int code;
    const char* message;
  };
  for (const Row& row :
       {Row{settings + "--set exposure=4.1", 1, "exposure is stops from -4 to +4"},
        Row{settings + "--set curve=log", 1, "curve is slog3, di"}, Row{settings + "--set warp=1e1", 1, "warp is a percentage"},
        Row{settings + "--set wb=5600,x", 1, "wb is as-shot, or"}, Row{settings + "--set cpu", 1, "cpu is on or off"},
        Row{settings + "--set gain=1", 1, "no such setting; there are exposure"}, Row{settings + "--dialog", 7, "no settings window"},
        Row{settings, 7, "the clip does not take the settings: cannot open the LUT"},
        Row{"frame " + clip_.path() + " --prefs p.bin -o x.ppm", 7, "the clip does not take the settings: cannot open the LUT"},
        Row{"info " + clip_.path() + " --prefs output", 1, "output: not a settings block"}}) {
    EXPECT_EQ(Run(row.arguments), row.code) << row.arguments;
    EXPECT_NE(Read("output").find(row.message), std::string::npos) << row.arguments << ": " << Read("output");
    EXPECT_EQ(Read("p.bin"), before) << row.arguments;
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/x.ppm"));
}

}  // namespace
}  // namespace standin
