// A `.qorix` recording opened as a source index and as a frame reader.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/byte_source.h"
#include "base/message.h"
#include "media/frame_source.h"
#include "media/source_timeline.h"
#include "qorix/decoded_frame.h"
#include "qorix/recording_scan.h"

namespace qx {

/// Sound facts beyond the common description.
struct QorixSoundInfo {
  bool present = false;
  uint8_t format = 0;
  uint32_t rate = 0;
  uint16_t channels = 0;
  int32_t chunks = 0;
  std::vector<std::pair<uint8_t, uint32_t>> formatsAndRates;  // distinct, sorted, at most 8
  int32_t oddChunks = 0;                                      // body length differs from what the head promises
  std::vector<uint32_t> oddChunkSeqs;                         // the first 16
  int32_t foreignChunks = 0;                                  // of another format, rate or channel count than the first: not played
  int32_t gaps = 0;                                           // stretches that no chunk has, and their sample frames: silence
  uint64_t gapFrames = 0;
  uint64_t totalFrames = 0;
  double durationSeconds = 0;
  double startMs = 0, endMs = 0;  // relative to the recording's start
  bool hasAudioItem = false;
  uint8_t clockSync = 0;
  bool hasPlayItem = false;
  uint32_t recordedRate = 0, playbackRate = 0;
  uint32_t deliveryRate = 0;
};

/// What a `.qorix` timeline keeps in SourceTimeline::container.
class QorixState final : public ContainerState, public SoundReader {
 public:
  int64_t ReadSound(uint64_t first, uint64_t count, uint8_t* out) override;

  RecordingScan scan;
  TableCache tables;
  CameraModules modules;
  WorkerPoolPtr pool;
  DecodedFrame firstFrame;
  QorixSoundInfo soundInfo;
  uint64_t frameBytes = 0;
  int32_t truncatedFrames = 0;
  int64_t framesTotal = 0, framesLost = 0;  // of the recording, all its parts
  /// Frames of the parts before this one, as far as the frames and metadata that are left tell; lost ones among the rest.
  int64_t framesBefore = 0, framesLostHere = 0;
  std::string levelName;
  bool hasRawType = false;
  uint8_t rawTypeCode = 0;
  bool rawTypeFlag = false;
  std::string firstFrameMessage;
};

/// The state of a timeline that qorix_source_open filled.
QorixState& qorix_state(SourceTimeline& source);

/// The phone finished the recording: its trailer is there, even if the scan could not use it.
bool WasClosed(const RecordingScan& scan);

/// 0, or -1 with ".qorix: %s" and the reason. `file` must outlive it.
[[nodiscard]] int qorix_source_open(SourceTimeline* source, const ByteSource& file, Message message);
void qorix_source_close(SourceTimeline* source);

/// Sample frames [first, first + count) of the recording's sound, interleaved as stored; gaps are silent (0). Frames delivered, or -1.
int64_t qorix_read_sound(RecordingScan* scan, uint64_t first, uint64_t count, uint8_t* buffer);

/// The frame reader. Null with a message.
FrameSourcePtr qorix_reader_open(const ByteSource& file, Message message);

/// Damage of the last frame read by a reader that qorix_reader_open made.
struct QorixReadStats {
  int32_t badSlices = 0, substitutedSlices = 0, outsideSlices = 0;
};
QorixReadStats qorix_read_stats(const FrameSource& reader);

}  // namespace qx
