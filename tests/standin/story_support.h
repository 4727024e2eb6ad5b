// Whole stories through the plug-in's one door, each in a process of its own: the plug-in reads its environment once per process.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/selectors.h"
#include "samples/dng_writer.h"
#include "samples/zip_writer.h"
#include "standin/frame_image.h"
#include "standin/guarded.h"
#include "standin/host_clip.h"
#include "standin/plugin.h"
#include "tests/support/system.h"
#include "tests/support/user_settings.h"

namespace standin {

using Environment = std::vector<std::pair<const char*, std::string>>;

/// Which process of a story this is: a parent runs its own program again for each call of RunInChild, and the child runs that call alone.
struct StoryProcess {
  static constexpr const char* kPartVariable = "QX_STORY_PART";
  static constexpr const char* kNameVariable = "QX_STORY_NAME";
  static constexpr int kPartPassed = 42;  // no exit code that a test program ends with by itself

  int childPart = -1;  // of a child: the call that it is to run
  std::string name;    // the same in parent and child, and no other story's

  static const StoryProcess& This() {
    static const StoryProcess process = [] {
      const char* const part = std::getenv(kPartVariable);
      const char* const name = std::getenv(kNameVariable);
      return part != nullptr && name != nullptr ? StoryProcess{std::atoi(part), name} : StoryProcess{-1, std::to_string(qx::ProcessId())};
    }();
    return process;
  }
  bool isChild() const { return childPart >= 0; }
};

inline int FailuresSoFar() {
  const testing::TestResult& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
  int failures = 0;
  for (int i = 0; i < result.total_part_count(); ++i) failures += result.GetTestPartResult(i).failed();
  return failures;
}

/// Among the variables of a child: the place of its user settings, which the parent removes (tests/support/user_settings.h).
constexpr const char* kSettingsPlace = "QX_TEST_SETTINGS_PLACE";

/// Runs `body` in a child process with these variables set; its failures become a failure of the calling test. The user's settings are at
/// an empty place of their own unless the variables name one. What the body captures is made anew by the child, which runs the test from
/// its beginning but leaves out other calls of this function.
inline void RunInChild(const Environment& environment, const std::function<void()>& body) {
  static int calls = 0;
  static const testing::TestInfo* callsOf = nullptr;
  const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
  if (std::exchange(callsOf, test) != test) calls = 0;
  const int part = calls++;
  const StoryProcess& process = StoryProcess::This();
  if (process.isChild()) {
    if (part != process.childPart) return;
    const char* const given = std::getenv(kSettingsPlace);
    const std::string place = given != nullptr ? given : "qx_settings_" + process.name + "_" + test->name() + std::to_string(part);
    qx::UseSettingsPlace(place);
    const int failuresBefore = FailuresSoFar();
    body();
    std::fflush(nullptr);
    if (given == nullptr) qx::RemoveSettingsPlace(place);
    std::_Exit(FailuresSoFar() > failuresBefore ? 1 : StoryProcess::kPartPassed);
  }
  qx::SetEnvironment(StoryProcess::kPartVariable, std::to_string(part));
  qx::SetEnvironment(StoryProcess::kNameVariable, process.name);
  for (const auto& [name, value] : environment) qx::SetEnvironment(name, value);
  const std::string filter = std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name();
  EXPECT_EQ(qx::RunThisProgram({filter, "--gtest_brief=1"}), StoryProcess::kPartPassed) << "part " << part;
  for (const auto& [name, value] : environment) qx::UnsetEnvironment(name);
  qx::UnsetEnvironment(StoryProcess::kPartVariable);
  qx::UnsetEnvironment(StoryProcess::kNameVariable);
}

inline std::unique_ptr<Plugin> LoadPlugin() {
  std::string error;
  std::unique_ptr<Plugin> plugin = Plugin::Load(QX_PLUGIN_PATH, &error);
  EXPECT_NE(plugin, nullptr) << error;
  return plugin;
}

inline std::unique_ptr<HostClip> OpenClip(const Plugin& plugin, const std::string& path) {
  int32_t result = -1;
  std::unique_ptr<HostClip> clip = HostClip::Open(plugin, path, 0, &result);
  EXPECT_EQ(result, qx::host::imNoErr);
  return clip;
}

inline FrameRequest RequestFor(int64_t frame, uint32_t format) {
  FrameRequest request;
  request.frame = frame;
  request.formats = {format};
  return request;
}

/// In 16-bit steps.
inline int LargestDifference(const RgbImage& a, const RgbImage& b) {
  int largest = 0;
  for (size_t i = 0; i < a.rgb.size(); ++i) largest = std::max(largest, std::abs(int(a.rgb[i]) - int(b.rgb[i])));
  return largest;
}

/// Shuts the plug-in down and expects that it left nothing behind.
inline void ExpectClean(std::unique_ptr<Plugin> plugin) {
  EXPECT_EQ(plugin->Shutdown(), 0);
  plugin.reset();
  for (const std::string& line : Plugin::Leftovers()) ADD_FAILURE() << line;
}

/// RunInChild with the plug-in loaded. Behind `body` it is shut down and must have left nothing behind.
inline void RunWithPlugin(const Environment& environment, const std::function<void(const Plugin&)>& body) {
  RunInChild(environment, [&] {
    std::unique_ptr<Plugin> plugin = LoadPlugin();
    if (plugin == nullptr) return;
    body(*plugin);
    ExpectClean(std::move(plugin));
  });
}

/// The same with a clip, which is closed before the plug-in goes.
inline void RunWithClip(const Environment& environment, const std::string& path, const std::function<void(HostClip&)>& body) {
  RunWithPlugin(environment, [&](const Plugin& plugin) {
    const std::unique_ptr<HostClip> clip = OpenClip(plugin, path);
    if (clip != nullptr) body(*clip);
  });
}

/// A clip's asynchronous importer as a host drives it. Closed with the object; it may outlive the clip, not the plug-in.
class AsyncImporter {
 public:
  explicit AsyncImporter(const HostClip& clip) {
    GuardedRecord<qx::host::AsyncImporterCreationRec> creation("creation");
    creation->inPrivateData = clip.privateData();
    EXPECT_EQ(clip.plugin().Call(qx::host::imCreateAsyncImporter, creation.get(), nullptr), qx::host::imNoErr);
    entry_ = creation->outAsyncEntry;
    data_ = creation->outAsyncPrivateData;
  }
  ~AsyncImporter() { EXPECT_EQ(entry_(qx::host::aiClose, data_), qx::host::aiNoError); }
  AsyncImporter(const AsyncImporter&) = delete;
  AsyncImporter& operator=(const AsyncImporter&) = delete;

  /// Announces that the frame at `time` will be asked for.
  int32_t Initiate(int64_t time) const {
    GuardedRecord<qx::host::AsyncRequestRec> initiate("initiate");
    initiate->inPrivateData = data_;
    initiate->sourceVideo.inFrameTime = time;
    return entry_(qx::host::aiInitiateAsyncRead, initiate.get());
  }
  int32_t GetFrame(qx::host::SourceVideoRec* request) const {
    request->inPrivateData = data_;
    return entry_(qx::host::aiGetFrame, request);
  }
  int32_t Flush() const { return entry_(qx::host::aiFlush, data_); }
  int32_t Call(int32_t selector, void* record) const { return entry_(selector, record); }

 private:
  qx::host::AsyncEntry entry_ = nullptr;
  void* data_ = nullptr;
};

/// A name for a temporary file, without its ending: no other story's, and the same in parent and child. Counted in each test from 0, so
/// that a child that runs one test alone comes to the same names.
inline std::string NextTemporaryName() {
  static int count = 0;
  static std::string countOf;
  const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
  if (std::exchange(countOf, test) != test) count = 0;
  return testing::TempDir() + "qx_story_" + StoryProcess::This().name + "_" + test + std::to_string(count++);
}

inline std::filesystem::path NativePath(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

inline bool IsWrittenByParent(const std::string& path) {
  return StoryProcess::This().isChild() && std::filesystem::exists(NativePath(path));
}

struct TestClip {
  int width = 64, height = 48, frames = 5;
  std::vector<int> damagedFrames = {};
  bool smooth = false;  // a picture that survives being reduced
  uint32_t samplesPerPixel = 1;
  int32_t rateNumerator = 25, rateDenominator = 1;
};

/// A picture that tells frames and places apart: a ramp that starts elsewhere in each frame.
inline std::vector<uint16_t> RampMosaic(const TestClip& clip, int frame) {
  std::vector<uint16_t> samples(size_t(clip.width) * size_t(clip.height));
  for (int y = 0; y < clip.height; ++y) {
    for (int x = 0; x < clip.width; ++x) {
      const int ramp = clip.smooth ? 60 + x * 2 + y * 200 / clip.height : (x * 37 + y * 11 + frame * 301) % 900;
      samples[size_t(y) * size_t(clip.width) + size_t(x)] = uint16_t(64 + ramp);
    }
  }
  return samples;
}

/// A stored archive of uncompressed 12-bit DNGs at 25 frames a second, in a temporary file that goes with the object.
class TemporaryClip {
 public:
  explicit TemporaryClip(const TestClip& clip) : path_(NextTemporaryName() + ".zip") {
    if (IsWrittenByParent(path_)) return;
    std::ofstream out(NativePath(path_), std::ios::binary);
    qx::ZipWriter zip(qx::ZipSinkTo(&out));
    for (int frame = 0; frame < clip.frames; ++frame) {
      qx::DngDescription dng;
      dng.width = uint32_t(clip.width);
      dng.height = uint32_t(clip.height);
      dng.bitsPerSample = 12;
      dng.black = {64};
      dng.white = 1023;
      dng.frameRate = {clip.rateNumerator, clip.rateDenominator};
      dng.asShotNeutral = {0.5, 1.0, 0.625};
      std::vector<uint8_t> bytes = qx::WriteDng(dng, RampMosaic(clip, frame));
      for (const int damaged : clip.damagedFrames) {
        if (damaged == frame) bytes.assign(bytes.size(), 0);
      }
      char name[32];
      std::snprintf(name, sizeof(name), "V_%04d.dng", frame);
      zip.Add(name, bytes);
    }
    zip.Finish();
  }
  ~TemporaryClip() {
    std::error_code ignored;
    std::filesystem::remove(NativePath(path_), ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

inline int64_t CountStarting(const std::vector<std::string>& lines, const std::string& start) {
  return std::count_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(start); });
}

/// The lines of a log file without time and thread, and the file gone afterwards.
inline std::vector<std::string> TakeLog(const std::string& path) {
  std::vector<std::string> lines;
  const std::filesystem::path file = NativePath(path);
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    const size_t end = line.find("] ");
    lines.push_back(end != std::string::npos ? line.substr(end + 2) : line);
  }
  in.close();
  std::error_code ignored;
  std::filesystem::remove(file, ignored);
  return lines;
}

}  // namespace standin
