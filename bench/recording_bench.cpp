// Opening a 4K recording of 10,000 frames: through its index, and by searching it when indexes and trailer are gone. The slices are holes,
// of which opening must not read any. Beside it: reading the used part of every chunk and its CRC, which no search can do without.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <vector>

#include "platform/file.h"
#include "qorix/crc32c.h"
#include "qorix/recording_scan.h"
#include "samples/recording_maker.h"

namespace {

using namespace qx;

constexpr int kFrames = 10000;

/// Counts what is read.
class CountingSource final : public ByteSource {
 public:
  explicit CountingSource(const ByteSource& source) : source_(source) {}
  uint64_t size() const override { return source_.size(); }
  uint64_t ReadAt(uint64_t offset, void* out, uint64_t count) const override {
    const uint64_t got = source_.ReadAt(offset, out, count);
    bytes_ += got;
    return got;
  }
  uint64_t bytes() const { return bytes_; }

 private:
  const ByteSource& source_;
  mutable std::atomic<uint64_t> bytes_{0};
};

/// A recording in a sparse temporary file, gone from its folder once open.
struct Recording {
  explicit Recording(bool indexed) {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("recording_bench." + std::to_string(getpid()) + (indexed ? ".indexed" : ".bare"));
    QorixRecordingOptions options;
    options.format.width = 3840;
    options.format.height = 2160;
    options.frames = kFrames;
    options.hollow = true;
    options.distinctPictures = 1;
    if (!indexed) {
      options.file.indexEvery = 0;
      options.file.wholeIndex = options.file.trailer = false;
    }
    std::ofstream out(path, std::ios::binary);
    ok = MakeRecording(options, QorixSinkTo(&out), &contents);
    out.close();
    ok = file.Open(path) && ok;
    std::filesystem::remove(path);
  }
  File file;
  QorixRecordingContents contents;
  bool ok = false;
};

const Recording& TheRecording(bool indexed) {
  static const Recording whole(true), bare(false);
  return indexed ? whole : bare;
}

void OpenRecording(benchmark::State& state, bool indexed) {
  const Recording& recording = TheRecording(indexed);
  uint64_t bytes = 0;
  for (auto _ : state) {
    const CountingSource source(recording.file);
    RecordingScan scan;
    if (!recording.ok || recording_scan(&scan, source, {}) != 0 || scan.frames.size() != kFrames) return state.SkipWithError("not opened");
    bytes = source.bytes();
  }
  state.counters["read_%"] = 100.0 * double(bytes) / double(recording.file.size());
}

void ReadUsedParts(benchmark::State& state) {
  const Recording& recording = TheRecording(false);
  crc32c_init();
  std::vector<uint8_t> used;
  for (auto _ : state) {
    uint32_t crc = 0;
    for (const QorixPlacedChunk& chunk : recording.contents.chunks) {
      used.resize(chunk.usedSize);
      if (!recording.file.ReadExactly(chunk.offset, used.data(), used.size())) return state.SkipWithError("not read");
      crc ^= crc32c_update(0, used);
    }
    benchmark::DoNotOptimize(crc);
  }
}

BENCHMARK_CAPTURE(OpenRecording, whole, true)->Name("Open/whole")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(OpenRecording, bare, false)->Name("Open/recovered")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadUsedParts)->Name("Read/used_parts")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
