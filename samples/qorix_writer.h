// A streaming `.qorix` writer: chunks go out as they come, the way a phone records, with periodic indexes on the way and an index of the
// whole file and a trailer at the end.
//
//   std::vector<uint8_t> file;
//   QorixWriter writer(QorixSinkTo(&file));
//   QorixFileOptions options;                     // session, header, static items, indexes
//   options.header.sensorWidth = 64;
//   options.header.sensorHeight = 48;
//   writer.Begin(options);
//   QorixFrameFormat format = {.width = 64, .height = 48};
//   writer.WriteFrameItems(0, QorixItemList().I32(QorixItem::kIso, {100}));
//   writer.WriteFrame(format, samples, 0, timestampNs);
//   writer.Finish();
//
// MakeRecording() (recording_maker.h) does all of it for the synthetic scene.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <span>
#include <vector>

#include "samples/qorix_chunks.h"
#include "samples/qorix_frame.h"
#include "samples/qorix_items.h"

namespace qx {

/// Takes the file's bytes in order; false when they could not be written.
struct QorixSink {
  std::function<bool(std::span<const uint8_t>)> write;
  /// Leaves that many zero bytes, at best without storing them; unset: zeros are written.
  std::function<bool(uint64_t)> skip = {};
};
/// Sinks that append to a vector or write to a stream, which must outlive the writer. In a file, skipped frames become holes.
QorixSink QorixSinkTo(std::vector<uint8_t>* bytes);
QorixSink QorixSinkTo(std::ostream* stream);
QorixSink QorixSinkTo(std::ofstream* file);

struct QorixRect {
  uint16_t left = 0, top = 0, right = 0, bottom = 0;
};

struct QorixRate {
  uint32_t numerator = 30, denominator = 1;  // per second
};

/// The recording header, field by field.
struct QorixHeader {
  std::array<uint8_t, 8> signature = {0x89, 'Q', 'O', 'R', 'I', 'X', '\r', '\n'};
  uint16_t version = 1;
  uint32_t incompatibleBits = 0, compatibleBits = 0;
  std::array<uint8_t, 16> recordingId = {};
  uint16_t partNumber = 0;
  uint64_t sensorStartNs = 0;
  uint64_t wallClockStartNs = 0;  // since 1970 UTC, 0: unknown
  int16_t timeZoneMinutes = 0;
  uint8_t cfaCode = 0;  // 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR; above: not Bayer
  uint16_t sensorWidth = 0, sensorHeight = 0;
  QorixRect fullField, crop;
  uint32_t white = 1023;
  std::array<int32_t, 4> black = {};  // of the four positions of the CFA
  QorixRate capture, playback;
  float quantization = 0;  // level k: 0 lossless, 0.5, 1, 2
  int16_t rotationDegrees = 0;
  uint16_t headLength = 200;  // 40 … 200: a shorter head lacks the fields behind it
};

struct QorixFileOptions {
  uint32_t sessionId = 0x5E551011;
  QorixHeader header;
  QorixItemList staticItems;

  bool headerCopyFirst = false;  // the file begins with a copy of the header
  uint32_t indexEvery = 64;      // chunks between periodic indexes, 0: none
  bool repeatHeader = true;      // a copy of the header before each periodic index
  bool repeatTables = true;      // likewise of the tables
  uint32_t keyframeEvery = 8;    // frames; 1: no deltas
  bool wholeIndex = true, trailer = true;
  uint16_t indexEntrySize = 24;  // of all indexes; at least 24: the rest is zeros
  bool lastPart = true;
  uint32_t framesBefore = 0;  // of the parts before this one
};

/// A chunk in the file.
struct QorixPlacedChunk {
  uint64_t offset = 0;
  uint32_t tag = 0, seq = 0;
  uint64_t timestampNs = 0;
  uint32_t totalSize = 0, usedSize = 0;
  uint16_t flags = 0, headLength = 0;
  uint32_t sessionId = 0;

  uint64_t end() const { return offset + totalSize; }
};

struct QorixMetadata {
  uint32_t seq = 0, frameNumber = 0;
  bool keyframe = true;
  uint32_t keyframeSeq = 0;  // of a delta: the keyframe it changes
  QorixItemList items;
};

struct QorixSoundChunk {
  uint32_t seq = 0;
  uint64_t timestampNs = 0;
  uint64_t firstSample = 0;  // sample frames
  uint32_t sampleFrames = 0;
  uint32_t rate = 48000;
  uint16_t channels = 2;
  uint8_t format = 1;  // 1, 2, 3: 16-, 24-, 32-bit integer; 4: 32-bit float
  std::vector<uint8_t> samples;
};

constexpr uint16_t kQorixShadingMap = 1, kQorixCameraModule = 6;  // kinds of blobs

/// Memory: one chunk, and 48 bytes for each chunk written. All functions return false when the sink failed, now or before, or something
/// does not fit its field; the file is then useless. A writer that is destroyed without Finish() leaves a recording that was cut off
/// between two chunks. One thread.
class QorixWriter {
 public:
  explicit QorixWriter(QorixSink sink);
  QorixWriter(const QorixWriter&) = delete;
  QorixWriter& operator=(const QorixWriter&) = delete;

  /// Writes the header; first of all.
  bool Begin(const QorixFileOptions& options);

  /// Codes and writes one frame. Numbers count the frames of the recording; nothing holds a caller to that.
  bool WriteFrame(const QorixFrameFormat& format, std::span<const uint16_t> samples, uint32_t number, uint64_t timestampNs);
  /// A frame that EncodeFrame() coded before.
  bool WriteSlices(const QorixFrameFormat& format, const QorixFrameSlices& slices, uint32_t number, uint64_t timestampNs);
  /// A frame whose slices of these sizes (and CRCs) are skipped: a valid chunk around a hole.
  bool WriteHollowFrame(const QorixFrameFormat& format, const QorixFrameSlices& sizes, uint32_t number, uint64_t timestampNs);
  /// The recording had this frame, but it is not in the file.
  void CountLostFrame(uint32_t number);

  /// All items of a frame: they go out as a keyframe or as what changed since the last one.
  bool WriteFrameItems(uint32_t frameNumber, const QorixItemList& items);
  /// One metadata chunk as it is.
  bool WriteMetadata(const QorixMetadata& metadata);
  /// First linear value of each code (at most 65,535 codes), and the white level.
  bool WriteTable(uint32_t number, std::span<const uint32_t> binStarts, uint16_t white);
  /// `inHead`: the payload belongs to the chunk's head instead of its body, as some writers have it.
  bool WriteBlob(uint16_t kind, uint32_t seq, std::span<const uint8_t> payload, bool inHead = false);
  bool WriteSound(const QorixSoundChunk& sound);
  bool WriteMotion(uint32_t seq, uint64_t timestampNs, uint32_t count, std::span<const uint8_t> samples);
  /// Any chunk; its session is filled in when it is 0. Chunks of other sessions are in no index.
  bool WriteChunk(QorixChunk chunk);

  /// Writes the index of the whole file and the trailer, unless the options leave them out.
  bool Finish();

  /// What was written, in file order. During the recording and afterwards.
  const std::vector<QorixPlacedChunk>& chunks() const { return chunks_; }
  uint64_t offset() const { return offset_; }
  bool ok() const { return ok_; }

 private:
  struct FrameData {
    uint64_t size = 0;
    const uint8_t* bytes = nullptr;  // null: a hole
  };
  bool Put(QorixChunk chunk, const FrameData& data);
  bool PutBytes(std::span<const uint8_t> bytes);
  bool PutZeros(uint64_t count);
  bool AfterChunk();
  bool PutCopies();
  bool PutPeriodicIndex();
  QorixChunk HeaderChunk() const;
  std::vector<uint8_t> IndexEntries(size_t firstChunk) const;

  QorixSink sink_;
  QorixFileOptions options_;
  std::vector<QorixPlacedChunk> chunks_;
  uint64_t offset_ = 0;
  uint64_t headerOffset_ = kQorixNowhere;
  uint64_t lastIndexOffset_ = kQorixNowhere;
  uint64_t indexedTo_ = 0;    // file offset
  size_t indexedChunks_ = 0;  // of chunks_
  uint32_t indexCount_ = 0;
  uint32_t frameCount_ = 0;  // highest frame number + 1
  std::vector<QorixChunk> tables_;
  uint32_t metadataCount_ = 0, keyframeSeq_ = 0;
  QorixItemList keyframe_;
  bool ok_ = true;
};

}  // namespace qx
