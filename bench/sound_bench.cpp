// A minute of 24-bit stereo at 48 kHz, pulled through the pipeline in blocks of 1,024 sample frames as a host does: alone, and while all
// cores develop 4K frames; beside libsndfile, which reads the same WAV as floats.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "pipeline/clip.h"
#include "samples/archive_maker.h"
#include "samples/recording_maker.h"

#if defined(QX_HAVE_SNDFILE)
#include <sndfile.h>
#endif

namespace {

using namespace qx;

constexpr int kSeconds = 60, kRate = 48000, kChannels = 2, kBlock = 1024;
constexpr int kFramesPerSecond = 1;  // few frames for much sound

/// The recordings, in files that go with the program.
class Files {
 public:
  Files() {
    ArchiveOptions archive;
    archive.picture.width = 3840;
    archive.picture.height = 2160;
    archive.frames = 8;
    archive.recording.fps = {kFramesPerSecond, 1};
    archive.sound = {.wav = {.encoding = SampleEncoding::kS24}, .startSeconds = 0, .tailSeconds = 0};
    Write(archivePath, [&](std::ofstream* out) { MakeArchive(archive, ZipSinkTo(out)); });

    QorixRecordingOptions recording;
    recording.format.width = recording.format.height = 64;
    recording.frames = kSeconds * kFramesPerSecond;
    recording.file.header.capture = recording.file.header.playback = {kFramesPerSecond, 1};
    recording.sound.format = 2;
    recording.sound.startSeconds = 0;
    Write(recordingPath, [&](std::ofstream* out) { MakeRecording(recording, QorixSinkTo(out)); });

    const std::vector<uint8_t> samples = SceneSoundBytes({SampleEncoding::kS24, kRate, kChannels, {}}, 0, uint64_t(kSeconds) * kRate);
    const std::vector<uint8_t> wav = WriteWav({.encoding = SampleEncoding::kS24}, samples);
    Write(wavPath, [&](std::ofstream* out) { out->write(reinterpret_cast<const char*>(wav.data()), std::streamsize(wav.size())); });
    ArchiveOptions small = archive;
    small.picture.width = small.picture.height = 64;
    small.frames = kSeconds * kFramesPerSecond;
    Write(soundPath, [&](std::ofstream* out) { MakeArchive(small, ZipSinkTo(out)); });
  }
  ~Files() {
    for (const auto& path : {archivePath, recordingPath, wavPath, soundPath}) std::filesystem::remove(path);
  }

  static std::filesystem::path Named(const char* name) {
    return std::filesystem::temp_directory_path() / ("sound_bench." + std::to_string(getpid()) + name);
  }
  const std::filesystem::path archivePath = Named("_4k.zip"), recordingPath = Named(".qorix"), wavPath = Named(".wav"),
                              soundPath = Named(".zip");

 private:
  template <typename Make>
  static void Write(const std::filesystem::path& path, Make&& make) {
    std::ofstream out(path, std::ios::binary);
    make(&out);
  }
};

const Files& Recordings() {
  static const Files files;
  return files;
}

/// Reads all of the clip's sound; false when a block failed.
bool PullSound(Clip* clip, int64_t samples, std::vector<float>* left, std::vector<float>* right) {
  float* channels[] = {left->data(), right->data()};
  for (int64_t at = 0; at < samples; at += kBlock) {
    if (ReadClipAudio(clip, at, int32_t(std::min<int64_t>(kBlock, samples - at)), channels) != 0) return false;
  }
  return true;
}

ClipPtr Open(const std::filesystem::path& path, ClipInfo* info) {
  MessageBuffer<256> message;
  return ClipPtr(OpenClip(path, nullptr, info, message));
}

void Alone(benchmark::State& state, const std::filesystem::path& path) {
  ClipInfo info;
  const ClipPtr clip = Open(path, &info);
  if (clip == nullptr || info.audioSamples != int64_t(kSeconds) * kRate) return state.SkipWithError("not a minute of sound");
  std::vector<float> left(kBlock), right(kBlock);
  for (auto _ : state) {
    if (!PullSound(clip.get(), info.audioSamples, &left, &right)) return state.SkipWithError("not read");
    benchmark::ClobberMemory();
  }
}

/// Another clip's frames are developed all the while, so that readers and copies keep every core busy.
void BesideFrames(benchmark::State& state) {
  ClipInfo frames, info;
  const ClipPtr busy = Open(Recordings().archivePath, &frames), clip = Open(Recordings().soundPath, &info);
  if (busy == nullptr || clip == nullptr || frames.frameCount < 1) return state.SkipWithError("not opened");
  std::atomic<bool> stop{false};
  std::atomic<int64_t> next{0};
  std::vector<std::thread> hosts;
  for (unsigned i = 0; i < std::max(2u, std::thread::hardware_concurrency()); ++i) {
    hosts.emplace_back([&] {
      std::vector<uint8_t> pixels(size_t(frames.fullWidth) * size_t(frames.fullHeight) * 4);
      while (!stop) {
        // A new exposure makes the clip develop its frames again.
        const int64_t frame = next++ % frames.frameCount;
        if (frame == 0) {
          DevelopOptions options;
          SetDefaultDevelopOptions(&options);
          options.exposureEv = float(next.load() % 64) / 64;
          if (ApplyDevelopOptions(busy.get(), &options, Message()) != 0) continue;
        }
        if (GetFrame(busy.get(), frame, frame, kFullSize, OutputPixelFormat::kBgra8, pixels.data(), uint32_t(frames.fullWidth) * 4, nullptr,
                     nullptr) != 0) {
          continue;
        }
      }
    });
  }
  std::vector<float> left(kBlock), right(kBlock);
  const int64_t before = next;
  for (auto _ : state) {
    if (!PullSound(clip.get(), info.audioSamples, &left, &right)) {
      state.SkipWithError("not read");
      break;
    }
  }
  state.counters["frames"] = double(next - before);
  stop = true;
  for (std::thread& host : hosts) host.join();
}

#if defined(QX_HAVE_SNDFILE)
void LibSndFile(benchmark::State& state) {
  SF_INFO info = {};
  SNDFILE* file = sf_open(Recordings().wavPath.c_str(), SFM_READ, &info);
  if (file == nullptr || info.frames != int64_t(kSeconds) * kRate) return state.SkipWithError("not a minute of sound");
  std::vector<float> block(size_t(kBlock) * kChannels);
  for (auto _ : state) {
    sf_seek(file, 0, SEEK_SET);
    sf_count_t read = 0;
    for (sf_count_t got = 1; got > 0; read += got) got = sf_readf_float(file, block.data(), kBlock);
    if (read != info.frames) state.SkipWithError("not read");
    benchmark::ClobberMemory();
  }
  sf_close(file);
}
#endif

}  // namespace

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("Archive/alone", Alone, Recordings().soundPath)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("Qorix/alone", Alone, Recordings().recordingPath)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("Archive/beside_frames", BesideFrames)->Unit(benchmark::kMillisecond)->UseRealTime();
#if defined(QX_HAVE_SNDFILE)
  benchmark::RegisterBenchmark("LibSndFile", LibSndFile)->Unit(benchmark::kMillisecond);
#endif
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
