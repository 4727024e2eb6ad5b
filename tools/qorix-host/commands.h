// The commands of qorix-host. Each returns the program's exit code.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "plugin_log.h"
#include "standin/host_clip.h"
#include "standin/plugin.h"

namespace tool {

enum ExitCode {
  kOk = 0,
  kUsage = 1,
  kNotOurs = 2,
  kFrameFailed = 3,
  kUnclean = 4,
  kNoPlugin = 5,
  kWriteFailed = 6,
  kSettings = 7,
  kNoSound = 8
};

struct CommonOptions {
  std::string pluginPath;
  std::string clipPath;
  std::string size = "full";    // full, half, quarter
  std::string format = "bgra";  // FourCC of the host
  std::string prefsPath;        // file with the clip's settings block; empty: none is stored
  bool readLog = false;         // the plug-in's log is needed although no block is stored; it costs time with every line
};

struct FrameOptions {
  int64_t frame = 0;
  std::string output;
};

struct FramesOptions {
  std::string range = ":";  // first:end, end exclusive; either may be missing
  int jobs = 2;
  std::string folder;  // empty: frames are delivered but not written
  std::string extension = "png";
};

struct PlayOptions {
  double fps = 0;      // 0: the clip's own
  int64_t frames = 0;  // 0: all
};

struct ScrubOptions {
  uint64_t seed = 1;
  int requests = 200;
};

struct LogReportOptions {
  std::string log, output;
};

struct SettingsOptions {
  std::vector<std::string> edits;  // "key=value"
  std::string lutPath;
  bool noLut = false;
  bool dialog = false;
};

struct AudioOptions {
  std::string output;
  uint32_t block = 1024;  // sample frames of a request
  int64_t first = 0;
  int64_t count = 0;  // sample frames, 0: to the end
};

int RunInfo(const CommonOptions& common, bool json);
int RunFrame(const CommonOptions& common, const FrameOptions& options);
int RunFrames(const CommonOptions& common, const FramesOptions& options);
int RunAudio(const CommonOptions& common, const AudioOptions& options);
int RunPlay(const CommonOptions& common, const PlayOptions& options);
int RunScrub(const CommonOptions& common, const ScrubOptions& options);
/// Shows, changes and applies a clip's settings; writes a frame when `frame` names a file.
int RunSettings(const CommonOptions& common, const SettingsOptions& options, const FrameOptions& frame);
int RunSelectors(const CommonOptions& common);
int RunLogReport(const LogReportOptions& options);

// Shared by the commands.

/// A plug-in with one clip open in it, or an exit code with the reason on standard error.
struct Session {
  std::unique_ptr<PluginLog> log;  // only with a stored block or CommonOptions::readLog
  std::unique_ptr<standin::Plugin> plugin;
  std::unique_ptr<standin::HostClip> clip;
  standin::ClipFacts facts;
  int failure = kOk;

  /// Closes everything and reports what the plug-in left behind: kOk or kUnclean.
  int Finish();
};
Session OpenSession(const CommonOptions& common);

/// Reads a settings block from a file: kOk, or kUsage with the reason on standard error.
int ReadBlockFile(const std::string& path, standin::PrefsBlock* block);
/// Stores the block with the session's clip and has it described again: kOk, or kSettings with the plug-in's reason on standard error.
/// `tell`: prints what the plug-in's log says of it.
int ApplyBlock(Session* session, const standin::PrefsBlock& block, bool tell);
/// Asks for one frame and writes it.
int WriteFrame(const Session& session, const CommonOptions& common, const FrameOptions& options);

/// "bgra" → FourCC. Sizes by name: false when the clip does not offer it.
uint32_t FourCC(const std::string& text);
bool SizeByName(const standin::ClipFacts& facts, const std::string& name, int32_t* width, int32_t* height);

/// A request for one frame at the chosen size and format; `intent` as the command behaves.
bool MakeRequest(const Session& session, const CommonOptions& common, int32_t intent, standin::FrameRequest* request);

/// Delivery times and their summary.
class DeliveryTimes {
 public:
  void Add(double ms) { ms_.push_back(ms); }
  size_t count() const { return ms_.size(); }
  /// The value below which `fraction` of the times lie; 0 without any.
  double Quantile(double fraction) const;

 private:
  std::vector<double> ms_;
};

double NowMs();

}  // namespace tool
