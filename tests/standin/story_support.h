// Whole stories through the plug-in's one door, each in a child process: the plug-in reads its environment once per process.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "samples/dng_writer.h"
#include "samples/zip_writer.h"
#include "standin/host_clip.h"
#include "standin/plugin.h"

namespace standin {

using Environment = std::vector<std::pair<const char*, std::string>>;

/// Runs `body` in a child process with these variables set; its failures become a failure of the calling test. The user's folder for
/// settings is an empty one of its own unless the variables name one.
inline void RunInChild(const Environment& environment, const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const std::string config = testing::TempDir() + "qx_config_" + std::to_string(getpid());
    setenv("XDG_CONFIG_HOME", config.c_str(), 1);
    for (const auto& [name, value] : environment) setenv(name, value.c_str(), 1);
    body();
    std::fflush(nullptr);
    std::filesystem::remove_all(config);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child ended with status " << status;
}

inline std::unique_ptr<Plugin> LoadPlugin() {
  std::string error;
  std::unique_ptr<Plugin> plugin = Plugin::Load(QX_BINARY_DIR "/qorix-importer.so", &error);
  EXPECT_NE(plugin, nullptr) << error;
  return plugin;
}

/// Shuts the plug-in down and expects that it left nothing behind.
inline void ExpectClean(std::unique_ptr<Plugin> plugin) {
  EXPECT_EQ(plugin->Shutdown(), 0);
  plugin.reset();
  for (const std::string& line : Plugin::Leftovers()) ADD_FAILURE() << line;
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
  explicit TemporaryClip(const TestClip& clip)
      : path_(testing::TempDir() + "qx_story_" + std::to_string(getpid()) + "_" + Next() + ".zip") {
    std::ofstream out(path_, std::ios::binary);
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
  ~TemporaryClip() { std::remove(path_.c_str()); }
  const std::string& path() const { return path_; }

 private:
  static std::string Next() {
    static int count = 0;
    return std::to_string(count++);
  }
  std::string path_;
};

/// The lines of a log file without time and thread, and the file gone afterwards.
inline std::vector<std::string> TakeLog(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    const size_t end = line.find("] ");
    lines.push_back(end != std::string::npos ? line.substr(end + 2) : line);
  }
  in.close();
  std::remove(path.c_str());
  return lines;
}

}  // namespace standin
