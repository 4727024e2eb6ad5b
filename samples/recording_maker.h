// Makes whole `.qorix` recordings of the synthetic scene, as a phone would have recorded it, or odd on purpose.
//
//   QorixRecordingOptions options;
//   options.format.width = 320;
//   options.format.height = 240;
//   options.frames = 10;
//   options.table = QorixTable::kBitDepthLog;
//   options.sound.format = 1;
//   std::vector<uint8_t> file;
//   QorixRecordingContents contents;              // where everything lies
//   MakeRecording(options, QorixSinkTo(&file), &contents);
//   // Frame 3 decodes to LinearSamples(options, contents.frames[3].slot), where mode 1 does not coarsen them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "samples/qorix_writer.h"

namespace qx {

/// Mode 1: how the maker turns linear samples into codes.
enum class QorixTable : uint8_t { kNone, kNoise, kBitDepthLinear, kBitDepthLog };

enum class QorixLens : uint8_t { kNone, kRadial, kPairOfFrame, kPairOfRecording };

enum class QorixWhiteBalance : uint8_t { kNone, kNeutral, kGains };

struct QorixSoundOptions {
  uint8_t format = 0;  // 1, 2, 3: 16-, 24-, 32-bit integer; 4: 32-bit float; 0: no sound; others: chunks that nothing can read
  uint32_t rate = 48000;
  uint16_t channels = 2;
  uint32_t chunkFrames = 4800;   // sample frames a chunk
  double startSeconds = 0.01;    // against the first frame
  uint64_t firstSample = 0;      // sample index of the first chunk
  std::optional<int64_t> click;  // sample frame, from the first chunk's on, at which a click begins; that of a flash is filled in
  uint8_t clockSync = 1;         // of the AUDIO item; 0: not synchronised with the sensor
  bool audioItem = true;
  uint32_t playbackRate = 0;             // of the AUDIO_PLAY item, 0: no such item
  std::vector<uint32_t> missingChunks;   // numbers of chunks that are not in the file: a gap
  std::vector<uint32_t> foreignChunks;   // chunks that claim half the rate
  std::vector<uint32_t> oddSizedChunks;  // chunks that lack their last 3 bytes
};

/// What a recording of the scene has in its header: sensor and wall clock at the start, time zone +120 minutes.
QorixFileOptions SceneFileOptions();

struct QorixRecordingOptions {
  // Picture.
  QorixFrameFormat format = {.width = 640, .height = 480};  // size, origin, coding; the table is filled in for `table`
  int bits = 12;                                            // of the linear samples, 8 … 16
  uint32_t seed = 1;                                        // of the noise
  int distinctPictures = 0;  // the scene starts again after that many frames, which are kept in memory and coded once; 0: never
  QorixTable table = QorixTable::kNone;
  float quantization = 1;   // kNoise: level k
  int codeBits = 10;        // kBitDepth…
  bool tableChunk = false;  // table 1 is in the file as bin starts; otherwise the numbers in the frame heads define it

  // File. With fillHeader the sensor size (frame and origin, at least), rectangles, levels, k and RAW_TYPE are those of the picture.
  QorixFileOptions file = SceneFileOptions();
  bool fillHeader = true;
  bool hollow = false;  // slices are holes: for long recordings of which only the structure matters. Use a sink that can skip

  // Time. A frame belongs to a slot; slots are one capture interval apart. Frame numbers go on from file.framesBefore without regard to
  // dropped slots.
  int frames = 24;                     // slots of the recording
  std::vector<int64_t> droppedSlots;   // the sensor missed them: no number, no chunk
  std::vector<int64_t> lostSlots;      // they had a number, but their chunks are not in the file
  std::vector<int64_t> repeatedSlots;  // their frame chunk is there twice
  std::vector<int64_t> stalledSlots;   // timestamp of the frame before

  std::optional<int64_t> flashSlot;  // its frame is white all over, and the sound clicks at its time

  // Items.
  bool staticItems = true;  // camera names, colour, RAW type; those of file.staticItems follow them
  bool frameItems = true;
  QorixWhiteBalance whiteBalance = QorixWhiteBalance::kNeutral;
  QorixLens lens = QorixLens::kNone;
  std::optional<uint8_t> distortionCorrection;  // first byte of the item; unset: no item
  double dynamicLevels = 0;                     // dynamic black and white are the static ones times this; 0: no such items
  int32_t postRawBoost = 100;
  bool shadingMaps = false;  // two maps, each for half of the recording
  bool resize = false;       // the sensor is twice as large as the frame
  std::optional<uint32_t> timecodeStart;
  bool gpsStart = false, gps = false;
  bool cameraModules = false;  // modules "0" and "2"; the second half of the frames comes from the latter
  /// Last change of a frame's items.
  std::function<void(int64_t slot, QorixItemList* items)> editItems;

  QorixSoundOptions sound;
  int motionEvery = 0;   // a motion chunk before every n-th frame, 0: none
  int unknownEvery = 0;  // likewise a chunk of a kind nobody knows
  int foreignEvery = 0;  // likewise a valid frame chunk of another session, with the same number
};

struct QorixRecordedFrame {
  int64_t slot = 0;
  uint32_t number = 0;
  uint64_t timestampNs = 0;
  size_t chunk = 0;  // in QorixRecordingContents::chunks
};

/// What is in the file. Frames in the order in which they were written, repeated ones once.
struct QorixRecordingContents {
  std::vector<QorixPlacedChunk> chunks;
  std::vector<QorixRecordedFrame> frames;
  uint64_t bytes = 0;
};

/// The reason why no recording can be made so, or an empty text.
std::string CheckQorixRecording(const QorixRecordingOptions& options);

/// Told after each frame: slots done and slots in all.
using QorixProgress = std::function<void(size_t, size_t)>;

/// Streams the recording to `sink`; false when the sink failed or a sample does not fit the coder. The options must pass the check. Frames
/// are made on all processors and written in order; as many as there are processors are in memory, however long the recording is. The same
/// options give the same bytes. `sink` and `progress` are called on the caller's thread.
bool MakeRecording(const QorixRecordingOptions& options, const QorixSink& sink, QorixRecordingContents* contents = nullptr,
                   const QorixProgress& progress = {});

/// The frame of a slot as the sensor saw it, width × height samples from the black level to 2^bits − 1.
std::vector<uint16_t> LinearSamples(const QorixRecordingOptions& options, int64_t slot);
/// The same as its slices have it: without the shifted-out bits, or as codes of the table.
std::vector<uint16_t> CodedSamples(const QorixRecordingOptions& options, int64_t slot);

/// `options` with what MakeRecording() fills in: table parameters, header fields, static items.
QorixRecordingOptions Completed(const QorixRecordingOptions& options);

/// Black level of the scene: a 64th of the range.
constexpr int QorixSceneBlack(int bits) {
  return 1 << (bits - 6);
}

/// `count` sample frames of the sound from `first` on, as scene_sound.h has them.
std::vector<uint8_t> SoundBytes(const QorixSoundOptions& sound, uint64_t first, uint32_t count);

/// Gains that undo the scene's vignetting, as a shading map blob. The map covers a full field around the frame.
std::vector<uint8_t> ShadingMapBlob(int columns, int rows, const QorixFrameFormat& frame, int fieldWidth, int fieldHeight);

}  // namespace qx
