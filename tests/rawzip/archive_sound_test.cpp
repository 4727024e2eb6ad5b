// Sound members of archives: what is described, and which shift is trusted.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "media/frame_timeline.h"
#include "rawzip/wav_header.h"
#include "samples/wav_writer.h"
#include "tests/rawzip/archive_test_support.h"

namespace qx {
namespace {

using ByteVector = std::vector<uint8_t>;

ByteVector Wav(const WavOptions& options, size_t frames) {
  ByteVector samples(frames * options.channels * BytesPerSample(options.encoding));
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = uint8_t(i);
  return WriteWav(options, samples);
}

/// Text with numbers of two and four bytes put in.
ByteVector Chunk(std::string_view tag, uint32_t size, const ByteVector& contents) {
  ByteVector chunk(tag.begin(), tag.end());
  for (int i = 0; i < 4; ++i) chunk.push_back(uint8_t(size >> (8 * i)));
  chunk.insert(chunk.end(), contents.begin(), contents.end());
  return chunk;
}

ByteVector Riff(std::initializer_list<ByteVector> chunks, std::string_view tag = "RIFF") {
  ByteVector file = Chunk(tag, 0, {'W', 'A', 'V', 'E'});
  for (const ByteVector& chunk : chunks) file.insert(file.end(), chunk.begin(), chunk.end());
  return file;
}

/// 16-bit mono at 8 kHz.
const ByteVector kFormat = Chunk("fmt ", 16, {1, 0, 1, 0, 0x40, 0x1F, 0, 0, 0x80, 0x3E, 0, 0, 2, 0, 16, 0});
const ByteVector kFourBytes = {1, 2, 3, 4};

TEST(WavHead, FindsTheSamplesOfEveryForm) {
  struct Row {
    const char* why;
    WavOptions options;
    uint64_t dataOffset;
    uint32_t tag;
  };
  for (const Row& row :
       {Row{"plain", {}, 44, 1}, Row{"8 bit", {.encoding = SampleEncoding::kU8, .channels = 1}, 44, 1},
        Row{"double", {.encoding = SampleEncoding::kF64}, 44, 3},
        Row{"extensible", {.encoding = SampleEncoding::kF32, .extensible = true}, 68, 3},
        Row{"odd chunk before", {.encoding = SampleEncoding::kS24, .oddChunk = true}, 58, 1},
        Row{"bext", {.timeReference = 0x123456789A}, 654, 1}, Row{"RF64", {.encoding = SampleEncoding::kS32, .rf64 = true}, 80, 1}}) {
    SCOPED_TRACE(row.why);
    const ByteVector file = Wav(row.options, 25);
    SoundDescription sound;
    ASSERT_TRUE(ParseWavHead(file, file.size(), &sound));
    EXPECT_EQ(sound.dataOffset, row.dataOffset);
    EXPECT_EQ(sound.formatTag, row.tag);
    EXPECT_EQ(sound.channels, row.options.channels);
    EXPECT_EQ(sound.sampleRate, row.options.rate);
    EXPECT_EQ(sound.blockAlign, BytesPerSample(row.options.encoding) * row.options.channels);
    EXPECT_EQ(sound.bitsPerSample, 8 * BytesPerSample(row.options.encoding));
    EXPECT_EQ(sound.frames, 25u);
    EXPECT_FALSE(sound.truncated);
    EXPECT_EQ(sound.hasBext, row.options.timeReference.has_value());
    EXPECT_EQ(sound.timeReference, row.options.timeReference.value_or(0));
  }
}

TEST(WavHead, TakesWhatIsThereOfCutOffFiles) {
  struct Row {
    const char* why;
    ByteVector file;
    uint64_t frames;
    bool truncated;
  };
  const ByteVector ds64 = Chunk("ds64", 28, {0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  for (const Row& row : {Row{"promises more", Riff({kFormat, Chunk("data", 400, kFourBytes)}), 2, true},
                         Row{"all that there can be", Riff({kFormat, Chunk("data", 0xFFFFFFFF, kFourBytes)}), 2, true},
                         Row{"less than there is", Riff({kFormat, Chunk("data", 2, kFourBytes)}), 1, false},
                         Row{"half a sample frame", Riff({kFormat, Chunk("data", 3, kFourBytes)}), 1, false},
                         Row{"no samples", Riff({kFormat, Chunk("data", 0, {})}), 0, false},
                         Row{"RF64", Riff({ds64, kFormat, Chunk("data", 0xFFFFFFFF, kFourBytes)}, "RF64"), 1, false},
                         Row{"RF64 with a size of its own", Riff({ds64, kFormat, Chunk("data", 4, kFourBytes)}, "RF64"), 2, false},
                         Row{"RF64 without ds64", Riff({kFormat, Chunk("data", 0xFFFFFFFF, kFourBytes)}, "RF64"), 0, false},
                         Row{"ds64 in a RIFF", Riff({ds64, kFormat, Chunk("data", 0xFFFFFFFF, kFourBytes)}), 2, true}}) {
    SoundDescription sound;
    ASSERT_TRUE(ParseWavHead(row.file, row.file.size(), &sound)) << row.why;
    EXPECT_EQ(sound.frames, row.frames) << row.why;
    EXPECT_EQ(sound.truncated, row.truncated) << row.why;
  }
}

TEST(WavHead, RefusesWhatIsNoneAndLeavesTheDescription) {
  const ByteVector data = Chunk("data", 4, kFourBytes);
  ByteVector noBlock = kFormat;
  noBlock[8 + 12] = 0;
  for (const ByteVector& file :
       {ByteVector(), Riff({}), Riff({kFormat}), Riff({data, kFormat}), Riff({noBlock, data}), Riff({kFormat, data}, "RIFX"),
        Riff({kFormat, Chunk("LIST", 0xFFFFFFFF, {}), data}), Riff({Chunk("fmt ", 16, {1, 0}), data}),
        Riff({kFormat, Chunk("junk", uint32_t(kWavHeadBytes), ByteVector(kWavHeadBytes)), data})}) {
    SoundDescription sound;
    sound.entry = 7;
    const Bytes head(file.data(), std::min<size_t>(file.size(), kWavHeadBytes));
    EXPECT_FALSE(ParseWavHead(head, file.size(), &sound)) << file.size();
    EXPECT_TRUE(sound.entry == 7 && sound.blockAlign == 0);
  }
}

TEST(ArchiveSound, DescribesMembersByNameAndMethod) {
  const ByteVector wav = Wav({}, 100);
  struct Row {
    const char* name;
    ByteVector bytes;
    ZipMethod method;
    SoundKind kind;
  };
  for (const Row& row :
       {Row{"a.wav", wav, ZipMethod::kStore, SoundKind::kWav}, Row{"A.WAV", wav, ZipMethod::kStore, SoundKind::kWav},
        Row{"a.wav", wav, ZipMethod::kDeflate, SoundKind::kOther}, Row{"a.flac", wav, ZipMethod::kStore, SoundKind::kOther},
        Row{"a.wav", {1, 2, 3}, ZipMethod::kStore, SoundKind::kOther}, Row{"a.wav", {}, ZipMethod::kStore, SoundKind::kOther},
        Row{"a.m4a", {1, 2, 3}, ZipMethod::kStore, SoundKind::kMp4}, Row{"a.MP4", wav, ZipMethod::kStore, SoundKind::kMp4},
        Row{"a.m4a", wav, ZipMethod::kZstd, SoundKind::kOther}, Row{"a.txt", wav, ZipMethod::kStore, SoundKind::kNone}}) {
    SCOPED_TRACE(row.name);
    TestArchive archive;
    archive.Frame("V_0.dng", SmallFrame()).Member(row.name, row.bytes, row.method);
    OpenedArchive opened(archive.Finish("AudioOffsetUs:0"));
    ASSERT_EQ(opened.result, 0);
    EXPECT_EQ(opened.source.sound.kind, row.kind);
    FrameTimeline timeline;
    ASSERT_EQ(frame_timeline_build(&timeline, opened.source, Message()), 0);
    EXPECT_EQ(timeline.sound.offered, row.kind == SoundKind::kWav);
    if (row.kind != SoundKind::kWav) continue;
    ByteVector samples(400);
    EXPECT_TRUE(opened.file.ReadExactly(opened.source.sound.dataOffset, samples.data(), samples.size()));
    EXPECT_TRUE(std::equal(samples.begin(), samples.end(), wav.begin() + 44));
  }
}

struct OffsetRow {
  const char* why;
  const char* comment;
  std::optional<uint64_t> timeReference;
  double offset;
  SoundOffsetSource source;
  const char* note;
};

TEST(ArchiveSound, TrustsOffsetsInsideTheWindowOnly) {
  using Source = SoundOffsetSource;
  // Without a mark the time codes begin at one hour; the first frame's time code is an hour and two frames of 25.
  constexpr uint64_t kHour = 48000ull * 3600, kFirst = kHour + 2 * 1920;
  const OffsetRow rows[] = {
      {"nothing told", "", {}, 0, Source::kNone, ""},
      {"comment", "AudioOffsetUs:250000", {}, 0.25, Source::kAudioOffsetUs, "AudioOffsetUs 250000"},
      {"comment before bext", "AudioOffsetUs:-2000000", kFirst, -2, Source::kAudioOffsetUs, "AudioOffsetUs -2000000"},
      {"comment too late", "AudioOffsetUs:12000000", {}, 0, Source::kNone, "AudioOffsetUs 12000000 outside -2…10 s — not trusted"},
      {"comment too early", "AudioOffsetUs:-2000001", {}, 0, Source::kNone, "AudioOffsetUs -2000001 outside -2…10 s — not trusted"},
      {"comment too late, bext good", "AudioOffsetUs:12000000", kFirst + 4800, 0.1, Source::kBext, "bext.TimeReference 172808640"},
      {"comment too late, bext bad: the first note stays", "AudioOffsetUs:12000000", 1, 0, Source::kNone,
       "AudioOffsetUs 12000000 outside -2…10 s — not trusted"},
      {"window widened by the stretch", "AudioOffsetUs:39000000\nAudioStretch:4", {}, 39, Source::kAudioOffsetUs, "AudioOffsetUs 39000000"},
      {"and its ends",
       "AudioOffsetUs:-8000001\nAudioStretch:4",
       {},
       0,
       Source::kNone,
       "AudioOffsetUs -8000001 outside -8…40 s — not trusted"},
      {"a stretch below 1 narrows nothing",
       "AudioOffsetUs:9000000\nAudioStretch:0.5",
       {},
       9,
       Source::kAudioOffsetUs,
       "AudioOffsetUs 9000000"},
      {"bext", "", kFirst - 24000, -0.5, Source::kBext, "bext.TimeReference 172779840"},
      {"bext of exactly an hour means nothing", "", kHour, 0, Source::kNone, ""},
      {"bext of another day", "", 0, 0, Source::kNone, "bext.TimeReference 0 -> -3600.080 s — not trusted"},
  };
  for (const OffsetRow& row : rows) {
    SCOPED_TRACE(row.why);
    TestArchive archive;
    for (int i = 0; i < 3; ++i) archive.Frame("V_" + std::to_string(i) + ".dng", FrameAt(25 * 3600 + 2 + i));
    archive.Member("V.wav", Wav({.timeReference = row.timeReference}, 100));
    OpenedArchive opened(archive.Finish(row.comment));
    const SoundDescription& sound = opened.source.sound;
    EXPECT_EQ(sound.offsetSource, row.source);
    EXPECT_NEAR(sound.offsetSeconds, row.offset, 1e-9);
    EXPECT_EQ(sound.note, row.note);
  }
}

}  // namespace
}  // namespace qx
