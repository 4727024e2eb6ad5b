#include <array>
#include <string>

#include "base/checked.h"
#include "media/dng_parser.h"
#include "media/tiff_value.h"

namespace qx {

namespace {

constexpr int kMaxIfds = 32;
constexpr int kMaxDepth = 4;
constexpr int kMaxChainIndex = 8;
constexpr int kMaxSubIfds = 16;
constexpr uint64_t kEntryBytes = 12;

constexpr uint16_t kTagSubIfds = 330;
constexpr uint16_t kTagExifIfd = 34665;
constexpr uint16_t kTagGpsIfd = 34853;

class Walker {
 public:
  Walker(Bytes record, ByteOrder order, const std::function<void(const TiffEntry&)>& callback)
      : record_(record), order_(order), callback_(callback) {}

  int visited() const { return visited_; }

  /// IFD0 and the IFDs chained to it.
  void VisitChain(uint64_t offset) {
    for (int chainIndex = 0; chainIndex <= kMaxChainIndex; ++chainIndex) {
      const uint64_t next = Visit(offset, "IFD" + std::to_string(chainIndex), 0);
      if (next == 0 || next == offset) return;
      offset = next;
    }
  }

 private:
  struct Children {
    std::array<uint64_t, kMaxSubIfds> sub;
    int subCount = 0;
    uint64_t exif = 0, gps = 0;
  };

  /// Visits one IFD and its children. Returns the offset of the next IFD, 0 for none or when this one was skipped.
  uint64_t Visit(uint64_t offset, const std::string& name, int depth) {
    if (depth > kMaxDepth || offset < 8 || visited_ >= kMaxIfds) return 0;
    ByteReader in(record_, order_);
    in.Seek(offset);
    const uint64_t count = in.U16();
    if (!in.ok() || in.remaining() < kEntryBytes * count + 4) return 0;

    const int index = visited_++;
    Children children;
    for (uint64_t i = 0; i < count; ++i) {
      const TiffEntry entry = ReadEntry(in, index, name, offset);
      callback_(entry);
      NoteChildren(entry, &children);
    }
    const uint64_t next = in.U32();
    VisitChildren(children, name, depth + 1);
    return next;
  }

  TiffEntry ReadEntry(ByteReader& in, int index, const std::string& name, uint64_t ifdOffset) const {
    TiffEntry entry;
    entry.ifdIndex = index;
    entry.ifdName = name.c_str();
    entry.ifdOffset = ifdOffset;
    entry.order = order_;
    entry.tag = in.U16();
    entry.type = in.U16();
    entry.count = in.U32();
    const uint64_t inlineOffset = in.position();
    const uint64_t storedOffset = in.U32();
    const uint64_t typeSize = TiffTypeSize(entry.type);
    const uint64_t bytes = typeSize * entry.count;
    entry.valueOffset = bytes <= 4 ? inlineOffset : storedOffset;
    entry.hasValue = typeSize != 0 && RangeFits(entry.valueOffset, bytes, record_.size());
    if (entry.hasValue) entry.value = record_.subspan(size_t(entry.valueOffset), size_t(bytes));
    return entry;
  }

  static void NoteChildren(const TiffEntry& entry, Children* children) {
    if (!entry.hasValue) return;
    const TiffValue value(entry);
    if (entry.tag == kTagSubIfds) {
      for (uint32_t i = 0; i < entry.count && children->subCount < kMaxSubIfds; ++i) children->sub[children->subCount++] = value.U64(i);
    } else if (entry.tag == kTagExifIfd) {
      children->exif = value.U64(0);
    } else if (entry.tag == kTagGpsIfd) {
      children->gps = value.U64(0);
    }
  }

  void VisitChildren(const Children& children, const std::string& parent, int depth) {
    for (int k = 0; k < children.subCount; ++k) Visit(children.sub[k], parent + ".Sub" + std::to_string(k), depth);
    Visit(children.exif, parent + ".EXIF", depth);
    Visit(children.gps, parent + ".GPS", depth);
  }

  const Bytes record_;
  const ByteOrder order_;
  const std::function<void(const TiffEntry&)>& callback_;
  int visited_ = 0;
};

double Ratio(double numerator, double denominator) {
  return denominator == 0 ? 0 : numerator / denominator;
}

}  // namespace

uint32_t TiffTypeSize(uint16_t type) {
  constexpr std::array<uint8_t, 14> kSizes = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
  return type < kSizes.size() ? kSizes[type] : 0;
}

double TiffValue::Number(uint64_t index) const {
  if (!present || index >= count) return 0;
  ByteReader in(bytes, order);
  in.Skip(index * TiffTypeSize(type));
  switch (type) {
    case kTiffSByte:
      return int8_t(in.U8());
    case kTiffShort:
      return in.U16();
    case kTiffSShort:
      return int16_t(in.U16());
    case kTiffLong:
    case kTiffIfd:
      return in.U32();
    case kTiffSLong:
      return int32_t(in.U32());
    case kTiffRational: {
      const double numerator = in.U32();
      return Ratio(numerator, in.U32());
    }
    case kTiffSRational: {
      const double numerator = int32_t(in.U32());
      return Ratio(numerator, int32_t(in.U32()));
    }
    case kTiffFloat:
      return std::bit_cast<float>(in.U32());
    case kTiffDouble:
      return std::bit_cast<double>(in.U64());
    default:
      return in.U8();
  }
}

int tiff_walk(Bytes record, const std::function<void(const TiffEntry&)>& callback) {
  if (record.size() < 8) return -1;
  const bool little = record[0] == 'I' && record[1] == 'I';
  const bool big = record[0] == 'M' && record[1] == 'M';
  if (!little && !big) return -1;
  ByteReader in(record, big ? ByteOrder::kBig : ByteOrder::kLittle);
  in.Skip(2);
  if (in.U16() != 42) return -2;
  Walker walker(record, in.order(), callback);
  walker.VisitChain(in.U32());
  return walker.visited() > 0 ? walker.visited() : -1;
}

}  // namespace qx
