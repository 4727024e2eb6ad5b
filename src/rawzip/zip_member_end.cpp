#include "rawzip/zip_member_end.h"

#include <algorithm>
#include <array>
#include <functional>

#include "base/checked.h"
#include "rawzip/zip_format.h"

namespace qx {

namespace {

constexpr uint32_t kZstdMagic = 0xFD2FB528;
constexpr uint64_t kDescriptorSize = 16, kZip64DescriptorSize = 24;
constexpr uint64_t kCandidateSize = kZip64DescriptorSize + 4;  // the longest descriptor and the signature behind it
constexpr uint64_t kSmallestStep = 0x10000;

uint64_t SaturatedAdd(uint64_t a, uint64_t b) {
  return CheckedAdd(a, b).value_or(UINT64_MAX);
}
uint64_t SaturatedTimes4(uint64_t a) {
  return CheckedMul(a, 4).value_or(UINT64_MAX);
}

bool IsRecordSignature(uint32_t value) {
  return value == kZipCentralRecord || value == kZipLocalHeader || value == kZipEndRecord || value == kZip64EndRecord;
}

// The CRC of the descriptor that `bytes` begin with, when it fits. `bytes` are kCandidateSize long or reach to the end of the file.
std::optional<uint32_t> MatchDescriptor(Bytes bytes, const UnsizedMember& member, uint64_t compressedSize) {
  const uint64_t length = member.zip64 ? kZip64DescriptorSize : kDescriptorSize;
  if (bytes.size() < length || LoadU32Le(bytes.data()) != kZipDescriptor) return std::nullopt;
  const uint8_t* sizes = bytes.data() + 8;
  const bool sizesFit = member.zip64
                            ? LoadU64Le(sizes) == compressedSize && LoadU64Le(sizes + 8) == member.uncompressedSize
                            : LoadU32Le(sizes) == uint32_t(compressedSize) && LoadU32Le(sizes + 4) == uint32_t(member.uncompressedSize);
  if (!sizesFit) return std::nullopt;
  if (bytes.size() >= length + 4 && !IsRecordSignature(LoadU32Le(bytes.data() + length))) return std::nullopt;
  return LoadU32Le(bytes.data() + 4);
}

// Length of a ZSTD frame header, magic included, from its descriptor byte (RFC 8878, 3.1.1.1).
uint64_t ZstdHeaderLength(uint8_t descriptor) {
  constexpr std::array<uint8_t, 4> kDictionaryIdSize = {0, 1, 2, 4};
  constexpr std::array<uint8_t, 4> kContentSizeSize = {0, 2, 4, 8};
  const bool singleSegment = (descriptor & 0x20) != 0;
  const uint8_t contentSizeCode = descriptor >> 6;
  const uint64_t contentSize = contentSizeCode == 0 && singleSegment ? 1 : kContentSizeSize[contentSizeCode];
  const uint64_t windowDescriptor = singleSegment ? 0 : 1;
  return 4 + 1 + windowDescriptor + kDictionaryIdSize[descriptor & 3] + contentSize;
}

// The offset behind the ZSTD frame at `at`, from its block headers alone; absent when they cannot be followed.
std::optional<uint64_t> EndOfZstdFrame(ReadAhead& file, uint64_t at, uint8_t descriptor) {
  constexpr uint32_t kLargestBlockHeader = 0x100007;  // 128 KiB, all low bits set
  if ((descriptor & 0x08) != 0) return std::nullopt;  // reserved
  at += ZstdHeaderLength(descriptor);
  for (bool last = false; !last;) {
    const Bytes header = file.From(at, 3);
    if (header.size() < 3) return std::nullopt;
    const uint32_t value = uint32_t(header[0]) | uint32_t(header[1]) << 8 | uint32_t(header[2]) << 16;
    const uint32_t type = value >> 1 & 3;
    if (type == 3 || value > kLargestBlockHeader) return std::nullopt;
    const bool runLength = type == 1;
    at += 3 + (runLength ? 1 : value >> 3);
    last = (value & 1) != 0;
  }
  const bool hasChecksum = (descriptor & 0x04) != 0;
  if (hasChecksum) at += 4;
  if (at > file.fileSize()) return std::nullopt;
  return at;
}

}  // namespace

std::optional<MemberEnd> ZipMemberEndFinder::Find(const UnsizedMember& member) {
  uint64_t& hint = member.zstd ? zstdHint_ : otherHint_;
  std::optional<MemberEnd> end;
  if (member.zstd && hint == 0 && !frameWalkFailed_) {
    end = WalkZstdFrames(member);
    // A failed walk is followed by a search that sets the hint or ends the archive, so a sound archive never comes here again. One made to
    // (by members of 0 bytes, which no ZSTD frame has) could ask for a long walk at each of its members.
    frameWalkFailed_ = !end;
  }
  if (!end) end = SearchWindows(member, hint);
  if (end) hint = end->compressedSize;
  return end;
}

std::optional<MemberEnd> ZipMemberEndFinder::WalkZstdFrames(const UnsizedMember& member) {
  uint64_t at = member.dataOffset;
  for (;;) {
    const Bytes head = file_.From(at, 6);
    if (head.size() < 6 || LoadU32Le(head.data()) != kZstdMagic) break;
    const std::optional<uint64_t> end = EndOfZstdFrame(file_, at, head[4]);
    if (!end) return std::nullopt;
    at = *end;
  }
  const uint64_t compressedSize = at - member.dataOffset;
  if (compressedSize == 0) return std::nullopt;
  const std::optional<uint32_t> crc = MatchDescriptor(file_.From(at, kCandidateSize), member, compressedSize);
  if (!crc) return std::nullopt;
  return MemberEnd{compressedSize, *crc};
}

// Searches a window around the guess, then ever wider ones; what an earlier window covered is not scanned again.
std::optional<MemberEnd> ZipMemberEndFinder::SearchWindows(const UnsizedMember& member, uint64_t hint) {
  const uint64_t data = member.dataOffset;
  const uint64_t expected = SaturatedAdd(member.uncompressedSize, member.uncompressedSize / 128);
  const uint64_t limit = std::min(SaturatedAdd(SaturatedAdd(data, expected), 0x10000), file_.fileSize());
  const bool useHint = hint != 0 && expected >= hint;
  const uint64_t centre = useHint ? hint : member.uncompressedSize / 2;
  uint64_t step = useHint ? std::max(hint / 64, kSmallestStep) : member.uncompressedSize / 2 + 1;

  uint64_t scannedBegin = 0, scannedEnd = 0;
  for (bool first = true;; first = false, step = SaturatedTimes4(step)) {
    const uint64_t end = std::min(SaturatedAdd(data, SaturatedAdd(centre, step)), limit);
    const uint64_t begin = std::min(data + (centre > step ? centre - step : 0), end);
    if (first) scannedBegin = scannedEnd = begin;
    std::optional<MemberEnd> found = Scan(member, begin, scannedBegin);
    if (!found) found = Scan(member, scannedEnd, end);
    if (found || readFailed_) return found;
    if (begin == data && end == limit) return std::nullopt;
    scannedBegin = begin;
    scannedEnd = end;
  }
}

// Tries every position in [begin, end) as the start of the descriptor, in rising order.
std::optional<MemberEnd> ZipMemberEndFinder::Scan(const UnsizedMember& member, uint64_t begin, uint64_t end) {
  static constexpr std::array<uint8_t, 4> kSignature = {0x50, 0x4B, 0x07, 0x08};
  static const std::boyer_moore_horspool_searcher searcher(kSignature.begin(), kSignature.end());
  for (uint64_t at = begin; at < end;) {
    const Bytes bytes = file_.From(at, kCandidateSize);
    const bool reachesFileEnd = at + bytes.size() == file_.fileSize();
    if (!reachesFileEnd && bytes.size() < kCandidateSize) {
      readFailed_ = true;
      return std::nullopt;
    }
    const uint64_t wholeCandidates = reachesFileEnd ? bytes.size() : bytes.size() - (kCandidateSize - 1);
    const uint64_t positions = std::min(wholeCandidates, end - at);
    const Bytes part = bytes.first(size_t(std::min<uint64_t>(positions + kSignature.size() - 1, bytes.size())));
    for (auto hit = std::search(part.begin(), part.end(), searcher); hit != part.end(); hit = std::search(hit + 1, part.end(), searcher)) {
      const size_t index = size_t(hit - part.begin());
      const uint64_t compressedSize = at + index - member.dataOffset;
      if (const std::optional<uint32_t> crc = MatchDescriptor(bytes.subspan(index), member, compressedSize)) {
        return MemberEnd{compressedSize, *crc};
      }
    }
    at += positions;
  }
  return std::nullopt;
}

}  // namespace qx
