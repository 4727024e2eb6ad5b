#include "samples/qorix_damage.h"

#include <algorithm>
#include <random>
#include <set>

namespace qx {

namespace {

using Chunks = std::vector<QorixPlacedChunk>;

bool Overlaps(const QorixDamage& damage, uint64_t begin, uint64_t end) {
  return std::any_of(damage.begin(), damage.end(), [begin, end](const QorixRange& range) {
    const bool inserted = range.begin == range.end;
    return inserted ? begin < range.begin && range.begin < end : range.begin < end && begin < range.end;
  });
}

std::span<const uint8_t> BytesOf(std::span<const uint8_t> file, const QorixPlacedChunk& chunk) {
  return file.subspan(size_t(chunk.offset), size_t(std::min<uint64_t>(chunk.totalSize, file.size() - chunk.offset)));
}

QorixRange Within(const QorixFile& file, QorixRange range) {
  const uint64_t end = std::min<uint64_t>(range.end, file.size());
  return {std::min(range.begin, end), end};
}

QorixDamage FlipOneBit(QorixFile* file, uint64_t offset) {
  if (offset >= file->size()) return {};
  (*file)[size_t(offset)] ^= 0x10;
  return {{offset, offset + 1}};
}

bool IsIndex(const QorixPlacedChunk& chunk) {
  return chunk.tag == QorixTag("QXPI") || chunk.tag == QorixTag("QXPX");
}

}  // namespace

bool Touches(const QorixDamage& damage, const QorixPlacedChunk& chunk) {
  return Overlaps(damage, chunk.offset, chunk.end());
}

bool TouchesUsedPart(const QorixDamage& damage, const QorixPlacedChunk& chunk) {
  return Overlaps(damage, chunk.offset, chunk.offset + chunk.usedSize);
}

QorixDamage CutAt(QorixFile* file, uint64_t offset) {
  if (offset >= file->size()) return {};
  const QorixRange lost = {offset, file->size()};
  file->resize(size_t(offset));
  return {lost};
}

QorixDamage FlipBits(QorixFile* file, QorixRange range, uint64_t count, uint64_t seed) {
  const auto [begin, end] = Within(*file, range);
  std::mt19937_64 random(seed);
  std::set<uint64_t> bits;
  const uint64_t bitCount = (end - begin) * 8;
  while (bits.size() < std::min(count, bitCount)) bits.insert(begin * 8 + random() % bitCount);
  QorixDamage damage;
  for (const uint64_t bit : bits) {
    (*file)[size_t(bit / 8)] ^= uint8_t(1 << bit % 8);
    if (damage.empty() || damage.back().begin != bit / 8) damage.push_back({bit / 8, bit / 8 + 1});
  }
  return damage;
}

QorixDamage ZeroBytes(QorixFile* file, QorixRange range) {
  const QorixRange zeros = Within(*file, range);
  std::fill(file->begin() + ptrdiff_t(zeros.begin), file->begin() + ptrdiff_t(zeros.end), 0);
  return zeros.begin < zeros.end ? QorixDamage{zeros} : QorixDamage{};
}

QorixDamage InsertBytes(QorixFile* file, uint64_t offset, std::span<const uint8_t> bytes) {
  if (offset > file->size() || bytes.empty()) return {};
  // Chunks lie at multiples of 8: what is moved to other places is lost.
  const QorixRange touched = {offset, bytes.size() % 8 == 0 ? offset : file->size()};
  file->insert(file->begin() + ptrdiff_t(offset), bytes.begin(), bytes.end());
  return {touched};
}

QorixDamage DropTrailer(QorixFile* file, bool wholeIndexToo) {
  QorixDamage damage;
  const Chunks chunks = WalkChunks(*file).chunks;
  for (auto chunk = chunks.rbegin(); chunk != chunks.rend(); ++chunk) {
    const bool drop = chunk->tag == QorixTag("QXPE") || (wholeIndexToo && chunk->tag == QorixTag("QXPX"));
    if (!drop) continue;
    damage.push_back({chunk->offset, chunk->end()});
    file->erase(file->begin() + ptrdiff_t(chunk->offset), file->begin() + ptrdiff_t(chunk->end()));
  }
  return damage;
}

QorixDamage OverwriteIndexes(QorixFile* file, uint64_t seed) {
  QorixDamage damage;
  std::mt19937_64 random(seed);
  for (const QorixPlacedChunk& chunk : WalkChunks(*file).chunks) {
    if (!IsIndex(chunk)) continue;
    const QorixRange insides = {chunk.offset + kQorixChunkHeader, chunk.offset + chunk.usedSize};
    for (uint64_t at = insides.begin; at < insides.end; ++at) (*file)[size_t(at)] = uint8_t(random());
    damage.push_back(insides);
  }
  return damage;
}

QorixDamage SwapChunks(QorixFile* file, size_t first, size_t second) {
  const Chunks chunks = WalkChunks(*file).chunks;
  if (first > second) std::swap(first, second);
  if (second >= chunks.size() || first == second) return {};
  const QorixPlacedChunk &a = chunks[first], &b = chunks[second];
  const std::span<const uint8_t> old = *file;
  QorixFile swapped(old.begin(), old.begin() + ptrdiff_t(a.offset));
  const std::span<const uint8_t> parts[] = {BytesOf(old, b), old.subspan(size_t(a.end()), size_t(b.offset - a.end())), BytesOf(old, a)};
  for (const auto& part : parts) swapped.insert(swapped.end(), part.begin(), part.end());
  swapped.insert(swapped.end(), file->begin() + ptrdiff_t(swapped.size()), file->end());
  *file = std::move(swapped);
  return {{a.offset, a.offset}, {b.offset, b.offset}};
}

QorixDamage CorruptSlice(QorixFile* file, uint32_t frameNumber, uint32_t slice) {
  for (const QorixPlacedChunk& chunk : WalkChunks(*file).chunks) {
    if (chunk.tag != QorixTag("QXRF") || chunk.seq != frameNumber) continue;
    const std::vector<QorixRange> slices = SliceRanges(*file, chunk);
    if (slice >= slices.size() || slices[slice].begin == slices[slice].end) return {};
    return FlipOneBit(file, (slices[slice].begin + slices[slice].end) / 2);
  }
  return {};
}

QorixDamage CorruptChunk(QorixFile* file, const QorixPlacedChunk& chunk) {
  return FlipOneBit(file, chunk.offset + (kQorixChunkHeader + chunk.usedSize) / 2);
}

QorixDamage AppendRecording(QorixFile* file, std::span<const uint8_t> other) {
  const uint64_t end = file->size();
  file->resize((file->size() + 7) / 8 * 8);
  file->insert(file->end(), other.begin(), other.end());
  return {{end, end}};
}

QorixDamage InterleaveRecording(QorixFile* file, std::span<const uint8_t> other, size_t distance) {
  const QorixFile old = *file;
  const Chunks own = WalkChunks(old).chunks, foreign = WalkChunks(other).chunks;
  QorixDamage damage;
  uint64_t copied = 0;
  file->clear();
  for (size_t i = 0, next = 0; i < own.size() && next < foreign.size(); ++i) {
    if (distance == 0 || (i + 1) % distance != 0) continue;
    const auto end = std::min<uint64_t>(own[i].end(), old.size());
    file->insert(file->end(), old.begin() + ptrdiff_t(copied), old.begin() + ptrdiff_t(end));
    const std::span<const uint8_t> chunk = BytesOf(other, foreign[next++]);
    file->insert(file->end(), chunk.begin(), chunk.end());
    damage.push_back({end, end});
    copied = end;
  }
  file->insert(file->end(), old.begin() + ptrdiff_t(copied), old.end());
  return damage;
}

}  // namespace qx
