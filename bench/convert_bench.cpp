// Conversion of a developed 3840 × 2160 frame into the host's pixel formats, one thread, per loop version; quarter frames; and beside it
// libswscale from the same samples (v210: to planar 10 bits and on through libavcodec's encoder). Mpix/s count source pixels.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "develop/pack_rows.h"

#if defined(QX_HAVE_LIBAV)
extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}
#endif

namespace {

using namespace qx;

constexpr int kWidth = 3840, kHeight = 2160;

struct NamedFormat {
  const char* name;
  OutputPixelFormat format;
};
constexpr NamedFormat kFormats[] = {{"Rgb48", OutputPixelFormat::kRgb48},        {"Bgra8", OutputPixelFormat::kBgra8},
                                    {"Bgra16", OutputPixelFormat::kBgra16},      {"BgraFloat", OutputPixelFormat::kBgraFloat},
                                    {"Uyvy", OutputPixelFormat::kUyvy},          {"V210", OutputPixelFormat::kV210},
                                    {"VuyaFloat", OutputPixelFormat::kVuyaFloat}};

const std::vector<uint16_t>& Developed() {
  static const std::vector<uint16_t> samples = [] {
    std::mt19937 random(1);
    std::vector<uint16_t> values(size_t(3) * kWidth * kHeight);
    for (uint16_t& v : values) v = uint16_t(random());
    return values;
  }();
  return samples;
}

void CountPixels(benchmark::State& state) {
  state.counters["Mpix/s"] = benchmark::Counter(double(kWidth) * kHeight * 1e-6 * double(state.iterations()), benchmark::Counter::kIsRate);
}

void Convert(benchmark::State& state, const PackKernels& kernels, OutputPixelFormat format, bool quarter) {
  const uint16_t* developed = Developed().data();
  const auto rowBytes = int64_t(FormatRowBytes(format, quarter ? kWidth / 2 : kWidth));
  std::vector<uint8_t> destination(size_t(rowBytes) * size_t(quarter ? kHeight / 2 : kHeight));
  for (auto _ : state) {
    ConvertRowsWith(kernels, developed, kWidth, kHeight, format, destination.data(), rowBytes, quarter, 0, 1);
    benchmark::ClobberMemory();
  }
  CountPixels(state);
}

#if defined(QX_HAVE_LIBAV)

AVFrame* MakeFrame(AVPixelFormat format) {
  AVFrame* frame = av_frame_alloc();
  frame->format = format;
  frame->width = kWidth;
  frame->height = kHeight;
  av_frame_get_buffer(frame, 64);
  return frame;
}

SwsContext* MakeScaler(AVPixelFormat format) {
  SwsContext* scaler = sws_getContext(kWidth, kHeight, AV_PIX_FMT_RGB48LE, kWidth, kHeight, format, SWS_POINT, nullptr, nullptr, nullptr);
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  sws_setColorspaceDetails(scaler, bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
  return scaler;
}

void Scale(SwsContext* scaler, AVFrame* out) {
  const auto* source = reinterpret_cast<const uint8_t*>(Developed().data());
  const int sourceRow = kWidth * 6;
  sws_scale(scaler, &source, &sourceRow, 0, kHeight, out->data, out->linesize);
}

void Swscale(benchmark::State& state, AVPixelFormat format) {
  SwsContext* scaler = MakeScaler(format);
  AVFrame* out = MakeFrame(format);
  for (auto _ : state) Scale(scaler, out);
  CountPixels(state);
  av_frame_free(&out);
  sws_freeContext(scaler);
}

void SwscaleV210(benchmark::State& state) {
  AVCodecContext* encoder = avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_V210));
  encoder->width = kWidth;
  encoder->height = kHeight;
  encoder->pix_fmt = AV_PIX_FMT_YUV422P10LE;
  encoder->time_base = {1, 25};
  encoder->thread_count = 1;
  if (avcodec_open2(encoder, nullptr, nullptr) < 0) return state.SkipWithError("no v210 encoder");
  SwsContext* scaler = MakeScaler(AV_PIX_FMT_YUV422P10LE);
  AVFrame* planes = MakeFrame(AV_PIX_FMT_YUV422P10LE);
  AVPacket* packet = av_packet_alloc();
  for (auto _ : state) {
    Scale(scaler, planes);
    if (avcodec_send_frame(encoder, planes) < 0 || avcodec_receive_packet(encoder, packet) < 0) return state.SkipWithError("v210 failed");
    av_packet_unref(packet);
  }
  CountPixels(state);
  av_packet_free(&packet);
  av_frame_free(&planes);
  sws_freeContext(scaler);
  avcodec_free_context(&encoder);
}

void RegisterPeers() {
  benchmark::RegisterBenchmark("Bgra8/swscale", Swscale, AV_PIX_FMT_BGRA)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("Uyvy/swscale", Swscale, AV_PIX_FMT_UYVY422)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("V210/swscale+encoder", SwscaleV210)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("V210/swscale-planes-only", Swscale, AV_PIX_FMT_YUV422P10LE)->Unit(benchmark::kMillisecond);
}

#endif

}  // namespace

int main(int argc, char** argv) {
  for (const NamedFormat& format : kFormats) {
    for (const bool quarter : {false, true}) {
      for (const PackKernels& kernels : PackKernelVariants()) {
        const bool copies = format.format == OutputPixelFormat::kRgb48;
        if (!kernels.usable || (copies && (quarter || &kernels != &PackKernelVariants()[0]))) continue;
        const std::string name = std::string(format.name) + (quarter ? "/quarter/" : "/") + (copies ? "copy" : kernels.name);
        benchmark::RegisterBenchmark(name.c_str(), Convert, kernels, format.format, quarter)->Unit(benchmark::kMillisecond);
      }
    }
  }
#if defined(QX_HAVE_LIBAV)
  RegisterPeers();
#endif
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
