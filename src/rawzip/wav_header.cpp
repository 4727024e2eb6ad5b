#include "rawzip/wav_header.h"

#include <algorithm>

namespace qx {

namespace {

constexpr uint32_t FourCC(const char (&text)[5]) {
  return uint32_t(uint8_t(text[0])) | uint32_t(uint8_t(text[1])) << 8 | uint32_t(uint8_t(text[2])) << 16 | uint32_t(uint8_t(text[3])) << 24;
}

constexpr uint32_t kSizeInDs64 = 0xFFFFFFFF;
constexpr uint32_t kExtensible = 0xFFFE;

/// What the chunks before the samples say.
class WavWalk {
 public:
  WavWalk(Bytes head, uint64_t fileBytes) : head_(head), fileBytes_(fileBytes) {}

  bool Run(SoundDescription* sound) {
    if (head_.size() < 12 || Tag(8) != FourCC("WAVE")) return false;
    isRf64_ = Tag(0) == FourCC("RF64");
    if (!isRf64_ && Tag(0) != FourCC("RIFF")) return false;
    found_ = *sound;
    for (uint64_t at = 12; at + 8 <= head_.size();) {
      const uint32_t size = LoadU32Le(head_.data() + at + 4);
      const uint64_t contents = at + 8;
      if (Tag(at) == FourCC("data")) {
        TakeData(contents, size);
        if (found_.blockAlign < 1) return false;
        found_.frames = found_.dataSize / found_.blockAlign;
        *sound = found_;
        return true;
      }
      TakeChunk(Tag(at), head_.subspan(size_t(contents)), size);
      at = contents + size + (size & 1);
    }
    return false;
  }

 private:
  uint32_t Tag(uint64_t at) const { return LoadU32Le(head_.data() + at); }

  void TakeChunk(uint32_t tag, Bytes contents, uint32_t size) {
    const uint8_t* p = contents.data();
    if (tag == FourCC("ds64") && contents.size() >= 28) {
      ds64DataSize_ = LoadU64Le(p + 8);
    } else if (tag == FourCC("fmt ") && contents.size() >= 16) {
      found_.formatTag = LoadU16Le(p);
      found_.channels = LoadU16Le(p + 2);
      found_.sampleRate = LoadU32Le(p + 4);
      found_.blockAlign = LoadU16Le(p + 12);
      found_.bitsPerSample = LoadU16Le(p + 14);
      // The sub-format is a GUID that begins with the plain format tag.
      if (found_.formatTag == kExtensible && size >= 40 && contents.size() >= 26) found_.formatTag = LoadU16Le(p + 24);
    } else if (tag == FourCC("bext") && size >= 346 && contents.size() >= 346) {
      found_.hasBext = true;
      found_.timeReference = LoadU64Le(p + 338);
    }
  }

  void TakeData(uint64_t contents, uint32_t size) {
    const uint64_t held = fileBytes_ - contents;  // the chunk's header is inside the head
    const uint64_t claimed = isRf64_ && size == kSizeInDs64 ? ds64DataSize_ : size;
    found_.truncated = claimed > held;
    found_.dataSize = std::min(claimed, held);
    found_.dataOffset = contents;
  }

  Bytes head_;
  uint64_t fileBytes_;
  bool isRf64_ = false;
  uint64_t ds64DataSize_ = 0;
  SoundDescription found_;
};

}  // namespace

bool ParseWavHead(Bytes head, uint64_t fileBytes, SoundDescription* sound) {
  return WavWalk(head, fileBytes).Run(sound);
}

}  // namespace qx
