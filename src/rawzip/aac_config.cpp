#include "rawzip/aac_config.h"

#include <algorithm>
#include <iterator>

namespace qx {

namespace {

constexpr uint8_t kEsDescriptor = 3, kDecoderConfig = 4, kDecoderSpecificInfo = 5;

/// Up to 32 bits at a time, most significant first; zeros past the end.
class BitReader {
 public:
  explicit BitReader(Bytes bytes) : bytes_(bytes) {}
  uint32_t Bits(int count) {
    uint32_t value = 0;
    for (; count > 0; --count, ++at_) {
      const uint32_t byte = at_ / 8 < bytes_.size() ? bytes_[at_ / 8] : 0;
      value = value << 1 | (byte >> (7 - at_ % 8) & 1);
    }
    return value;
  }

 private:
  Bytes bytes_;
  size_t at_ = 0;
};

/// Contents of the descriptor at the reader's place when it has this tag, cut at the reader's end; empty otherwise.
Bytes TakeDescriptor(ByteReader* in, uint8_t tag) {
  if (in->U8() != tag) return {};
  uint32_t size = 0;
  for (int i = 0; i < 4; ++i) {
    const uint8_t byte = in->U8();
    size = size << 7 | (byte & 0x7F);
    if ((byte & 0x80) == 0) break;
  }
  return in->Take(std::min<uint64_t>(size, in->remaining()));
}

void ParseAudioSpecificConfig(Bytes config, Mp4Sound* sound) {
  static constexpr uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};
  constexpr uint32_t kEscapedType = 31, kExplicitRate = 15;
  if (config.size() < 2) return;
  BitReader bits(config);
  uint32_t type = bits.Bits(5);
  if (type == kEscapedType) type = 32 + bits.Bits(6);
  const uint32_t rateIndex = bits.Bits(4);
  const uint32_t rate = rateIndex == kExplicitRate ? bits.Bits(24) : rateIndex < std::size(kRates) ? kRates[rateIndex] : 0;
  const uint32_t channels = bits.Bits(4);
  sound->objectType = type;
  if (rate > 0) sound->sampleRate = rate;
  if (channels >= 1 && channels <= 7) sound->channels = channels == 7 ? 8 : channels;
  sound->samplesPerPacket = bits.Bits(1) != 0 ? 960 : 1024;
}

}  // namespace

void ParseEsds(Bytes esds, Mp4Sound* sound) {
  constexpr uint8_t kDependsOnStream = 0x80, kHasUrl = 0x40, kHasClockStream = 0x20;
  ByteReader box(esds);
  box.Skip(4);  // version and flags
  ByteReader stream(TakeDescriptor(&box, kEsDescriptor));
  stream.Skip(2);
  const uint8_t flags = stream.U8();
  if ((flags & kDependsOnStream) != 0) stream.Skip(2);
  if ((flags & kHasUrl) != 0) stream.Skip(stream.U8());
  if ((flags & kHasClockStream) != 0) stream.Skip(2);
  ByteReader decoder(TakeDescriptor(&stream, kDecoderConfig));
  decoder.Skip(13);  // object type indication, stream type, buffer size, bit rates
  ParseAudioSpecificConfig(TakeDescriptor(&decoder, kDecoderSpecificInfo), sound);
}

}  // namespace qx
