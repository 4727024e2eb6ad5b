#include "qorix/chunk_search.h"

#include <algorithm>
#include <vector>

namespace qx {

namespace {

constexpr uint64_t kWindowPositions = uint64_t(1) << 20;     // bytes of a window at which a chunk may start
constexpr uint64_t kHeaderOverhang = kChunkHeaderBytes - 1;  // further bytes, for a header that begins there
static_assert(kWindowPositions + kHeaderOverhang == ChunkReader::kWindowBytes);

constexpr int kVotingChunks = 1000;
constexpr size_t kVotingSessions = 64;

constexpr uint64_t RoundUp8(uint64_t value) {
  return (value + 7) & ~uint64_t(7);
}

/// Votes per session, in the order in which the sessions were first seen.
class SessionVotes {
 public:
  void Add(uint32_t sessionId) {
    ++total_;
    for (Count& count : counts_) {
      if (count.sessionId == sessionId) {
        ++count.chunks;
        return;
      }
    }
    if (counts_.size() < kVotingSessions) counts_.push_back({sessionId, 1});
  }
  int total() const { return total_; }
  std::optional<uint32_t> Winner() const {
    const auto winner =
        std::max_element(counts_.begin(), counts_.end(), [](const Count& a, const Count& b) { return a.chunks < b.chunks; });
    return winner == counts_.end() ? std::nullopt : std::optional(winner->sessionId);
  }

 private:
  struct Count {
    uint32_t sessionId;
    int chunks;
  };
  std::vector<Count> counts_;
  int total_ = 0;
};

}  // namespace

// Calls visit(offset) for each plausible position in [from, to), upwards, until it returns false.
template <typename Visit>
void ChunkSearch::VisitCandidates(uint64_t from, uint64_t to, Visit&& visit) {
  ScanCounters& counters = reader_.scan().counters;
  const uint64_t size = reader_.scan().fileSize;
  if (size < kChunkHeaderBytes) return;
  to = std::min(to, size - kHeaderOverhang);  // a chunk cannot start later
  if (from >= to) return;
  for (uint64_t at = RoundUp8(from); at < to;) {
    const Bytes window = reader_.Window(at, kChunkHeaderBytes, to - at + kHeaderOverhang);
    if (window.size() < kChunkHeaderBytes) {  // cannot be read
      at += kWindowPositions;
      continue;
    }
    const size_t positions = window.size() - kHeaderOverhang;
    for (size_t i = 0; i < positions; i += 8) {
      if (!IsPlausibleChunk(&window[i])) continue;
      ++counters.candidates;
      if (!visit(at + i)) return;
    }
    at += RoundUp8(positions);
  }
}

std::optional<ChunkRecord> ChunkSearch::Next(uint64_t from, uint64_t to) {
  std::optional<ChunkRecord> found;
  VisitCandidates(from, to, [&](uint64_t offset) {
    found = reader_.Validate(offset);
    return !found.has_value();
  });
  return found;
}

std::optional<ChunkRecord> ChunkSearch::LastIn(Bytes window, uint64_t windowBegin, uint32_t tag) {
  if (window.size() < kChunkHeaderBytes) return std::nullopt;
  for (size_t i = (window.size() - kChunkHeaderBytes) / 8 * 8;; i -= 8) {
    if (IsPlausibleChunk(&window[i])) {
      ++reader_.scan().counters.candidates;
      if (const auto found = reader_.Validate(windowBegin + i, tag)) return found;
    }
    if (i == 0) return std::nullopt;
  }
}

std::optional<ChunkRecord> ChunkSearch::Last(uint32_t tag, uint64_t lowerBound) {
  const uint64_t size = reader_.scan().fileSize;
  if (size < kChunkHeaderBytes) return std::nullopt;
  const uint64_t lowest = RoundUp8(std::min(lowerBound, size));
  uint64_t end = RoundUp8(size - kHeaderOverhang);  // of the positions not tested yet
  while (end > lowest) {
    const uint64_t begin = end - lowest > kWindowPositions ? end - kWindowPositions : lowest;
    const uint64_t wanted = end - 8 - begin + kChunkHeaderBytes;
    if (const auto found = LastIn(reader_.Window(begin, wanted, wanted), begin, tag)) return found;
    end = begin;
  }
  return std::nullopt;
}

uint64_t ChunkSearch::Pass(const ChunkRecord& chunk) {
  slicesBegin_ = chunk.offset + chunk.usedSize;
  slicesEnd_ = chunk.offset + chunk.totalSize;
  return slicesEnd_;
}

std::optional<ChunkRecord> ChunkSearch::NextInSlicesBefore(uint64_t at) {
  return at == slicesEnd_ ? Next(slicesBegin_, at) : std::nullopt;
}

void ChunkSearch::Walk(uint64_t begin, uint64_t end) {
  RecordingScan& scan = reader_.scan();
  uint64_t at = begin;
  while (at != end) {
    const bool inside = at < end && RangeFits(at, kChunkHeaderBytes, scan.fileSize);
    if (const ChunkRecord* known = collector_.Find(at); known != nullptr && inside) {
      at = Pass(*known);
      continue;
    }
    std::optional<ChunkRecord> chunk = inside ? reader_.Validate(at) : std::nullopt;
    if (!chunk) {
      scan.counters.resynchronisations += inside ? 1 : 0;
      chunk = NextInSlicesBefore(at);
    }
    if (!chunk) {
      if (!inside) return;
      chunk = Next(at + 8, end);
      scan.damaged.push_back({at, chunk ? chunk->offset : std::min(scan.fileSize, end)});
      if (!chunk) return;
    }
    collector_.Add(*chunk);
    at = Pass(*chunk);
  }
}

uint64_t ChunkSearch::WalkWhole(uint64_t begin) {
  RecordingScan& scan = reader_.scan();
  uint64_t at = begin;
  while (RangeFits(at, kChunkHeaderBytes, scan.fileSize)) {
    const ScanCounters before = scan.counters;
    const auto chunk = reader_.Validate(at);
    if (!chunk) {
      scan.counters = before;  // whoever goes on from here meets the place again, and counts it
      break;
    }
    collector_.Add(*chunk);
    at = Pass(*chunk);
  }
  return at;
}

std::optional<uint32_t> ChunkSearch::VoteForSession() {
  SessionVotes votes;
  VisitCandidates(0, reader_.scan().fileSize, [&](uint64_t offset) {
    if (const auto chunk = reader_.Validate(offset)) votes.Add(chunk->sessionId);
    return votes.total() < kVotingChunks;
  });
  return votes.Winner();
}

}  // namespace qx
