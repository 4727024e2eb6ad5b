#include "samples/qorix_walker.h"

#include <algorithm>
#include <optional>

namespace qx {

namespace {

constexpr uint64_t kStep = 8;
constexpr uint64_t kMostUsed = 64 << 20;
constexpr size_t kSearchBlock = 1 << 16;
constexpr size_t kCrcOffset = 12, kCrcEnd = 16;

/// A chunk as its 40 header bytes describe it; nothing when they cannot be a header.
std::optional<QorixPlacedChunk> ParseHeader(std::span<const uint8_t> header, uint64_t offset, uint64_t fileSize) {
  for (size_t i = 0; i < 4; ++i) {
    if (header[i] < 'A' || header[i] > 'Z') return std::nullopt;
  }
  QorixPlacedChunk chunk;
  chunk.offset = offset;
  chunk.tag = uint32_t(QorixNumberAt(header, 0, 4));
  chunk.totalSize = uint32_t(QorixNumberAt(header, 4, 4));
  chunk.usedSize = uint32_t(QorixNumberAt(header, 8, 4));
  chunk.sessionId = uint32_t(QorixNumberAt(header, 16, 4));
  chunk.seq = uint32_t(QorixNumberAt(header, 24, 4));
  chunk.flags = uint16_t(QorixNumberAt(header, 28, 2));
  chunk.headLength = uint16_t(QorixNumberAt(header, 30, 2));
  chunk.timestampNs = QorixNumberAt(header, 32, 8);
  const bool fits = chunk.totalSize % kStep == 0 && chunk.usedSize <= chunk.totalSize && chunk.usedSize <= kMostUsed &&
                    chunk.headLength >= kQorixChunkHeader && chunk.headLength <= chunk.usedSize && chunk.usedSize <= fileSize - offset;
  return fits ? std::optional(chunk) : std::nullopt;
}

class Walker {
 public:
  Walker(uint64_t fileSize, const QorixReadAt& readAt) : fileSize_(fileSize), readAt_(readAt) {}

  QorixWalk Run() {
    QorixWalk walk;
    for (uint64_t at = 0; at < fileSize_;) {
      std::optional<QorixPlacedChunk> chunk = ChunkAt(at);
      const uint64_t begin = chunk ? at : NextChunk(at + kStep, &chunk);
      if (begin > at) walk.gaps.push_back({at, begin});
      if (!chunk) break;
      walk.chunks.push_back(*chunk);
      at = std::max(chunk->end(), begin + kStep);
    }
    return walk;
  }

 private:
  std::optional<QorixPlacedChunk> ChunkAt(uint64_t offset) {
    uint8_t header[kQorixChunkHeader];
    if (offset > fileSize_ || fileSize_ - offset < sizeof(header) || !readAt_(offset, header)) return std::nullopt;
    return Checked(ParseHeader(header, offset, fileSize_));
  }

  /// The chunk when its CRC is right.
  std::optional<QorixPlacedChunk> Checked(std::optional<QorixPlacedChunk> chunk) {
    if (!chunk) return std::nullopt;
    used_.resize(chunk->usedSize);
    if (!readAt_(chunk->offset, used_)) return std::nullopt;
    const std::span<const uint8_t> used = used_;
    const uint32_t crc = Crc32cOf(used.subspan(kCrcEnd), Crc32cOf(used.first(kCrcOffset)));
    return crc == QorixNumberAt(used, kCrcOffset, 4) ? chunk : std::nullopt;
  }

  /// Offset of the first chunk at or behind `from`, or the file's end.
  uint64_t NextChunk(uint64_t from, std::optional<QorixPlacedChunk>* chunk) {
    std::vector<uint8_t> block;
    for (uint64_t begin = from; begin < fileSize_ && fileSize_ - begin >= kQorixChunkHeader; begin += kSearchBlock) {
      block.resize(size_t(std::min<uint64_t>(kSearchBlock + kQorixChunkHeader, fileSize_ - begin)));
      if (!readAt_(begin, block)) break;
      for (size_t at = 0; at < kSearchBlock && at + kQorixChunkHeader <= block.size(); at += kStep) {
        *chunk = Checked(ParseHeader(std::span(block).subspan(at, kQorixChunkHeader), begin + at, fileSize_));
        if (*chunk) return begin + at;
      }
    }
    return fileSize_;
  }

  uint64_t fileSize_;
  const QorixReadAt& readAt_;
  std::vector<uint8_t> used_;
};

}  // namespace

QorixWalk WalkChunks(uint64_t fileSize, const QorixReadAt& readAt) {
  return Walker(fileSize, readAt).Run();
}

QorixWalk WalkChunks(std::span<const uint8_t> file) {
  return WalkChunks(file.size(), [file](uint64_t offset, std::span<uint8_t> bytes) {
    std::copy_n(file.begin() + ptrdiff_t(offset), bytes.size(), bytes.begin());
    return true;
  });
}

uint64_t QorixNumberAt(std::span<const uint8_t> file, uint64_t offset, unsigned size) {
  uint64_t value = 0;
  if (offset > file.size() || file.size() - offset < size) return 0;
  for (unsigned i = 0; i < size; ++i) value |= uint64_t(file[size_t(offset) + i]) << (8 * i);
  return value;
}

std::vector<QorixRange> SliceRanges(std::span<const uint8_t> file, const QorixPlacedChunk& frame) {
  constexpr uint64_t kSliceCount = 60;
  const uint64_t count = QorixNumberAt(file, frame.offset + kSliceCount, 2);
  std::vector<QorixRange> ranges;
  if (frame.headLength + 4 * count > frame.usedSize) return ranges;
  uint64_t begin = frame.offset + frame.usedSize;
  for (uint64_t slice = 0; slice < count; ++slice) {
    const uint64_t end = begin + QorixNumberAt(file, frame.offset + frame.headLength + 4 * slice, 4);
    ranges.push_back({begin, end});
    begin = end;
  }
  return ranges;
}

}  // namespace qx
