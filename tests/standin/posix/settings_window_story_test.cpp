#include <algorithm>

#include "host/selectors.h"
#include "standin/host_prefs.h"
#include "standin/host_suites.h"
#include "standin/prefs_block.h"
#include "tests/standin/story_support.h"

namespace standin {
namespace {

namespace host = qx::host;

TEST(SettingsStory, NothingChangesWhereNoWindowCanBeShown) {
  const TemporaryClip file({});
  const std::string log = testing::TempDir() + "qx_settings_window.log";
  RunInChild({{"QORIX_IMPORT_LOG", log}}, [&] {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) qx::UnsetEnvironment(name);
    auto plugin = LoadPlugin();
    int32_t result = -1;
    auto clip = HostClip::Open(*plugin, file.path(), 0, &result);
    ASSERT_EQ(result, host::imNoErr);
    PrefsBlock block(1024);
    ASSERT_TRUE(WriteBlock({.generation = 4, .curve = 1}, &block));  // the host refuses a change that comes with 300
    EXPECT_EQ(OpenSettings(*plugin, file.path(), &block), host::imCancel);
    EXPECT_EQ(OpenInstanceSettings(*plugin, file.path(), clip->privateData(), &block), host::imCancel);
    const std::vector<std::string> lines = TakeLog(log);
    for (const std::string operation : {"imGetPrefs8", "imGetInstancePrefs"}) {
      EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.starts_with(operation + ": no settings window: ");
      })) << operation;
    }
    EXPECT_TRUE(RefreshedFiles().empty());
    clip.reset();
    ExpectClean(std::move(plugin));
  });
}

}  // namespace
}  // namespace standin
