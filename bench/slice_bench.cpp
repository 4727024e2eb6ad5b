// Decoding the slices of one 3840 × 2160 frame on one core: every coding of ours, generic and vectorised, and beside it what libavcodec
// takes for the same samples as four planes, one for each colour of the CFA: FFV1, and HuffYUV from the left.
//
// libavcodec writes FFV1 with Golomb-Rice codes up to 8 bits only and takes its range coder above. So the peer of the Rice coder is FFV1 of
// the samples' upper 8 bits, which have fewer bits to decode; the range coder with all 12 stands beside it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "qorix/slice_codec.h"
#include "samples/qorix_frame.h"
#include "samples/scene.h"

#if defined(QX_HAVE_LIBAV)
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}
#endif

namespace qx {
namespace {

constexpr int kWidth = 3840, kHeight = 2160, kBits = 12, kBlack = 256;
constexpr uint16_t kRowsPerSlice = 64;
constexpr double kSamples = double(kWidth) * kHeight;

const std::vector<uint16_t>& Picture() {
  static const std::vector<uint16_t> samples = MakeNoisyMosaic(kWidth, kHeight, kBits, kBlack, 1, 0);
  return samples;
}

void Report(benchmark::State& state, size_t codedBytes) {
  state.counters["samples/s"] = benchmark::Counter(kSamples, benchmark::Counter::kIsIterationInvariantRate);
  state.counters["bits/sample"] = double(codedBytes) * 8 / kSamples;
}

struct Coding {
  const char* name;
  uint8_t coder, layout, predictor;
};
constexpr Coding kCodings[] = {
    {"packed plain, from the left", 0, 0, 0},  {"packed plain, median", 0, 0, 1},  {"packed interleaved, from the left", 0, 1, 0},
    {"packed interleaved, median", 0, 1, 1},   {"Rice, from the left", 1, 0, 0},   {"Rice, median", 1, 0, 1},
    {"Rice two-part, from the left", 1, 2, 0}, {"Rice two-part, median", 1, 2, 1},
};

struct CodedPicture {
  QorixFrameSlices slices;
  std::vector<SliceJob> jobs;  // without rows to write to
};

CodedPicture EncodePicture(const Coding& coding) {
  CodedPicture coded;
  QorixFrameFormat format;
  format.width = kWidth;
  format.height = kHeight;
  format.rowsPerSlice = kRowsPerSlice;
  format.coder = coding.coder;
  format.layout = coding.layout;
  format.predictor = coding.predictor;
  if (!EncodeFrame(format, Picture(), &coded.slices)) return coded;
  size_t at = 0;
  for (size_t s = 0; s < coded.slices.sizes.size(); ++s) {
    const uint32_t rows = std::min<uint32_t>(kRowsPerSlice, kHeight - uint32_t(s) * kRowsPerSlice);
    const SliceFormat slice = {kWidth, rows, coding.coder, SliceLayout(coding.layout), coding.predictor, 0};
    coded.jobs.push_back({Bytes(coded.slices.data).subspan(at, coded.slices.sizes[s]), slice, nullptr, false});
    at += coded.slices.sizes[s];
  }
  return coded;
}

void DecodeOurs(benchmark::State& state, const Coding& coding, const SliceVariant& variant) {
  CodedPicture coded = EncodePicture(coding);
  std::vector<uint16_t> out(Picture().size());
  for (size_t s = 0; s < coded.jobs.size(); ++s) coded.jobs[s].out = out.data() + s * kRowsPerSlice * kWidth;
  SliceScratch scratch;
  for (auto _ : state) {
    variant.decodeGroup(coded.jobs, scratch, kWidth * sizeof(uint16_t));
    benchmark::DoNotOptimize(out.data());
  }
  if (out != Picture()) return state.SkipWithError("other samples");
  Report(state, coded.slices.data.size());
}

#if defined(QX_HAVE_LIBAV)

struct Peer {
  const char* name;
  const char* codec;
  AVPixelFormat pixelFormat;
  int bits;
  std::vector<std::pair<const char*, const char*>> options;
};
const Peer kPeers[] = {
    {"FFV1 Golomb-Rice, upper 8 bits", "ffv1", AV_PIX_FMT_YUV422P, 8, {{"coder", "rice"}, {"context", "0"}, {"slicecrc", "0"}}},
    {"FFV1 range coder, 12 bits", "ffv1", AV_PIX_FMT_YUV422P12LE, 12, {{"coder", "range_def"}, {"context", "0"}, {"slicecrc", "0"}}},
    {"HuffYUV from the left, 12 bits", "ffvhuff", AV_PIX_FMT_YUV422P12LE, 12, {{"pred", "left"}}},
};

struct AvCodec {
  explicit AvCodec(const AVCodec* codec) : context(avcodec_alloc_context3(codec)) { context->thread_count = 1; }
  ~AvCodec() {
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&context);
  }
  AVCodecContext* context;
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
};

/// Where a sample lies: the greens side by side in the first plane of a 4:2:2 picture, red and blue in the others.
struct Place {
  int plane, x, y;
};
Place PlaceOf(int x, int y) {
  const int color = y % 2 * 2 + x % 2;
  return {color == 0 ? 1 : color == 3 ? 2 : 0, x / 2 + (color == 2 ? kWidth / 2 : 0), y / 2};
}

/// Calls visit(sample in the mosaic, its bytes in the frame).
template <typename Visit>
void ForEachSample(const AVFrame& frame, int bytes, Visit&& visit) {
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const Place place = PlaceOf(x, y);
      visit(Picture()[size_t(y) * kWidth + size_t(x)],
            frame.data[place.plane] + ptrdiff_t(place.y) * frame.linesize[place.plane] + place.x * bytes);
    }
  }
}

bool EncodeWithPeer(const Peer& peer, AvCodec& encoder) {
  AVCodecContext& context = *encoder.context;
  AVFrame& frame = *encoder.frame;
  context.width = frame.width = kWidth;
  context.height = frame.height = kHeight / 2;
  context.pix_fmt = peer.pixelFormat;
  frame.format = peer.pixelFormat;
  context.time_base = {1, 30};
  context.level = 3;
  context.slices = 4;
  for (const auto& [option, value] : peer.options) {
    if (av_opt_set(context.priv_data, option, value, 0) < 0) return false;
  }
  if (avcodec_open2(&context, nullptr, nullptr) < 0 || av_frame_get_buffer(&frame, 0) < 0) return false;
  ForEachSample(frame, peer.bits > 8 ? 2 : 1, [&peer](uint16_t sample, uint8_t* to) {
    const int value = sample >> (kBits - peer.bits);
    to[0] = uint8_t(value);
    if (peer.bits > 8) to[1] = uint8_t(value >> 8);
  });
  return avcodec_send_frame(&context, &frame) >= 0 && avcodec_send_frame(&context, nullptr) >= 0 &&
         avcodec_receive_packet(&context, encoder.packet) >= 0;
}

bool OpenDecoder(const AVCodecContext& encoder, AVCodecContext* decoder) {
  AVCodecParameters* parameters = avcodec_parameters_alloc();
  const bool opened = avcodec_parameters_from_context(parameters, &encoder) >= 0 &&
                      avcodec_parameters_to_context(decoder, parameters) >= 0 && avcodec_open2(decoder, nullptr, nullptr) >= 0;
  avcodec_parameters_free(&parameters);
  return opened;
}

bool HoldsPicture(const Peer& peer, const AVFrame& frame) {
  bool same = true;
  ForEachSample(frame, peer.bits > 8 ? 2 : 1, [&peer, &same](uint16_t sample, const uint8_t* at) {
    same &= sample >> (kBits - peer.bits) == (peer.bits > 8 ? at[0] | at[1] << 8 : at[0]);
  });
  return same;
}

void DecodeWithPeer(benchmark::State& state, const Peer& peer) {
  av_log_set_level(AV_LOG_ERROR);
  const AVCodec* encoderType = avcodec_find_encoder_by_name(peer.codec);
  const AVCodec* decoderType = avcodec_find_decoder_by_name(peer.codec);
  if (encoderType == nullptr || decoderType == nullptr) return state.SkipWithError("no codec");
  AvCodec encoder(encoderType), decoder(decoderType);
  if (!EncodeWithPeer(peer, encoder) || !OpenDecoder(*encoder.context, decoder.context)) return state.SkipWithError("not encoded");
  for (auto _ : state) {
    if (avcodec_send_packet(decoder.context, encoder.packet) < 0 || avcodec_receive_frame(decoder.context, decoder.frame) < 0) {
      return state.SkipWithError("not decoded");
    }
  }
  if (!HoldsPicture(peer, *decoder.frame)) return state.SkipWithError("other samples");
  Report(state, size_t(encoder.packet->size));
}

void RegisterPeers() {
  for (const Peer& peer : kPeers) {
    const std::string name = std::string("libavcodec/") + peer.name;
    benchmark::RegisterBenchmark(name.c_str(), [&peer](benchmark::State& state) {
      DecodeWithPeer(state, peer);
    })->Unit(benchmark::kMillisecond);
  }
}

#else

void RegisterPeers() {}

#endif

void RegisterOurs() {
  for (const Coding& coding : kCodings) {
    for (const SliceVariant& variant : slice_variants()) {
      if (!variant.usable) continue;
      const std::string name = std::string("slices/") + coding.name + "/" + variant.name;
      benchmark::RegisterBenchmark(name.c_str(), [&coding, &variant](benchmark::State& state) {
        DecodeOurs(state, coding, variant);
      })->Unit(benchmark::kMillisecond);
    }
  }
}

}  // namespace
}  // namespace qx

int main(int argc, char** argv) {
  qx::RegisterOurs();
  qx::RegisterPeers();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
