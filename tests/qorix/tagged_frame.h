// One tiny frame of a recording with chosen header, items and blobs, and the tags that are built for it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_source.h"
#include "media/dng_parser.h"
#include "qorix/decoded_frame.h"
#include "samples/qorix_writer.h"

namespace qx {

/// What is recorded: by default a 16 × 12 frame that is the whole sensor, 10 bits, 30 frames a second.
struct Shot {
  struct Blob {
    uint16_t kind = 0;
    uint32_t seq = 0;
    std::vector<uint8_t> payload;
  };
  QorixFileOptions file;
  QorixFrameFormat format = {.width = 16, .height = 12};
  QorixItemList items;  // of the frame
  std::vector<Blob> blobs;
  uint64_t timestampNs = 0;

  Shot() {
    QorixHeader& header = file.header;
    header.sensorWidth = 16;
    header.sensorHeight = 12;
    header.fullField = header.crop = {0, 0, 16, 12};
    header.white = 1023;
    header.black = {64, 64, 64, 64};
  }
};

class TaggedFrame {
 public:
  explicit TaggedFrame(const Shot& shot) : bytes_(Record(shot)), source_(bytes_) {
    MessageBuffer<200> message;
    EXPECT_EQ(recording_scan(&scan, source_, message), 0) << message.text();
    EXPECT_EQ(frame_setup(&scan, 0, &tables_, &modules_, nullptr, &frame), 0) << frame.message.text();
  }
  TaggedFrame(const TaggedFrame&) = delete;
  TaggedFrame& operator=(const TaggedFrame&) = delete;

  RecordingScan scan;
  DecodedFrame frame;
  const DngInfo& dng() const { return frame.dng; }

  /// After a change of `scan` or `frame`.
  void Rebuild() { EXPECT_EQ(build_frame_tags(&scan, &modules_, &frame), 0); }

  /// Bytes of a tag; empty when it is not there.
  std::vector<uint8_t> Tag(std::string_view ifd, uint16_t tag) const {
    std::vector<uint8_t> value;
    tiff_walk(frame.tags, [&](const TiffEntry& entry) {
      if (entry.ifdName == ifd && entry.tag == tag) value.assign(entry.value.begin(), entry.value.end());
    });
    return value;
  }
  /// A text without its terminator, "(none)" when the tag is not there.
  std::string Text(std::string_view ifd, uint16_t tag) const {
    const std::vector<uint8_t> value = Tag(ifd, tag);
    return value.empty() ? "(none)" : std::string(value.begin(), value.end() - 1);
  }
  /// A rational tag as it is stored: numerators and denominators in turn.
  std::vector<uint32_t> Words(std::string_view ifd, uint16_t tag) const {
    const std::vector<uint8_t> value = Tag(ifd, tag);
    std::vector<uint32_t> words;
    for (size_t at = 0; at + 4 <= value.size(); at += 4) words.push_back(LoadU32Le(&value[at]));
    return words;
  }
  /// The first value of a signed rational tag, −1 when it is not there.
  double Fraction(std::string_view ifd, uint16_t tag) const {
    const std::vector<uint32_t> words = Words(ifd, tag);
    return words.size() < 2 ? -1 : double(int32_t(words[0])) / int32_t(words[1]);
  }

 private:
  static std::vector<uint8_t> Record(const Shot& shot) {
    std::vector<uint8_t> bytes;
    QorixWriter writer(QorixSinkTo(&bytes));
    EXPECT_TRUE(writer.Begin(shot.file));
    for (const Shot::Blob& blob : shot.blobs) EXPECT_TRUE(writer.WriteBlob(blob.kind, blob.seq, blob.payload));
    EXPECT_TRUE(writer.WriteFrameItems(0, shot.items));
    const std::vector<uint16_t> samples(size_t(shot.format.width) * shot.format.height, 100);
    EXPECT_TRUE(writer.WriteFrame(shot.format, samples, 0, shot.timestampNs));
    EXPECT_TRUE(writer.Finish());
    return bytes;
  }

  std::vector<uint8_t> bytes_;
  MemorySource source_;
  TableCache tables_;
  CameraModules modules_;
};

}  // namespace qx
