#include "samples/qorix_writer.h"

#include <algorithm>
#include <fstream>
#include <utility>

namespace qx {

namespace {

constexpr uint64_t kMaxUsedSize = 64 << 20;
constexpr size_t kMaxHeadLength = 0xFFFF;
constexpr uint16_t kLeastIndexEntry = 24;
constexpr uint32_t kLastPartFlag = 1;
constexpr size_t kZeroBlock = 1 << 16;

void PutRect(const QorixRect& rect, QorixFields* fields) {
  fields->U16(rect.left).U16(rect.top).U16(rect.right).U16(rect.bottom);
}

std::vector<uint8_t> HeaderHead(const QorixHeader& header) {
  QorixFields head;
  head.Raw(header.signature).U16(header.version).U16(0).U32(header.incompatibleBits).U32(header.compatibleBits).Raw(header.recordingId);
  head.U16(header.partNumber).U16(0).U32(0).U32(0).U64(header.sensorStartNs).U64(header.wallClockStartNs);
  head.U16(uint16_t(header.timeZoneMinutes)).U8(0).U8(header.cfaCode).U16(header.sensorWidth).U16(header.sensorHeight).Zeros(8);
  PutRect(header.fullField, &head);
  PutRect(header.crop, &head);
  head.Zeros(4).U32(header.white);
  for (const int32_t black : header.black) head.U32(uint32_t(black));
  for (const QorixRate& rate : {header.capture, header.playback}) head.U32(rate.numerator).U32(rate.denominator);
  head.U32(0).F32(header.quantization).U16(0).U16(uint16_t(header.rotationDegrees));
  std::vector<uint8_t> bytes = head.bytes();
  bytes.resize(std::clamp<size_t>(header.headLength, kQorixChunkHeader, 200) - kQorixChunkHeader);
  return bytes;
}

}  // namespace

QorixSink QorixSinkTo(std::vector<uint8_t>* bytes) {
  return {[bytes](std::span<const uint8_t> more) {
    bytes->insert(bytes->end(), more.begin(), more.end());
    return true;
  }};
}

QorixSink QorixSinkTo(std::ostream* stream) {
  return {[stream](std::span<const uint8_t> bytes) {
    return bool(stream->write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size())));
  }};
}

QorixSink QorixSinkTo(std::ofstream* file) {
  QorixSink sink = QorixSinkTo(static_cast<std::ostream*>(file));
  // The last byte is written, so that a hole at the end counts too.
  sink.skip = [file](uint64_t count) {
    if (count == 0) return true;
    return bool(file->seekp(std::streamoff(count - 1), std::ios::cur)) && bool(file->put(0));
  };
  return sink;
}

QorixWriter::QorixWriter(QorixSink sink) : sink_(std::move(sink)) {}

bool QorixWriter::Begin(const QorixFileOptions& options) {
  options_ = options;
  options_.indexEntrySize = std::max(options.indexEntrySize, kLeastIndexEntry);
  frameCount_ = options.framesBefore;
  QorixChunk header = HeaderChunk();
  if (options.headerCopyFirst) {
    QorixChunk copy = header;
    copy.flags |= kQorixCopyFlag;
    Put(std::move(copy), {});
  }
  headerOffset_ = offset_;
  return Put(std::move(header), {}) && AfterChunk();
}

bool QorixWriter::WriteFrame(const QorixFrameFormat& format, std::span<const uint16_t> samples, uint32_t number, uint64_t timestampNs) {
  QorixFrameSlices slices;
  if (!EncodeFrame(format, samples, &slices)) ok_ = false;
  return WriteSlices(format, slices, number, timestampNs);
}

bool QorixWriter::WriteSlices(const QorixFrameFormat& format, const QorixFrameSlices& slices, uint32_t number, uint64_t timestampNs) {
  CountLostFrame(number);
  return Put(FrameChunk(format, slices, number, timestampNs), {slices.data.size(), slices.data.data()}) && AfterChunk();
}

bool QorixWriter::WriteHollowFrame(const QorixFrameFormat& format, const QorixFrameSlices& sizes, uint32_t number, uint64_t timestampNs) {
  CountLostFrame(number);
  uint64_t total = 0;
  for (const uint32_t size : sizes.sizes) total += size;
  return Put(FrameChunk(format, sizes, number, timestampNs), {total, nullptr}) && AfterChunk();
}

void QorixWriter::CountLostFrame(uint32_t number) {
  frameCount_ = std::max(frameCount_, number + 1);
}

bool QorixWriter::WriteFrameItems(uint32_t frameNumber, const QorixItemList& items) {
  QorixMetadata metadata = {.seq = metadataCount_, .frameNumber = frameNumber, .keyframe = true, .keyframeSeq = metadataCount_};
  if (options_.keyframeEvery <= 1 || metadataCount_ % options_.keyframeEvery == 0) {
    keyframeSeq_ = metadataCount_;
    keyframe_ = items;
    metadata.items = items;
  } else {
    metadata.keyframe = false;
    metadata.keyframeSeq = keyframeSeq_;
    metadata.items = items.DeltaFrom(keyframe_);
  }
  ++metadataCount_;
  return WriteMetadata(metadata);
}

bool QorixWriter::WriteMetadata(const QorixMetadata& metadata) {
  return WriteChunk({.tag = QorixTag("QXPM"),
                     .seq = metadata.seq,
                     .flags = metadata.keyframe ? kQorixKeyframeFlag : uint16_t(0),
                     .head = QorixFields().U32(metadata.keyframeSeq).U32(metadata.frameNumber).bytes(),
                     .body = metadata.items.Encoded()});
}

bool QorixWriter::WriteTable(uint32_t number, std::span<const uint32_t> binStarts, uint16_t white) {
  if (binStarts.size() > 0xFFFF) return ok_ = false;
  QorixFields body;
  for (const uint32_t start : binStarts) body.U16(std::min(start, 0xFFFFu));
  QorixChunk table = {.tag = QorixTag("QXRL"),
                      .seq = number,
                      .head = QorixFields().U16(0).U16(binStarts.size()).Zeros(18).U16(white).bytes(),
                      .body = body.bytes()};
  tables_.push_back(table);
  return WriteChunk(std::move(table));
}

bool QorixWriter::WriteBlob(uint16_t kind, uint32_t seq, std::span<const uint8_t> payload, bool inHead) {
  const QorixFields head = QorixFields().U16(kind).U16(0).U32(payload.size());
  QorixChunk blob = {.tag = QorixTag("QXPB"), .seq = seq, .head = head.bytes(), .body = {}};
  std::vector<uint8_t>& place = inHead ? blob.head : blob.body;
  place.insert(place.end(), payload.begin(), payload.end());
  return WriteChunk(std::move(blob));
}

bool QorixWriter::WriteSound(const QorixSoundChunk& sound) {
  QorixFields head;
  head.U64(sound.firstSample).U32(sound.sampleFrames).U32(sound.rate).U16(sound.channels).U8(sound.format).Zeros(5);
  return WriteChunk(
      {.tag = QorixTag("QXPA"), .seq = sound.seq, .timestampNs = sound.timestampNs, .head = head.bytes(), .body = sound.samples});
}

bool QorixWriter::WriteMotion(uint32_t seq, uint64_t timestampNs, uint32_t count, std::span<const uint8_t> samples) {
  return WriteChunk({.tag = QorixTag("QXPG"),
                     .seq = seq,
                     .timestampNs = timestampNs,
                     .head = QorixFields().U32(count).U8(0).U8(0).U16(0).bytes(),
                     .body = {samples.begin(), samples.end()}});
}

bool QorixWriter::WriteChunk(QorixChunk chunk) {
  return Put(std::move(chunk), {}) && AfterChunk();
}

bool QorixWriter::Finish() {
  uint64_t indexOffset = kQorixNowhere;
  if (options_.wholeIndex) {
    indexOffset = offset_;
    std::vector<uint8_t> entries = IndexEntries(0);
    const QorixFields head = QorixFields().U32(entries.size() / options_.indexEntrySize).U16(options_.indexEntrySize).U16(0);
    Put({.tag = QorixTag("QXPX"), .head = head.bytes(), .body = std::move(entries)}, {});
  }
  if (!options_.trailer) return ok_;
  constexpr size_t kTrailerBytes = 88;
  QorixFields head;
  head.U64(indexOffset).U64(0).U64(headerOffset_).U32(0).U32(options_.lastPart ? kLastPartFlag : 0).U32(frameCount_).U32(0);
  head.U64(offset_ + kTrailerBytes);
  return Put({.tag = QorixTag("QXPE"), .head = head.bytes(), .body = {}}, {});
}

bool QorixWriter::Put(QorixChunk chunk, const FrameData& data) {
  if (chunk.sessionId == 0) chunk.sessionId = options_.sessionId;
  const uint64_t used = QorixUsedSize(chunk), total = QorixTotalSize(chunk, data.size);
  const size_t headLength = kQorixChunkHeader + chunk.head.size();
  if (!ok_ || used > kMaxUsedSize || total > UINT32_MAX || headLength > kMaxHeadLength) return ok_ = false;
  chunks_.push_back({offset_, chunk.tag, chunk.seq, chunk.timestampNs, uint32_t(total), uint32_t(used), chunk.flags, uint16_t(headLength),
                     chunk.sessionId});
  ok_ = PutBytes(LayOutChunk(chunk, data.size)) && (data.bytes != nullptr ? PutBytes({data.bytes, data.size}) : PutZeros(data.size)) &&
        PutZeros(total - used - data.size);
  return ok_;
}

bool QorixWriter::PutBytes(std::span<const uint8_t> bytes) {
  offset_ += bytes.size();
  return bytes.empty() || sink_.write(bytes);
}

bool QorixWriter::PutZeros(uint64_t count) {
  static constexpr uint8_t kZeros[kZeroBlock] = {};
  if (count > kZeroBlock && sink_.skip) {
    offset_ += count;
    return sink_.skip(count);
  }
  for (uint64_t part = 0; count > 0; count -= part) {
    part = std::min<uint64_t>(count, kZeroBlock);
    if (!PutBytes({kZeros, size_t(part)})) return false;
  }
  return true;
}

bool QorixWriter::AfterChunk() {
  if (options_.indexEvery == 0 || chunks_.size() - indexedChunks_ < options_.indexEvery) return ok_;
  return PutCopies() && PutPeriodicIndex();
}

bool QorixWriter::PutCopies() {
  std::vector<QorixChunk> copies;
  if (options_.repeatHeader) copies.push_back(HeaderChunk());
  if (options_.repeatTables) copies.insert(copies.end(), tables_.begin(), tables_.end());
  for (QorixChunk& copy : copies) {
    copy.flags |= kQorixCopyFlag;
    Put(std::move(copy), {});
  }
  return ok_;
}

bool QorixWriter::PutPeriodicIndex() {
  const uint64_t indexOffset = offset_;
  std::vector<uint8_t> entries = IndexEntries(indexedChunks_);
  QorixFields head;
  head.U64(lastIndexOffset_)
      .U64(indexedTo_)
      .U64(headerOffset_)
      .U32(entries.size() / options_.indexEntrySize)
      .U16(options_.indexEntrySize)
      .U16(0);
  head.U32(frameCount_).U32(0);
  Put({.tag = QorixTag("QXPI"), .seq = indexCount_, .head = head.bytes(), .body = std::move(entries)}, {});
  lastIndexOffset_ = indexOffset;
  indexedTo_ = offset_;
  indexedChunks_ = chunks_.size();
  ++indexCount_;
  return ok_;
}

QorixChunk QorixWriter::HeaderChunk() const {
  return {.tag = QorixTag("QXPH"), .head = HeaderHead(options_.header), .body = options_.staticItems.Encoded()};
}

std::vector<uint8_t> QorixWriter::IndexEntries(size_t firstChunk) const {
  QorixFields entries;
  for (size_t i = firstChunk; i < chunks_.size(); ++i) {
    const QorixPlacedChunk& chunk = chunks_[i];
    if (chunk.sessionId != options_.sessionId) continue;
    entries.U64(chunk.offset).U32(chunk.tag).U32(chunk.seq).U64(chunk.timestampNs).Zeros(options_.indexEntrySize - kLeastIndexEntry);
  }
  return entries.bytes();
}

}  // namespace qx
