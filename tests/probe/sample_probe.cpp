// Prints what the readers make of one file, as a JSON object on one line: the readers' side of tests/check_samples.
//
//   sample_probe dng|lj92|zip|cube|clip|wav FILE [SAMPLES]
//
// Decoded samples go to the file SAMPLES, frame after frame, as 16-bit little-endian values; "sampleBytes" says how many bytes each frame
// has there. Those of sound are interleaved 32-bit floats. "refused" stands for a message in place of the facts. Exit status 2: the call
// itself is wrong.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "develop/cube_lut.h"
#include "develop/geometry.h"
#include "media/dng_parser.h"
#include "media/frame_timeline.h"
#include "media/sound_placement.h"
#include "media/sound_samples.h"
#include "pipeline/source_open.h"
#include "platform/file.h"
#include "rawzip/archive_state.h"
#include "rawzip/lj92.h"
#include "rawzip/zip_reader.h"
#include "samples/dng_writer.h"
#include "samples/zip_writer.h"

namespace qx {
namespace {

using Json = nlohmann::json;

static_assert(std::endian::native == std::endian::little, "samples are written in the processor's byte order");

/// Where decoded samples go; without a path they are dropped.
class SampleFile {
 public:
  explicit SampleFile(const char* path) {
    if (path != nullptr) stream_.open(path, std::ios::binary | std::ios::trunc);
  }
  /// Bytes of the `count` samples.
  template <typename Sample>
  uint64_t Append(const Sample* samples, uint64_t count) {
    const uint64_t bytes = count * sizeof(Sample);
    if (stream_.is_open()) stream_.write(reinterpret_cast<const char*>(samples), std::streamsize(bytes));
    return bytes;
  }
  bool Finish() {
    stream_.flush();
    return stream_.good();
  }

 private:
  std::ofstream stream_;
};

struct Input {
  File file;
  SampleFile samples;
};

std::vector<uint8_t> ReadAll(const File& file) {
  std::vector<uint8_t> bytes(size_t(file.size()));
  bytes.resize(size_t(file.ReadAt(0, bytes.data(), bytes.size())));
  return bytes;
}

Json Refused(std::string_view text) {
  return {{"refused", text}};
}

/// Names of members are any bytes; JSON takes text only.
std::string HexOf(std::string_view bytes) {
  std::string hex;
  std::array<char, 3> digits;
  for (const char byte : bytes) {
    std::snprintf(digits.data(), digits.size(), "%02x", unsigned(uint8_t(byte)));
    hex += digits.data();
  }
  return hex;
}

Json SizeOf(const DngInfo& camera) {
  const Size full = ComputeOutputSizes(camera, DevelopParams().widthAlign).full;
  return {full.width, full.height};
}

Json DescribeDng(const DngInfo& info) {
  return {{"size", {info.width, info.height}},
          {"bits", info.bitsPerSample},
          {"samplesPerPixel", info.samplesPerPixel},
          {"compression", info.compression},
          {"photometric", info.photometric},
          {"bigEndian", info.bigEndian},
          {"blocks", info.stripOffsets.size()},
          {"tile", {info.tileWidth, info.tileLength}},
          {"contiguous", info.contiguous},
          {"black", info.black},
          {"white", info.white},
          {"active", {info.activeTop, info.activeLeft, info.activeBottom, info.activeRight}},
          {"cropOrigin", {info.cropX, info.cropY}},
          {"cropSize", {info.cropWidth, info.cropHeight}},
          {"outputSize", SizeOf(info)}};
}

/// Reads the given frame as a reader thread does; {"sampleBytes": …} or {"refused": …}.
Json ReadOneFrame(FrameSource& source, int32_t frame, RawFrame* buffer, SampleFile* samples) {
  if (source.ReadFrame(frame, buffer, kReadUnpacked) < 0) return Refused(source.LastMessage());
  const DngInfo& described = *buffer->described;
  return {{"sampleBytes", samples->Append(buffer->samples, uint64_t(described.width) * described.height)}};
}

/// An archive of the record and, behind it, a small good frame: an archive without any frame that parses does not open, and the refusal
/// wanted here is that of reading the record.
std::vector<uint8_t> WrapRecord(Bytes record) {
  DngDescription good;
  good.width = good.height = 16;
  std::vector<uint8_t> archive;
  ZipWriter writer(ZipSinkTo(&archive));
  writer.Add("frame_0.dng", record);
  writer.Add("frame_1.dng", WriteDng(good, std::vector<uint16_t>(good.width * good.height)));
  writer.Finish();
  return archive;
}

Json ProbeDng(Input& input) {
  const std::vector<uint8_t> record = ReadAll(input.file);
  MessageBuffer<256> message;
  DngInfo info;
  Json facts;
  facts["parser"] = dng_parse(record, &info, message) < 0 ? Refused(message.text()) : DescribeDng(info);

  const std::vector<uint8_t> archive = WrapRecord(record);
  const MemorySource file(archive);
  FrameSourcePtr source;
  if (frame_source_open(&source, file, message) < 0) {
    facts["frame"] = Refused(message.text());
  } else {
    RawFrame frame;
    facts["frame"] = ReadOneFrame(*source, 0, &frame, &input.samples);
  }
  return facts;
}

Json ProbeLj92(Input& input) {
  const std::vector<uint8_t> stream = ReadAll(input.file);
  Lj92Info info;
  uint16_t corner = 0;
  if (const int result = lj92_decode(stream, &corner, 1, 1, 1, &info); result != kLj92Ok) return Refused(lj92_error_text(result));
  const int32_t lineSamples = info.samplesPerLine * info.components;
  std::vector<uint16_t> samples(size_t(lineSamples) * size_t(info.lines));
  const int result = lj92_decode(stream, samples.data(), lineSamples, lineSamples, info.lines, &info);
  if (result != kLj92Ok) return Refused(lj92_error_text(result));
  return {{"precision", info.precision},
          {"samplesPerLine", info.samplesPerLine},
          {"lines", info.lines},
          {"components", info.components},
          {"predictor", info.predictor},
          {"pointTransform", info.pointTransform},
          {"restartInterval", info.restartInterval},
          {"sampleBytes", input.samples.Append(samples.data(), samples.size())}};
}

std::string MethodName(uint16_t method) {
  const std::string name = zip_method_name(method);
  return name == "?" ? name + std::to_string(method) : name;
}

Json ProbeZip(Input& input) {
  ZipArchive archive;
  MessageBuffer<256> message;
  if (zip_open(&archive, input.file, message) < 0) return Refused(message.text());
  std::map<std::string, int> methods;
  Json names = Json::array();
  for (const ZipEntry& entry : archive.entries) {
    ++methods[MethodName(entry.method)];
    names.push_back(HexOf(entry.name));
  }
  return {{"methods", methods},
          {"names", names},
          {"recovered", archive.recovered},
          {"zip64", archive.zip64},
          {"directoryOffset", archive.directoryOffset},
          {"commentBytes", archive.comment.size()},
          {"warning", message.text()}};
}

Json ProbeCube(Input& input) {
  const std::vector<uint8_t> bytes = ReadAll(input.file);
  CubeLut lut;
  MessageBuffer<256> message;
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (ParseCubeLut(text, &lut, message) < 0) return Refused(message.text());
  Json tables = Json::array();
  if (lut.size1D != 0) tables.push_back({{"kind", "1D"}, {"size", lut.size1D}, {"min", lut.domainMin1D}, {"max", lut.domainMax1D}});
  if (lut.size3D != 0) tables.push_back({{"kind", "3D"}, {"size", lut.size3D}, {"min", lut.domainMin3D}, {"max", lut.domainMax3D}});
  return {{"tables", tables}, {"title", lut.title}};
}

std::string TimecodeText(const FrameTimeline& timeline) {
  MessageBuffer<32> text;
  text.view().Set("%02d:%02d:%02d:%02d", timeline.timecodeHours, timeline.timecodeMinutes, timeline.timecodeSeconds,
                  timeline.timecodeFrames);
  return text.text();
}

Json SoundOf(const SourceTimeline& index, const FrameTimeline& timeline) {
  const SoundDescription& sound = index.sound;
  const SoundPlacement& placed = timeline.sound;
  return {{"kind", int(sound.kind)},
          {"formatTag", sound.formatTag},
          {"channels", sound.channels},
          {"rate", sound.sampleRate},
          {"bits", sound.bitsPerSample},
          {"blockAlign", sound.blockAlign},
          {"dataOffset", sound.dataOffset},
          {"dataSize", sound.dataSize},
          {"frames", sound.frames},
          {"truncated", sound.truncated},
          {"timeReference", sound.hasBext ? Json(sound.timeReference) : Json()},
          {"offset", placed.offsetSeconds},
          {"method", int(placed.method)},
          {"lead", placed.lead},
          {"skip", placed.skip},
          {"out", placed.out},
          {"offered", placed.offered && IsReadableSound(placed)},
          {"note", sound.note}};
}

/// The first frame of an archive that holds little else.
std::vector<uint8_t> TinyDng(int32_t framesPerSecond) {
  DngDescription dng;
  dng.width = dng.height = 16;
  dng.frameRate = {framesPerSecond, 1};
  return WriteDng(dng, std::vector<uint16_t>(16 * 16));
}

/// The file as the sound of an archive, a frame at its beginning and one at its end, so that all of it is placed.
Json ProbeWav(Input& input) {
  const std::vector<uint8_t> wav = ReadAll(input.file);
  std::vector<uint8_t> bytes;
  ZipWriter writer(ZipSinkTo(&bytes));
  writer.Add("V_000000.dng", TinyDng(1));
  writer.Add("V_003600.dng", TinyDng(1));
  writer.Add("V.wav", wav);
  writer.Finish({.comment = "AudioOffsetUs:0\n"});
  const MemorySource file(bytes);
  SourceTimeline index;
  FrameTimeline timeline;
  MessageBuffer<256> message;
  if (source_timeline_open(&index, file, message) < 0 || frame_timeline_build(&timeline, index, message) < 0)
    return Refused(message.text());
  Json facts = SoundOf(index, timeline);
  const auto memberOffset = uint64_t(std::search(bytes.begin(), bytes.end(), wav.begin(), wav.end()) - bytes.begin());
  facts["dataOffset"] = index.sound.dataOffset - memberOffset;
  const SoundPlacement& placed = timeline.sound;
  const auto format = FindSampleFormat(placed.formatTag, placed.bitsPerSample, placed.channels, placed.blockAlign);
  if (!placed.offered || !format) return facts;
  std::vector<uint8_t> stored(size_t(placed.out) * placed.blockAlign);
  if (read_sound_frames(file, placed, 0, placed.out, stored.data()) != placed.out) return facts;
  std::vector<std::vector<float>> channels(placed.channels, std::vector<float>(size_t(placed.out)));
  std::vector<float*> pointers;
  for (auto& channel : channels) pointers.push_back(channel.data());
  ConvertSamples(*format, stored.data(), placed.out, pointers.data(), 0);
  std::vector<float> interleaved;
  for (size_t i = 0; i < size_t(placed.out); ++i) {
    for (const auto& channel : channels) interleaved.push_back(channel[i]);
  }
  facts["sampleBytes"] = input.samples.Append(interleaved.data(), interleaved.size());
  return facts;
}

Json ProbeClip(Input& input) {
  SourceTimeline index;
  FrameTimeline timeline;
  FrameSourcePtr source;
  MessageBuffer<256> message;
  if (source_timeline_open(&index, input.file, message) < 0 || frame_timeline_build(&timeline, index, message) < 0 ||
      frame_source_open(&source, input.file, message) < 0) {
    return Refused(message.text());
  }
  if (index.kind != ContainerKind::kRawZip) return Refused("not a RAW-ZIP archive");
  const ArchiveState& archive = archive_state(index);
  Json frames = Json::array();
  RawFrame buffer;
  for (int32_t frame = 0; frame < source->FrameCount(); ++frame) {
    Json facts = ReadOneFrame(*source, frame, &buffer, &input.samples);
    facts["member"] = HexOf(archive.EntryOf(index.frames[size_t(frame)]).name);
    frames.push_back(facts);
  }
  return {{"size", SizeOf(*source->CameraData())},
          {"frames", frames},
          {"slots", timeline.length},
          {"rate", {timeline.rateNumerator, timeline.rateDenominator}},
          {"timecode", TimecodeText(timeline)},
          {"indexState", index.indexState},
          {"indexNote", index.indexNote},
          {"recovered", archive.zip.recovered},
          {"zip64", archive.zip.zip64},
          {"sound", SoundOf(index, timeline)},
          {"message", index.openMessage}};
}

using Probe = Json (*)(Input&);

Probe ProbeNamed(std::string_view name) {
  static const std::map<std::string_view, Probe> kProbes = {{"dng", ProbeDng},   {"lj92", ProbeLj92}, {"zip", ProbeZip},
                                                            {"cube", ProbeCube}, {"clip", ProbeClip}, {"wav", ProbeWav}};
  const auto found = kProbes.find(name);
  return found == kProbes.end() ? nullptr : found->second;
}

int Run(int argc, char** argv) {
  const Probe probe = argc == 3 || argc == 4 ? ProbeNamed(argv[1]) : nullptr;
  if (probe == nullptr) {
    std::fputs("usage: sample_probe dng|lj92|zip|cube|clip|wav FILE [SAMPLES]\n", stderr);
    return 2;
  }
  Input input{{}, SampleFile(argc == 4 ? argv[3] : nullptr)};
  if (!input.file.Open(argv[2])) {
    std::fprintf(stderr, "cannot open %s\n", argv[2]);
    return 2;
  }
  const Json facts = probe(input);
  if (!input.samples.Finish()) {
    std::fputs("cannot write the samples\n", stderr);
    return 2;
  }
  // Messages may quote bytes of the file.
  std::puts(facts.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
  return 0;
}

}  // namespace
}  // namespace qx

int main(int argc, char** argv) {
  return qx::Run(argc, argv);
}
