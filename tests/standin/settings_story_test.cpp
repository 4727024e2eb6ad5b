// Stories of a clip's settings: the block that the host keeps, what it changes in the frames, and the defaults for new clips.

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <limits>
#include <thread>

#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "standin/frame_image.h"
#include "standin/guarded.h"
#include "standin/host_prefs.h"
#include "standin/host_suites.h"
#include "standin/prefs_block.h"
#include "tests/standin/story_support.h"

namespace standin {
namespace {

namespace host = qx::host;

PrefsBlock BlockOf(const BlockSettings& settings) {
  PrefsBlock block(1024);
  EXPECT_TRUE(WriteBlock(settings, &block));
  return block;
}

/// Stores the block and asks for the clip's info, as a host does after the window. The log's lines about settings.
std::vector<std::string> Store(HostClip* clip, const BlockSettings& settings, const std::string& log) {
  std::remove(log.c_str());
  clip->SetPrefs(BlockOf(settings));
  clip->Describe();
  std::vector<std::string> lines = TakeLog(log);
  std::erase_if(lines, [](const std::string& line) { return !line.starts_with("prefs "); });
  return lines;
}

std::vector<float> LinearFrame(const HostClip& clip, int64_t frame) {
  FrameRequest request;
  request.frame = frame;
  request.formats = {host::kBgraLinear};
  int32_t result = 0;
  const HostFrame delivered = clip.GetFrame(request, &result);
  if (!delivered) return {};
  const std::vector<uint8_t> bytes = RawBytesOfFrame(ViewFrame(delivered.get()));
  std::vector<float> values(bytes.size() / sizeof(float));
  std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
  return values;
}

std::vector<uint16_t> Picture(const HostClip& clip, int64_t frame) {
  FrameRequest request;
  request.frame = frame;
  request.formats = {host::kBgra16};
  int32_t result = 0;
  const HostFrame delivered = clip.GetFrame(request, &result);
  return delivered ? ImageOfFrame(ViewFrame(delivered.get())).rgb : std::vector<uint16_t>();
}

/// A 1D LUT that turns the picture into its negative.
std::string WriteNegativeLut(const std::string& name) {
  const std::string path = testing::TempDir() + name;
  std::ofstream(path) << "LUT_1D_SIZE 2\n1 1 1\n0 0 0\n";
  return path;
}

TEST(SettingsStory, HostGetsABlockAndThePluginReadsItBack) {
  const TemporaryClip file({});
  RunWithPlugin({}, [&](const Plugin& plugin) {
    PrefsBlock block;
    ASSERT_EQ(AskFirstPrefs(plugin, file.path(), &block), host::imNoErr);
    EXPECT_EQ(block.size(), 1024u);
    BlockSettings settings;
    ASSERT_TRUE(ReadBlock(block, &settings));
    EXPECT_EQ(settings.version, 3u);
    EXPECT_EQ(settings.generation, 1u);
    EXPECT_EQ(settings.warpPercent, 100);
    EXPECT_EQ(settings.vignettePercent, 100);
    EXPECT_EQ(block, BlockOf(settings)) << "the witness writes the same bytes";
  });
}

TEST(SettingsStory, EachConfirmedBlockIsAppliedOnce) {
  const TemporaryClip file({});
  const std::string log = testing::TempDir() + "qx_settings_story.log", lut = WriteNegativeLut("qx_settings_story.cube");
  RunInChild({{"QORIX_IMPORT_LOG", log}}, [&] {
    auto plugin = LoadPlugin();
    const auto clip = OpenClip(*plugin, file.path());
    const std::string prefix = "prefs " + file.path() + ": ";
    const std::vector<std::string> nothing;
    const auto expect = [&](const char* what, const BlockSettings& settings, const std::vector<std::string>& lines) {
      EXPECT_EQ(Store(clip.get(), settings, log), lines) << what;
    };
    expect("never confirmed", {.generation = 0, .exposureEv = 1}, nothing);
    expect("first", {.generation = 1}, {prefix + "gen 1 applied on the fly, curve 2"});
    expect("the same again", {.generation = 1}, nothing);
    expect("same generation, other settings", {.generation = 1, .exposureEv = 1}, nothing);
    expect("exposure", {.generation = 2, .exposureEv = 1}, {prefix + "gen 2 applied on the fly, curve 2"});
    expect("curve", {.generation = 3, .curve = 3}, {prefix + "gen 3 applied by reopening, curve 4"});
    expect("to a LUT", {.generation = 4, .curve = 3, .lutPath = lut}, {prefix + "gen 4 applied by reopening, curve 0"});
    expect("missing LUT", {.generation = 5, .curve = 3, .lutPath = "/no.cube"}, {prefix + "not applied: cannot open the LUT"});
    expect("not tried again", {.generation = 5, .curve = 3, .lutPath = "/no.cube"}, nothing);
    expect("missing LUT by reopening", {.generation = 6, .lutPath = "/no.cube"}, {prefix + "not applied: cannot open the LUT"});
    expect("an older generation", {.generation = 2, .curve = 2}, {prefix + "gen 2 applied by reopening, curve 3"});
    expect("the range is the process's", {.generation = 7, .curve = 2, .narrowRange = true},
           {prefix + "gen 7 applied on the fly, curve 3"});
  });
  std::remove(log.c_str());
  std::remove(lut.c_str());
}

TEST(SettingsStory, FramesFollowTheSettings) {
  const TemporaryClip file({.smooth = true});
  const std::string log = testing::TempDir() + "qx_settings_frames.log", lut = WriteNegativeLut("qx_settings_frames.cube");
  RunWithClip({{"QORIX_IMPORT_LOG", log}}, file.path(), [&](HostClip& clip) {
    Store(&clip, {.generation = 1, .curve = 3}, log);
    EXPECT_EQ(clip.Describe().colorSpace, "type 3, primaries 9, transfer 8, matrix 0, 32 bit, full range");
    const std::vector<float> before = LinearFrame(clip, 1);
    Store(&clip, {.generation = 2, .curve = 3, .exposureEv = 1}, log);
    const std::vector<float> after = LinearFrame(clip, 1);
    ASSERT_EQ(after.size(), before.size());
    ASSERT_FALSE(before.empty());
    size_t compared = 0;
    for (size_t i = 0; i < before.size(); ++i) {
      if (i % 4 == 3 || before[i] < 0.01f || after[i] > 0.9f) continue;
      ASSERT_NEAR(after[i] / before[i], 2, 0.02) << i;
      ++compared;
    }
    EXPECT_GT(compared, before.size() / 8);

    Store(&clip, {.generation = 3, .curve = 2}, log);
    const std::vector<uint16_t> plain = Picture(clip, 1);
    EXPECT_EQ(clip.Describe().colorSpace, "");
    Store(&clip, {.generation = 4, .curve = 2, .lutPath = lut}, log);
    const std::vector<uint16_t> negative = Picture(clip, 1);
    ASSERT_EQ(plain.size(), negative.size());
    for (size_t i = 0; i < plain.size(); ++i) ASSERT_NEAR(plain[i] + negative[i], 65535, 64) << i;
    Store(&clip, {.generation = 5, .curve = 2}, log);
    EXPECT_EQ(Picture(clip, 1), plain);
  });
  std::remove(log.c_str());
  std::remove(lut.c_str());
}

// A damaged project may hold any number; the clip then shows the camera's white balance.
TEST(SettingsStory, NumbersThatAreNoneDevelopAsShot) {
  const TemporaryClip file({.smooth = true});
  RunWithClip({}, file.path(), [&](HostClip& clip) {
    const std::vector<uint16_t> asShot = Picture(clip, 1);
    ASSERT_FALSE(asShot.empty());
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kInfinity = std::numeric_limits<double>::infinity();
    uint32_t generation = 0;
    for (const auto& [kelvin, tint] :
         {std::pair{kNaN, 0.0}, std::pair{5600.0, kNaN}, std::pair{5600.0, kInfinity}, std::pair{-kInfinity, 0.0}}) {
      clip.SetPrefs(BlockOf({.generation = ++generation, .whiteBalanceOn = true, .kelvin = kelvin, .tint = tint}));
      clip.Describe();
      EXPECT_EQ(Picture(clip, 1), asShot) << kelvin << " K, " << tint;
    }
  });
}

TEST(SettingsStory, NewClipsStartFromTheUsersDefaults) {
  const TemporaryClip file({});
  const std::string log = testing::TempDir() + "qx_settings_defaults.log";
  const std::string place = "qx_settings_defaults_" + StoryProcess::This().name;
  struct Row {
    const char* what;
    PrefsBlock defaults;
    const char* curve;  // QORIX_IMPORT_CURVE, "" for none
    std::vector<std::string> lines;
  };
  const std::string opened = "open " + file.path() +
                             ": 64x48 (half 0x0, quarter 0x0), 5 frames, 25/1 fps, audio 0 (0 ch, 0 Hz, 0), tc 01:00:00:00, CinemaDNG "
                             "RAW-ZIP; ";
  const std::string failed = "open " + file.path() + ": defaults from the registry failed: cannot open the LUT — converter defaults";
  const PrefsBlock withBadLut = BlockOf({.curve = 1, .exposureEv = 2, .lutPath = "/no.cube"});
  const Row rows[] = {
      {"saved", BlockOf({.curve = 2, .exposureEv = -1.5f}), "", {opened + "curve 3, lut off, ev -1.50"}},
      {"the environment's curve wins", BlockOf({.curve = 2, .exposureEv = 1}), "LINEAR", {opened + "curve 4, lut off, ev 1.00"}},
      {"damaged", PrefsBlock(1024, 0x51), "", {opened + "curve 2, lut off, ev 0.00"}},
      {"too long", PrefsBlock(1025), "", {opened + "curve 2, lut off, ev 0.00"}},
      {"settings that no clip can take", withBadLut, "", {failed, opened + "curve 2, lut off, ev 0.00"}},
      {"no second attempt with the environment's", withBadLut, "di", {"open " + file.path() + ": not ours: cannot open the LUT"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    qx::PutSetting(place, "Defaults", row.defaults);
    Environment environment = {{kSettingsPlace, place}, {"QORIX_IMPORT_LOG", log}};
    if (row.curve[0] != '\0') environment.emplace_back("QORIX_IMPORT_CURVE", row.curve);
    RunInChild(environment, [&] {
      auto plugin = LoadPlugin();
      int32_t result = 0;
      HostClip::Open(*plugin, file.path(), 0, &result);
      std::vector<std::string> lines = TakeLog(log);
      std::erase_if(lines, [](const std::string& line) { return !line.starts_with("open "); });
      EXPECT_EQ(lines, row.lines);
    });
  }
  qx::RemoveSettingsPlace(place);
}

TEST(SettingsStory, FirstBlockCarriesTheUsersDefaults) {
  const TemporaryClip file({});
  const std::string place = "qx_settings_first_" + StoryProcess::This().name;
  const PrefsBlock defaults = BlockOf({.demosaic = 2, .kelvin = 4000});
  qx::PutSetting(place, "Defaults", defaults);
  RunInChild({{kSettingsPlace, place}}, [&] {
    auto plugin = LoadPlugin();
    PrefsBlock block;
    ASSERT_EQ(AskFirstPrefs(*plugin, file.path(), &block), host::imNoErr);
    EXPECT_EQ(block, BlockOf({.generation = 1, .demosaic = 2, .kelvin = 4000}));
  });
  qx::RemoveSettingsPlace(place);
}

// Frames are asked for, synchronously and through an asynchronous importer, while the settings change back and forth: each frame is one of
// the two pictures, whole, and a clip that was reopened is closed by the last request that works on it.
TEST(SettingsStory, SettingsChangeBesideFrameRequests) {
  constexpr int kFrames = 6, kChanges = 24, kThreads = 4;
  const TemporaryClip file({.frames = kFrames});
  RunWithClip({{"QORIX_IMPORT_TUNE", "3,6,3"}, {"QORIX_IMPORT_ASYNC", "1"}}, file.path(), [&](HostClip& clip) {
    const auto settings = [](uint32_t generation) {
      return BlockOf({.generation = generation, .curve = int32_t(generation % 2) * 2, .exposureEv = float(generation / 2 % 2)});
    };
    std::vector<std::vector<std::vector<uint16_t>>> expected(kFrames);
    for (uint32_t generation = 1; generation <= 4; ++generation) {
      clip.SetPrefs(settings(generation));
      clip.Describe();
      for (int frame = 0; frame < kFrames; ++frame) expected[size_t(frame)].push_back(Picture(clip, frame));
    }
    const std::u16string path(file.path().begin(), file.path().end());

    const AsyncImporter async(clip);
    clip.SetPrefs({});
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0}, delivered{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        for (int frame = i; !stop || frame < i + kFrames; ++frame) {
          const auto& allowed = expected[size_t(frame % kFrames)];
          const std::vector<uint16_t> picture = Picture(clip, frame % kFrames);
          if (picture.empty()) continue;  // its job was cancelled by the change
          if (std::find(allowed.begin(), allowed.end(), picture) == allowed.end()) ++wrong;
          ++delivered;
        }
      });
    }
    threads.emplace_back([&] {
      for (int frame = 0; !stop; ++frame) {
        async.Initiate(clip.TimeOfFrame(frame % kFrames));
        if (frame % 8 == 7) async.Flush();
      }
    });
    for (uint32_t generation = 5; generation < 5 + kChanges; ++generation) {
      const PrefsBlock block = settings(generation);
      GuardedRecord<host::FileAccessRec8> access("file access record");
      access->filepath = path.c_str();
      GuardedRecord<host::FileInfoRec8> info("file info record");
      info->privatedata = clip.privateData();
      info->prefs = const_cast<uint8_t*>(block.data());
      if (clip.plugin().Call(host::imGetInfo8, access.get(), info.get()) != host::imNoErr) ++wrong;
    }
    stop = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(delivered, 0);
  });
}

}  // namespace
}  // namespace standin
