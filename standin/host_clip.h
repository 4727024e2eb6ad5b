// One clip in the host's hands: opened, described, asked for frames, quieted, closed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/records.h"
#include "standin/host_prefs.h"
#include "standin/plugin.h"

namespace standin {

struct ClipFacts {
  int32_t width = 0, height = 0;
  bool hasAudio = false;
  int32_t audioChannels = 0;
  double audioRate = 0;
  int64_t audioFrames = 0;
  int32_t rateScale = 0, rateSampleSize = 0;
  int64_t frames = 0;
  int32_t bitDepth = 0;
  bool declaresColorSpace = false;
  bool asyncOffered = false;
  uint64_t extraMemoryBytes = 0;
  std::string timecode;  // "" for none
  struct FrameSize {
    int32_t width, height;
  };
  std::vector<FrameSize> sizes;        // full, half, quarter where offered
  std::vector<uint32_t> pixelFormats;  // offered, in order
  std::string colorSpace;              // words for people; "" when none is declared
  std::string contentState;
  double framesPerSecond() const { return rateSampleSize > 0 ? double(rateScale) / rateSampleSize : 0; }
};

/// What a host wants to have.
struct FrameRequest {
  int64_t frame = 0;
  std::vector<uint32_t> formats;  // accepted, in order of preference
  int32_t width = 0, height = 0;  // asked size, 0 = any
  int32_t intent = 1;             // qx::host::Intent
  int32_t quality = 2;
  double playbackRatio = 1, playbackRate = 1;
  bool withColorSpaceId = false;
};

/// A frame of the host; disposed of when it goes.
class HostFrame {
 public:
  HostFrame() = default;
  explicit HostFrame(qx::host::PPix frame) : frame_(frame) {}
  HostFrame(HostFrame&& other) noexcept : frame_(std::exchange(other.frame_, nullptr)) {}
  HostFrame& operator=(HostFrame&& other) noexcept {
    std::swap(frame_, other.frame_);
    return *this;
  }
  ~HostFrame();
  explicit operator bool() const { return frame_ != nullptr; }
  qx::host::PPix get() const { return frame_; }

 private:
  qx::host::PPix frame_ = nullptr;
};

/// The bits of a sample that nobody wrote: a signalling NaN.
constexpr uint32_t kUnwrittenSample = 0xFFA5A5A5;

/// Closed by its destructor. Frame requests may come from several threads at once; the other calls must not race with each other.
class HostClip {
 public:
  /// imOpenFile8. `result` receives its answer; null unless that is 0. `fileType` 0 takes the type of the path's extension.
  static std::unique_ptr<HostClip> Open(const Plugin& plugin, const std::string& path, uint32_t fileType, int32_t* result);
  ~HostClip();
  HostClip(const HostClip&) = delete;
  HostClip& operator=(const HostClip&) = delete;

  /// The settings block that the host has stored with the clip; it goes into every later call. Empty: none. Not beside other calls.
  void SetPrefs(PrefsBlock block) { prefs_ = std::move(block); }

  /// imGetInfo8 and every other question about the clip.
  ClipFacts Describe() const;
  /// imGetSourceVideo. `result` receives its answer.
  HostFrame GetFrame(const FrameRequest& request, int32_t* result) const;
  /// imImportAudio7: `count` sample frames from `position` on, one vector per channel. Its answer. Success with a sample that was not
  /// written is a violation; what was not written holds kUnwrittenSample.
  int32_t GetSound(int64_t position, uint32_t count, int32_t channels, std::vector<std::vector<float>>* sound) const;
  /// Ticks of a frame.
  int64_t TimeOfFrame(int64_t frame) const { return frame * ticksPerFrame_; }

  /// Makes an asynchronous importer, flushes and closes it: the plug-in drops what it reads ahead and ends its run of deliveries. The
  /// first answer that is not 0, else 0.
  int32_t Flush() const;
  int32_t Quiet();
  int32_t Reopen();
  int32_t Close();

  qx::host::Handle privateData() const { return privateData_; }
  const Plugin& plugin() const { return plugin_; }
  /// Fills a request record as imGetSourceVideo and the asynchronous entry take it; `formats` receives the entries it points to.
  void FillRequest(const FrameRequest& request, qx::host::SourceVideoRec* record, std::vector<qx::host::FrameFormat>* formats,
                   qx::host::PPix* place) const;

 private:
  HostClip(const Plugin& plugin, std::u16string path, uint32_t fileType) : plugin_(plugin), path_(std::move(path)), fileType_(fileType) {}
  void DescribeInfo(ClipFacts* facts) const;
  void DescribeSizesAndFormats(ClipFacts* facts) const;
  void DescribeColorSpace(ClipFacts* facts) const;
  /// Records take the block's address without promising not to write; the plug-in may not.
  void* prefsAddress() const { return prefs_.empty() ? nullptr : const_cast<uint8_t*>(prefs_.data()); }

  const Plugin& plugin_;
  std::u16string path_;
  uint32_t fileType_;
  qx::host::Handle privateData_ = nullptr;
  qx::host::FileRef file_ = qx::host::kNoFile;
  uint64_t extraMemoryBytes_ = 0;
  int64_t ticksPerFrame_ = 0;
  PrefsBlock prefs_;
};

}  // namespace standin
