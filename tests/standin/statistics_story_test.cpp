// What the log tells of a playback, read back as the report reads it: the plug-in that writes the lines and the reader of the lines agree.
#include <gtest/gtest.h>

#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "tests/standin/story_support.h"
#include "tools/qorix-host/log_events.h"

namespace standin {
namespace {

template <typename Event>
std::vector<Event> EventsOf(const std::vector<std::string>& lines) {
  std::vector<Event> events;
  for (const std::string& line : lines) {
    const std::optional<tool::LogLine> parsed = tool::ParseLogLine("10:00:00.000 [1] " + line);
    if (!parsed) continue;
    if (const Event* event = std::get_if<Event>(&parsed->event)) events.push_back(*event);
  }
  return events;
}

TEST(StatisticsStory, TellsOfARunWhenTheHostFlushes) {
  const std::string log = testing::TempDir() + "qx_statistics_story.log";
  std::remove(log.c_str());
  RunInChild({{"QORIX_IMPORT_LOG", log}, {"QORIX_IMPORT_CPU", "1"}}, [] {
    const TemporaryClip file({.frames = 8, .damagedFrames = {6}});
    std::unique_ptr<Plugin> plugin = LoadPlugin();
    int32_t result = 0;
    std::unique_ptr<HostClip> clip = HostClip::Open(*plugin, file.path(), 0, &result);
    ASSERT_NE(clip, nullptr);
    FrameRequest request{.formats = {qx::host::kBgra8}, .width = 64, .height = 48, .intent = qx::host::kIntentPlaying};
    for (const int64_t frame : {0, 1, 2, 5, 6}) {
      request.frame = frame;
      EXPECT_TRUE(clip->GetFrame(request, &result));
    }
    EXPECT_EQ(clip->Flush(), 0);
    EXPECT_EQ(clip->Flush(), 0);  // nothing more to tell
    clip.reset();
    ExpectClean(std::move(plugin));
  });
  const std::vector<std::string> lines = TakeLog(log);

  const auto clips = EventsOf<tool::ClipOpened>(lines);
  ASSERT_EQ(clips.size(), 1u);
  EXPECT_EQ(clips[0].frames, 8);
  EXPECT_EQ(EventsOf<tool::FrameMade>(lines).size(), 5u);
  const auto delivered = EventsOf<tool::FrameDelivered>(lines);
  ASSERT_EQ(delivered.size(), 5u);
  EXPECT_EQ(delivered[3].frame, 5);
  const auto runs = EventsOf<tool::RunSummary>(lines);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].width, 64);
  EXPECT_EQ(runs[0].frames, 5);
  EXPECT_EQ(runs[0].skipped, 2);

  int shownInstead = 0;
  for (const std::string& line : lines) shownInstead += line.starts_with("frame 6: frame ") && line.ends_with(" is shown instead");
  EXPECT_EQ(shownInstead, 1);
}

TEST(StatisticsStory, SaysThatANameIsWrong) {
  const std::string log = testing::TempDir() + "qx_wrong_name_story.log";
  std::remove(log.c_str());
  RunInChild({{"QORIX_IMPORT_LOG", log}}, [] {
    const TemporaryClip file({});
    const std::unique_ptr<Plugin> plugin = LoadPlugin();
    int32_t result = 0;
    EXPECT_EQ(HostClip::Open(*plugin, file.path(), plugin->FileTypeOf("a.qorix"), &result), nullptr);
    EXPECT_EQ(result, 2);
  });
  int said = 0;
  for (const std::string& line : TakeLog(log))
    said += line.find(": announced as a .qorix recording, is a RAW-ZIP archive") != std::string::npos;
  EXPECT_EQ(said, 1);
}

}  // namespace
}  // namespace standin
