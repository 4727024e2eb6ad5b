#include <fmt/core.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string>

#include "commands.h"
#include "samples/qorix_walker.h"

namespace tool {

namespace {

/// The head fields of one chunk, by their offsets in it.
class Head {
 public:
  Head(const qx::QorixReadAt& readAt, const qx::QorixPlacedChunk& chunk) : bytes_(std::min<size_t>(chunk.headLength, 200)) {
    if (!readAt(chunk.offset, bytes_)) bytes_.clear();
  }
  uint64_t U(uint64_t offset, unsigned size) const { return qx::QorixNumberAt(bytes_, offset, size); }
  /// An offset in the file, "-" when it names nothing.
  std::string Place(uint64_t offset) const {
    const uint64_t value = U(offset, 8);
    return value == qx::kQorixNowhere ? "-" : std::to_string(value);
  }

 private:
  std::vector<uint8_t> bytes_;
};

std::string FrameText(const Head& head) {
  return fmt::format("{} x {} at {},{}, mode {} coder {} layout {} predictor {} flat {}, {} slices of {} rows{}", head.U(44, 2),
                     head.U(46, 2), head.U(48, 2), head.U(50, 2), head.U(54, 1), head.U(55, 1), head.U(57, 1), head.U(56, 1), head.U(58, 2),
                     head.U(60, 2), head.U(62, 2), head.U(92, 1) != 0 ? " with CRCs" : "");
}

std::string HeaderText(const Head& head) {
  return fmt::format("version {} part {}, sensor {} x {}, CFA {}, white {}, capture {}/{}, playback {}/{}", head.U(48, 2), head.U(76, 2),
                     head.U(108, 2), head.U(110, 2), head.U(107, 1), head.U(140, 4), head.U(160, 4), head.U(164, 4), head.U(168, 4),
                     head.U(172, 4));
}

/// What the head of a chunk says.
std::string Detail(const qx::QorixPlacedChunk& chunk, const Head& head) {
  switch (chunk.tag) {
    case qx::QorixTag("QXPH"):
      return HeaderText(head);
    case qx::QorixTag("QXRF"):
      return FrameText(head);
    case qx::QorixTag("QXRL"):
      return fmt::format("{} codes, white {}", head.U(42, 2), head.U(62, 2));
    case qx::QorixTag("QXPM"):
      return (chunk.flags & qx::kQorixKeyframeFlag) != 0 ? fmt::format("frame {}, complete", head.U(44, 4))
                                                         : fmt::format("frame {}, changes of {}", head.U(44, 4), head.U(40, 4));
    case qx::QorixTag("QXPB"):
      return fmt::format("kind {}, {} bytes", head.U(40, 2), head.U(44, 4));
    case qx::QorixTag("QXPA"):
      return fmt::format("samples {} + {}, {} Hz, {} channels, format {}", head.U(40, 8), head.U(48, 4), head.U(52, 4), head.U(56, 2),
                         head.U(58, 1));
    case qx::QorixTag("QXPI"):
      return fmt::format("{} entries from {} on, previous {}, header {}, {} frames", head.U(64, 4), head.U(48, 8), head.Place(40),
                         head.Place(56), head.U(72, 4));
    case qx::QorixTag("QXPX"):
      return fmt::format("{} entries", head.U(40, 4));
    case qx::QorixTag("QXPE"):
      return fmt::format("index {}, header {}, {} frames, {}", head.Place(40), head.Place(56), head.U(72, 4),
                         (head.U(68, 4) & 1) != 0 ? "last part" : "more parts follow");
    default:
      return {};
  }
}

void PrintChunk(size_t number, const qx::QorixPlacedChunk& chunk, const Head& head) {
  char letters[5];
  fmt::print("{:>6} {:>12} {} {:>6} {:08x} {:>10} {:>9} {:>16}{} {}\n", number, chunk.offset, qx::QorixTagText(chunk.tag, letters),
             chunk.seq, chunk.sessionId, chunk.totalSize, chunk.usedSize, chunk.timestampNs,
             (chunk.flags & qx::kQorixCopyFlag) != 0 ? " copy" : "", Detail(chunk, head));
}

void PrintTotals(const qx::QorixWalk& walk, uint64_t fileSize) {
  std::map<std::string, size_t> counts;
  char letters[5];
  for (const qx::QorixPlacedChunk& chunk : walk.chunks) ++counts[std::string(qx::QorixTagText(chunk.tag, letters))];
  for (const auto& [tag, count] : counts) fmt::print("{} {}  ", tag, count);
  fmt::print("\n{} bytes, {} chunks, {} damaged or unknown stretches\n", fileSize, walk.chunks.size(), walk.gaps.size());
}

}  // namespace

int RunDescribe(const DescribeOptions& options) {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(options.input, error);
  std::ifstream file(options.input, std::ios::binary);
  if (error || !file) return Fail(kReadFailed, options.input.string() + ": cannot be read");
  const qx::QorixReadAt readAt = [&file](uint64_t offset, std::span<uint8_t> bytes) {
    file.clear();
    file.seekg(std::streamoff(offset));
    return bool(file.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(bytes.size())));
  };
  const qx::QorixWalk walk = qx::WalkChunks(size, readAt);
  if (walk.chunks.empty()) return Fail(kReadFailed, options.input.string() + ": not a .qorix recording");
  if (!options.totalsOnly) {
    fmt::print("{:>6} {:>12} kind {:>6} session  {:>10} {:>9} {:>16}\n", "chunk", "offset", "seq", "total", "used", "time ns");
    auto gap = walk.gaps.begin();
    for (size_t i = 0; i <= walk.chunks.size(); ++i) {
      const uint64_t next = i < walk.chunks.size() ? walk.chunks[i].offset : size;
      for (; gap != walk.gaps.end() && gap->begin < next; ++gap)
        fmt::print("       {:>12} ---- {} bytes\n", gap->begin, gap->end - gap->begin);
      if (i < walk.chunks.size()) PrintChunk(i, walk.chunks[i], Head(readAt, walk.chunks[i]));
    }
  }
  PrintTotals(walk, size);
  return kOk;
}

}  // namespace tool
