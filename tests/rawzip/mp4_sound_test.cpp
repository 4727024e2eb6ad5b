#include "rawzip/mp4_sound.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "samples/wrap_dng.h"

namespace qx {
namespace {

using ByteVector = std::vector<uint8_t>;

ByteVector operator+(ByteVector a, const ByteVector& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

ByteVector Be(uint64_t value, int bytes) {
  ByteVector out;
  for (int i = bytes - 1; i >= 0; --i) out.push_back(uint8_t(value >> (8 * i)));
  return out;
}

ByteVector Text(std::string_view text) {
  return {text.begin(), text.end()};
}

ByteVector Box(std::string_view type, const ByteVector& contents) {
  return Be(contents.size() + 8, 4) + Text(type) + contents;
}

ByteVector Full(const ByteVector& contents, uint32_t version = 0) {
  return Be(uint64_t(version) << 24, 4) + contents;
}

ByteVector Descriptor(uint8_t tag, const ByteVector& contents) {
  return Be(tag, 1) + Be(contents.size(), 1) + contents;
}

/// A movie with one sound track; the parts can be changed.
struct Movie {
  ByteVector config = {0x11, 0x90};  // AAC-LC, 48 kHz, two channels, 1024 samples
  uint32_t entryVersion = 0;
  bool inWave = false;
  uint32_t packets = 6;
  ByteVector sizes;   // box "stsz" or "stz2"; empty: 100 bytes each
  ByteVector edits;   // box "edts"; empty: none
  ByteVector user;    // box "udta"; empty: none
  ByteVector before;  // boxes of the movie before the track

  ByteVector SampleEntry() const {
    const ByteVector decoder = Descriptor(4, ByteVector(13) + Descriptor(5, config));
    ByteVector child = Box("esds", Full(Descriptor(3, Be(1, 2) + Be(0, 1) + decoder)));
    if (inWave) child = Box("wave", Box("frma", Text("mp4a")) + child);
    const size_t extra = entryVersion == 1 ? 16 : entryVersion == 2 ? 36 : 0;
    return Box("mp4a", ByteVector(8) + Be(entryVersion, 2) + ByteVector(6) + Be(1, 2) + Be(16, 2) + ByteVector(4) +
                           Be(uint64_t(22050) << 16, 4) + ByteVector(extra) + child);
  }
  ByteVector Track() const {
    const ByteVector table = Box("stsd", Full(Be(1, 4) + SampleEntry())) + Box("stts", Full(Be(1, 4) + Be(packets, 4) + Be(1024, 4))) +
                             (sizes.empty() ? Box("stsz", Full(Be(100, 4) + Be(packets, 4))) : sizes);
    const ByteVector media = Box("mdhd", Full(ByteVector(8) + Be(48000, 4) + Be(0, 4))) + Box("hdlr", Full(Be(0, 4) + Text("soun"))) +
                             Box("minf", Box("stbl", table));
    return Box("trak", edits + Box("mdia", media));
  }
  ByteVector Moov() const { return Box("mvhd", Full(ByteVector(8) + Be(1000, 4) + ByteVector(80))) + before + Track() + user; }
};

Mp4Sound Parsed(const Movie& movie) {
  Mp4Sound sound;
  EXPECT_TRUE(ParseMoov(movie.Moov(), 1 << 20, &sound));
  return sound;
}

ByteVector Edits(const std::vector<std::pair<uint64_t, int64_t>>& list, uint32_t version = 0) {
  const int bytes = version == 1 ? 8 : 4;
  ByteVector entries = Be(list.size(), 4);
  for (const auto& [duration, start] : list) entries = entries + Be(duration, bytes) + Be(uint64_t(start), bytes) + Be(0x10000, 4);
  return Box("edts", Box("elst", Full(entries, version)));
}

ByteVector ItunesGap(std::string_view value, std::string_view name = "iTunSMPB") {
  const ByteVector item = Box(
      "----", Box("mean", Full(Text("com.apple.iTunes"))) + Box("name", Full(Text(name))) + Box("data", Be(1, 4) + Be(0, 4) + Text(value)));
  return Box("udta", Box("meta", Full(Box("hdlr", {}) + Box("ilst", item))));
}

// FFmpeg 5.1 wrote them: 0.1 s of sine, which FFprobe reports as 4800 and 4410 samples.
TEST(Mp4Sound, ReadsFilesOfAnotherWriter) {
  struct Row {
    const char* name;
    uint32_t channels, rate;
    uint64_t packets, delay, frames;
  };
  for (const Row& row : {Row{"ffmpeg_tone.m4a", 2, 48000, 6, 1024, 4800}, Row{"ffmpeg_mono.mov", 1, 44100, 6, 1024, 4410}}) {
    SCOPED_TRACE(row.name);
    const auto bytes = ReadWholeFile(std::string(QX_SOURCE_DIR "/fuzz/seeds/mp4/") + row.name);
    ASSERT_TRUE(bytes);
    const MemorySource file(*bytes);
    Mp4Sound sound;
    ASSERT_TRUE(ReadMp4Sound(file, 0, bytes->size(), &sound));
    EXPECT_TRUE(sound.isAacLc());
    EXPECT_EQ(sound.channels, row.channels);
    EXPECT_EQ(sound.sampleRate, row.rate);
    EXPECT_EQ(sound.packets, row.packets);
    EXPECT_EQ(sound.delay, row.delay);
    EXPECT_EQ(sound.frames(), row.frames);
  }
}

TEST(Mp4Sound, ReadsTheDecodersConfiguration) {
  struct Row {
    const char* why;
    ByteVector config;
    uint32_t type, rate, channels, perPacket;
  };
  // 5 bits object type, 4 bits rate index (15: 24 bits of rate), 4 bits channels, 1 bit 960 samples.
  for (const Row& row :
       {Row{"AAC-LC, 44.1 kHz, mono", {0x12, 0x08}, 2, 44100, 1, 1024}, Row{"7.1", {0x11, 0xB8}, 2, 48000, 8, 1024},
        Row{"960 samples", {0x11, 0x94}, 2, 48000, 2, 960}, Row{"explicit 50 kHz", {0x17, 0x80, 0x61, 0xA8, 0x10}, 2, 50000, 2, 1024},
        Row{"HE-AAC is another type", {0x2B, 0x10}, 5, 24000, 2, 1024}, Row{"escaped type 42", {0xF9, 0x46, 0x40}, 42, 48000, 2, 1024},
        Row{"reserved rate: the entry's", {0x16, 0x90}, 2, 22050, 2, 1024}, Row{"too short", {0x11}, 0, 22050, 1, 1024}}) {
    SCOPED_TRACE(row.why);
    Movie movie;
    movie.config = row.config;
    const Mp4Sound sound = Parsed(movie);
    EXPECT_EQ(sound.objectType, row.type);
    EXPECT_EQ(sound.sampleRate, row.rate);
    EXPECT_EQ(sound.channels, row.channels);
    EXPECT_EQ(sound.samplesPerPacket, row.perPacket);
  }
}

TEST(Mp4Sound, FindsTheConfigurationInEveryVersionOfTheEntry) {
  for (const uint32_t version : {0u, 1u, 2u}) {
    for (const bool inWave : {false, true}) {
      Movie movie;
      movie.entryVersion = version;
      movie.inWave = inWave;
      EXPECT_TRUE(Parsed(movie).isAacLc()) << version << " " << inWave;
    }
  }
}

TEST(Mp4Sound, TakesDelayAndPaddingFromEditsThenItunesThenTheUsual) {
  struct Row {
    const char* why;
    ByteVector edits, user;
    uint64_t delay, padding;
  };
  const uint64_t total = 6 * 1024;
  const ByteVector gap = ItunesGap(" 00000000 00000840 000001CA 00000000000012F6");
  for (const Row& row : {Row{"nothing told", {}, {}, 2048, 0}, Row{"iTunes", {}, gap, 0x840, 0x1CA},
                         Row{"another item", {}, ItunesGap(" 00000000 00000840 000001CA", "iTunNORM"), 2048, 0},
                         Row{"two numbers", {}, ItunesGap(" 00000000 00000840"), 2048, 0},
                         Row{"edit before iTunes", Edits({{100, 1024}}), gap, 1024, total - 1024 - 4800},
                         Row{"64-bit edit", Edits({{100, 1024}}, 1), {}, 1024, total - 1024 - 4800},
                         Row{"empty edit first", Edits({{500, -1}, {100, 1024}}), {}, 1024, total - 1024 - 4800},
                         Row{"two places", Edits({{50, 1024}, {50, 0}}), {}, 2048, 0}, Row{"to the end", Edits({{0, 1024}}), {}, 1024, 0},
                         Row{"longer than the track", Edits({{900, 1024}}), {}, 1024, 0}}) {
    SCOPED_TRACE(row.why);
    Movie movie;
    movie.edits = row.edits;
    movie.user = row.user;
    const Mp4Sound sound = Parsed(movie);
    EXPECT_EQ(sound.delay, row.delay);
    EXPECT_EQ(sound.padding, row.padding);
    EXPECT_EQ(sound.frames(), total - row.delay - row.padding);
  }
}

TEST(Mp4Sound, BelievesOnlyPacketCountsThatAreThere) {
  struct Row {
    const char* why;
    ByteVector sizes;
    uint64_t packets;
  };
  const ByteVector zeros(12);
  for (const Row& row :
       {Row{"one size for all", Box("stsz", Full(Be(100, 4) + Be(10485, 4))), 10485},
        Row{"more than the file has", Box("stsz", Full(Be(100, 4) + Be(10486, 4))), 0},
        Row{"a table", Box("stsz", Full(Be(0, 4) + Be(3, 4) + zeros)), 3},
        Row{"a table cut short", Box("stsz", Full(Be(0, 4) + Be(4, 4) + zeros)), 0},
        Row{"2^32 − 1", Box("stsz", Full(Be(0, 4) + Be(0xFFFFFFFF, 4) + zeros)), 0},
        Row{"4 bits each", Box("stz2", Full(Be(4, 4) + Be(23, 4) + zeros)), 23},
        Row{"4 bits each, too many", Box("stz2", Full(Be(4, 4) + Be(25, 4) + zeros)), 0},
        Row{"16 bits each", Box("stz2", Full(Be(16, 4) + Be(6, 4) + zeros)), 6},
        Row{"12 bits: no such size", Box("stz2", Full(Be(12, 4) + Be(2, 4) + zeros)), 0}, Row{"empty", Box("stsz", {}), 0}}) {
    Movie movie;
    movie.sizes = row.sizes;
    EXPECT_EQ(Parsed(movie).packets, row.packets) << row.why;
  }
}

TEST(Mp4Sound, SkipsOtherTracksAndFindsTheMovieAnywhere) {
  Movie sound;
  sound.sizes = Box("stsz", Full(Be(1, 4) + Be(6, 4)));  // packets that even so small a file could hold
  Movie movie = sound;
  movie.before = Box("trak", Box("mdia", Box("hdlr", Full(Be(0, 4) + Text("vide")))));
  const ByteVector longBox = Be(1, 4) + Text("mdat") + Be(20, 8) + ByteVector(4);
  struct Row {
    const char* why;
    ByteVector file;
    bool found;
  };
  const ByteVector moov = Box("moov", movie.Moov());
  for (const Row& row : {Row{"after a long box", Box("ftyp", {}) + longBox + moov, true},
                         Row{"to the end of the file", Be(0, 4) + Text("moov") + sound.Moov(), true},
                         Row{"cut off", ByteVector(moov.begin(), moov.end() - 1), false},
                         Row{"a size below its head", Be(7, 4) + Text("free") + moov, false},
                         Row{"past the end", Be(0xFFFFFF, 4) + Text("free") + moov, false},
                         Row{"64-bit size that overflows", Be(1, 4) + Text("free") + Be(~uint64_t(0), 8) + moov, false},
                         Row{"nothing", {}, false}, Row{"no track", Box("moov", {}), false}}) {
    const MemorySource file(row.file);
    Mp4Sound found;
    EXPECT_EQ(ReadMp4Sound(file, 0, row.file.size(), &found), row.found) << row.why;
    if (row.found) {
      EXPECT_TRUE(found.isAacLc()) << row.why;
    }
  }
  const MemorySource file(moov);
  Mp4Sound found;
  EXPECT_FALSE(ReadMp4Sound(file, 1, moov.size(), &found));
}

}  // namespace
}  // namespace qx
