// What the archive tests share: small frames and archives of them, written by samples/.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_source.h"
#include "rawzip/archive_source.h"
#include "rawzip/archive_state.h"
#include "samples/dng_writer.h"
#include "samples/zip_writer.h"

namespace qx {

constexpr uint32_t kTestWidth = 16, kTestHeight = 8;

/// A 16 × 8 frame of 16-bit samples at 25 frames per second.
inline DngDescription SmallFrame() {
  DngDescription frame;
  frame.width = kTestWidth;
  frame.height = kTestHeight;
  frame.frameRate = {25, 1};
  return frame;
}

/// Samples that differ everywhere and fit `bits`.
inline std::vector<uint16_t> TestSamples(uint32_t bits = 16) {
  std::vector<uint16_t> samples(kTestWidth * kTestHeight);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = uint16_t((i * 37 + 5) & ((1u << bits) - 1));
  return samples;
}

/// SMPTE time code digits of a frame count.
inline std::array<uint8_t, 8> TimeCodesAt(int64_t frames, int64_t rate = 25) {
  const auto bcd = [](int64_t value) { return uint8_t(value / 10 << 4 | value % 10); };
  const int64_t seconds = frames / rate;
  return {bcd(frames % rate), bcd(seconds % 60), bcd(seconds / 60 % 60), bcd(seconds / 3600), 0, 0, 0, 0};
}

inline DngDescription FrameAt(int64_t timeCode) {
  DngDescription frame = SmallFrame();
  frame.timeCodes = TimeCodesAt(timeCode);
  return frame;
}

/// An archive under construction; opened from memory when it is complete.
class TestArchive {
 public:
  TestArchive& Frame(std::string_view name, const DngDescription& frame, ZipMethod method = ZipMethod::kStore) {
    return Member(name, WriteDng(frame, TestSamples(frame.bitsPerSample)), method);
  }
  TestArchive& Member(std::string_view name, const std::vector<uint8_t>& bytes, ZipMethod method = ZipMethod::kStore) {
    writer_.Add(name, bytes, {.method = method});
    return *this;
  }
  TestArchive& Text(std::string_view name, std::string_view text) {
    return Member(name, std::vector<uint8_t>(text.begin(), text.end()), ZipMethod::kDeflate);
  }
  /// A member whose recorded size or method is not the truth.
  TestArchive& RawMember(std::string_view name, uint16_t method, const std::vector<uint8_t>& data, uint64_t uncompressedSize) {
    writer_.AddRaw(name, {.method = method, .data = data, .uncompressedSize = uncompressedSize});
    return *this;
  }
  const std::vector<uint8_t>& Finish(std::string_view comment = "") {
    writer_.Finish({.comment = comment});
    return bytes_;
  }

 private:
  std::vector<uint8_t> bytes_;
  ZipWriter writer_{ZipSinkTo(&bytes_)};
};

/// An opened source index with the bytes it reads from.
struct OpenedArchive {
  explicit OpenedArchive(std::vector<uint8_t> archive, uint32_t flags = 0) : bytes(std::move(archive)), file(bytes) {
    MessageBuffer<256> buffer;
    result = archive_source_open(&source, file, flags, buffer);
    message = buffer.text();
  }
  OpenedArchive(const OpenedArchive&) = delete;
  OpenedArchive& operator=(const OpenedArchive&) = delete;

  ArchiveState& state() { return archive_state(source); }
  std::string Name(size_t frame) { return state().EntryOf(source.frames[frame]).name; }
  /// "name:number" of every frame, in order.
  std::string Order() {
    std::string text;
    for (size_t i = 0; i < source.frames.size(); ++i) text += Name(i) + ":" + std::to_string(source.frames[i].number) + " ";
    return text;
  }

  std::vector<uint8_t> bytes;
  MemorySource file;
  SourceTimeline source;
  int result = 0;
  std::string message;
};

}  // namespace qx
