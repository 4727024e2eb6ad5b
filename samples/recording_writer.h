// Lays DNG frames out as a RAW-ZIP recording: member names, the frame index CSV and the comment metadata. Frames go out as they come.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "samples/zip_writer.h"

namespace qx {

struct SampleRate {
  uint32_t numerator = 24, denominator = 1;  // frames per second

  double value() const { return double(numerator) / denominator; }
};

struct RecordingOptions {
  SampleRate fps;           // at which the recording plays
  uint32_t captureFps = 0;  // at which it was captured, 0: the same. Sensor timestamps follow it
  ZipMethod method = ZipMethod::kStore;
  bool descriptors = false;             // CRCs and sizes behind the members, as a phone that streams writes them
  std::string folder;                   // of all members; empty: none
  std::string name = "V250614-101500";  // members are NAME_000000.dng, …, and NAME.frames.csv

  bool index = true;  // the frame index CSV
  bool indexCrlf = false;
  bool sensorNumbering = false;  // the comment promises that frame numbers follow the sensor timestamps
  /// Further lines of the comment. A key that the writer would fill in itself (FrameRate, DurationMS, AvgBitrateBps) replaces its line.
  std::vector<std::pair<std::string, std::string>> comment;

  // Damage on purpose.
  std::vector<int64_t> unindexedSlots;  // frames without a row in the index
  std::vector<int64_t> corruptSlots;    // frames whose first bytes in the archive are zeros, so that nothing can read them
  bool directory = true;                // false: the archive ends behind the last member, like a recording that was cut off
};

/// The reason why no recording can be made so, or an empty text.
std::string CheckRecording(const RecordingOptions& options);

/// Writes one recording. Memory: the compressed form of one member, and a directory record and an index row a frame. One thread.
class RecordingWriter {
 public:
  RecordingWriter(RecordingOptions options, ZipSink sink);
  RecordingWriter(const RecordingWriter&) = delete;
  RecordingWriter& operator=(const RecordingWriter&) = delete;

  /// Adds the frame of a display slot; slots may come in any order, each once. False when the archive could not be written (now or before).
  bool AddFrame(int64_t slot, std::span<const uint8_t> dng);
  /// Adds another file of the recording, in its folder. Sound is stored as it is, however the frames are compressed.
  bool AddMember(std::string_view name, std::span<const uint8_t> bytes);
  bool AddSound(std::string_view name, std::span<const uint8_t> bytes);
  /// Writes the index and, unless left out on purpose, the directory with the comment.
  bool Finish();

  uint64_t bytesWritten() const { return zip_.offset(); }

 private:
  bool Write(std::span<const uint8_t> bytes);
  std::string MemberName(std::string_view name) const;
  ZipMemberOptions MemberOptions() const;
  void AppendIndexRow(int64_t slot, const std::string& memberName);
  std::string Comment() const;

  RecordingOptions options_;
  ZipSink sink_;
  uint64_t position_ = 0;                 // of the next byte for the sink
  uint64_t holeBegin_ = 0, holeEnd_ = 0;  // bytes in between go out as zeros
  ZipWriter zip_;
  std::string indexRows_;
  int64_t slotCount_ = 0;  // highest slot + 1
};

}  // namespace qx
