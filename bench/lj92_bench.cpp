// Lossless JPEG decoding of one 3840 × 2160 frame on one core: our decoder beside libavcodec's, on the same DNG in memory.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "rawzip/lj92.h"
#include "rawzip/lj92_scan.h"
#include "samples/dng_writer.h"
#include "samples/lj92_writer.h"
#include "samples/scene.h"

#if defined(QX_HAVE_LIBAV)
extern "C" {
#include <libavcodec/avcodec.h>
}
#endif

namespace qx {
namespace {

constexpr int kWidth = 3840, kHeight = 2160, kBits = 12, kBlack = 256;

struct Frame {
  std::vector<uint16_t> samples;
  std::vector<uint8_t> stream;  // two components: the columns of even and of odd index
  std::vector<uint8_t> dng;     // the stream as its one strip
};

const Frame& FrameWithPredictor(int predictor) {
  static Frame frames[8];
  Frame& frame = frames[predictor];
  if (!frame.samples.empty()) return frame;
  frame.samples = MakeNoisyMosaic(kWidth, kHeight, kBits, kBlack, 1, 0);
  Lj92Format format;
  format.samplesPerLine = kWidth / 2;
  format.lines = kHeight;
  format.components = 2;
  format.precision = kBits;
  format.predictor = predictor;
  frame.stream = WriteLj92(frame.samples.data(), kWidth, format);

  DngDescription description;
  description.width = kWidth;
  description.height = kHeight;
  description.bitsPerSample = 16;
  description.compression = 7;
  description.black = {0};
  description.white = 65535;  // levels that ask libavcodec for no change
  frame.dng = WriteDngStreams(description, std::span(&frame.stream, 1));
  return frame;
}

void ReportSamples(benchmark::State& state, const Frame& frame) {
  state.counters["samples/s"] = benchmark::Counter(double(kWidth) * kHeight, benchmark::Counter::kIsIterationInvariantRate);
  state.counters["bits/sample"] = double(frame.stream.size()) * 8 / (double(kWidth) * kHeight);
}

/// Our decoder, with the row routines given by the second argument.
void DecodeOurs(benchmark::State& state) {
  const Frame& frame = FrameWithPredictor(int(state.range(0)));
  const auto kernels = Lj92RowKernelsForThisProcessor();
  if (size_t(state.range(1)) >= kernels.size()) return state.SkipWithError("this processor lacks the instructions");
  const Lj92RowKernels& chosen = *kernels[state.range(1)];
  state.SetLabel(chosen.name);
  std::vector<uint16_t> out(frame.samples.size());
  for (auto _ : state) {
    Lj92Header header;
    bool category16ReadsBits = false;
    const bool decoded = ParseLj92Header(frame.stream, header) == kLj92Ok &&
                         DecodeLj92Scan(header, {out.data(), kWidth, kWidth, kHeight}, chosen, category16ReadsBits) == kLj92Ok;
    if (!decoded) return state.SkipWithError("not decoded");
    benchmark::DoNotOptimize(out.data());
  }
  if (out != frame.samples) return state.SkipWithError("other samples");
  ReportSamples(state, frame);
}
BENCHMARK(DecodeOurs)->Name("lj92")->ArgNames({"predictor", "kernels"})->ArgsProduct({{1, 6, 7}, {0, 1}})->Unit(benchmark::kMillisecond);

#if defined(QX_HAVE_LIBAV)

struct AvCodec {
  AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_TIFF));
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  ~AvCodec() {
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
  }
};

/// Largest difference to the samples. libavcodec stretches the levels to 16 bits in floating point, which costs some samples one step.
int LargestDifference(const AVFrame& picture, const std::vector<uint16_t>& samples) {
  int largest = 0;
  for (int y = 0; y < kHeight; ++y) {
    const uint8_t* line = picture.data[0] + ptrdiff_t(y) * picture.linesize[0];
    for (int x = 0; x < kWidth; ++x) largest = std::max(largest, std::abs(LoadU16Le(line + 2 * x) - samples[size_t(y) * kWidth + x]));
  }
  return largest;
}

bool DecodeWithLibav(AvCodec& codec) {
  return avcodec_send_packet(codec.context, codec.packet) >= 0 && avcodec_receive_frame(codec.context, codec.frame) >= 0 &&
         codec.frame->width == kWidth && codec.frame->height == kHeight;
}

void DecodeLibav(benchmark::State& state) {
  const Frame& frame = FrameWithPredictor(int(state.range(0)));
  av_log_set_level(AV_LOG_ERROR);
  AvCodec codec;
  codec.context->thread_count = 1;
  if (avcodec_open2(codec.context, nullptr, nullptr) < 0 || av_new_packet(codec.packet, int(frame.dng.size())) < 0) {
    return state.SkipWithError("no decoder");
  }
  std::memcpy(codec.packet->data, frame.dng.data(), frame.dng.size());
  for (auto _ : state) {
    if (!DecodeWithLibav(codec)) return state.SkipWithError("not decoded");
  }
  if (LargestDifference(*codec.frame, frame.samples) > 1) return state.SkipWithError("other samples");
  ReportSamples(state, frame);
}
BENCHMARK(DecodeLibav)->Name("libavcodec")->ArgName("predictor")->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);

#endif

}  // namespace
}  // namespace qx

BENCHMARK_MAIN();
