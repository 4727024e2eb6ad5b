#include "rawzip/lj92_scan.h"

#include <cstring>

#include "base/grow_buffer.h"
#include "rawzip/lj92.h"
#include "rawzip/lj92_entropy.h"

namespace qx {

namespace {

/// Memory of a scan: the unstuffed bytes of some lines, and two lines of samples where the output cannot take them directly.
struct ScanMemory {
  GrowBuffer<uint8_t> window;
  GrowBuffer<uint16_t> lines;
};

struct ScanPass {
  int result = kLj92Ok;
  bool endedCleanly = false;
  bool sawCategory16 = false;
};

/// The longest code with the longest difference: 32 bits.
size_t LineBytes(const Lj92Header& header) {
  return size_t(header.LineSamples()) * 4;
}

bool FitsDirectly(const Lj92Header& header, const Lj92Output& out) {
  return header.pointTransform == 0 && header.LineSamples() == uint32_t(out.width) && header.lines == uint32_t(out.height) &&
         out.width <= out.pitch;
}

bool AllocateScan(const Lj92Header& header, const Lj92Output& out, ScanMemory& memory) {
  if (!memory.window.Reserve(Lj92EntropyReader::WindowBytes(LineBytes(header)))) return false;
  if (FitsDirectly(header, out)) return true;
  const size_t count = size_t(header.LineSamples()) * 2;
  if (!memory.lines.Reserve(count)) return false;
  std::memset(memory.lines.data(), 0, count * sizeof(uint16_t));
  return true;
}

/// A loop that both compilers vectorise.
void StoreLine(const uint16_t* line, int32_t width, int pointTransform, uint16_t* out) {
  for (int32_t x = 0; x < width; ++x) out[x] = uint16_t(line[x] << pointTransform);
}

/// One pass over the scan with one reading of category 16.
class ScanDecoder {
 public:
  ScanDecoder(const Lj92Header& header, const Lj92Output& out, ScanMemory& memory, const Lj92RowKernels& kernels, bool category16ReadsBits)
      : header_(header),
        out_(out),
        lines_(memory.lines.data()),
        direct_(FitsDirectly(header, out)),
        firstRow_(kernels.rows[header.components][1]),
        laterRow_(kernels.rows[header.components][header.predictor]),
        reader_(header.scan, memory.window.data(), LineBytes(header)) {
    for (int c = 0; c < header.components; ++c) row_.tables[c] = &header.tables[header.tableOfComponent[c]];
    row_.groups = header.samplesPerLine;
    row_.components = header.components;
    row_.category16ReadsBits = category16ReadsBits;
  }

  ScanPass Run() {
    ScanPass pass;
    for (uint32_t y = 0; y < header_.lines && pass.result == kLj92Ok; ++y) pass.result = DecodeLine(y);
    pass.endedCleanly = pass.result == kLj92Ok && reader_.EndsCleanly();
    pass.sawCategory16 = row_.sawCategory16;
    return pass;
  }

 private:
  uint16_t* LineAt(uint32_t y) const {
    return direct_ ? out_.samples + int64_t(y) * out_.pitch : lines_ + size_t(y & 1) * header_.LineSamples();
  }

  int DecodeLine(uint32_t y) {
    bool predictFromAbove = y > 0;
    if (y > 0 && header_.restartLines != 0 && y % header_.restartLines == 0) {
      if (const int result = reader_.Restart(); result != kLj92Ok) return result;
      predictFromAbove = false;
    }
    row_.line = LineAt(y);
    row_.above = predictFromAbove ? LineAt(y - 1) : nullptr;
    row_.predictor = predictFromAbove ? header_.predictor : 1;
    const uint16_t middle = uint16_t(1u << (header_.precision - header_.pointTransform - 1));
    for (int c = 0; c < header_.components; ++c) row_.firstPrediction[c] = predictFromAbove ? row_.above[c] : middle;

    reader_.PrepareLine();
    row_.data = reader_.data();
    row_.bitPosition = reader_.bitPosition();
    (predictFromAbove ? laterRow_ : firstRow_)(row_);
    reader_.SetBitPosition(row_.bitPosition);

    if (row_.sawInvalidCode) return kLj92Corrupt;
    if (reader_.RanPastData()) return kLj92Truncated;
    if (!direct_ && y < uint32_t(out_.height)) {
      StoreLine(row_.line, out_.width, header_.pointTransform, out_.samples + int64_t(y) * out_.pitch);
    }
    return kLj92Ok;
  }

  const Lj92Header& header_;
  const Lj92Output& out_;
  uint16_t* const lines_;
  const bool direct_;
  const Lj92RowFunction firstRow_;
  const Lj92RowFunction laterRow_;
  Lj92EntropyReader reader_;
  Lj92Row row_;
};

bool RepeatsSymbol(const Lj92Header& header) {
  bool repeats = false;
  for (int c = 0; c < header.components; ++c) repeats |= header.tables[header.tableOfComponent[c]].repeatsSymbol();
  return repeats;
}

}  // namespace

int DecodeLj92Scan(const Lj92Header& header, const Lj92Output& out, const Lj92RowKernels& kernels, bool& category16ReadsBits) {
  ScanMemory memory;
  if (!AllocateScan(header, out, memory)) return kLj92OutOfMemory;
  const auto run = [&](bool readsBits) { return ScanDecoder(header, out, memory, kernels, readsBits).Run(); };

  category16ReadsBits = RepeatsSymbol(header);
  const ScanPass first = run(category16ReadsBits);
  if ((first.result == kLj92Ok && first.endedCleanly) || !first.sawCategory16) return first.result;

  const ScanPass second = run(!category16ReadsBits);
  if (second.result == kLj92Ok && (second.endedCleanly || first.result != kLj92Ok)) {
    category16ReadsBits = !category16ReadsBits;
    return kLj92Ok;
  }
  // The second pass overwrote what the first had decoded.
  return first.result == kLj92Ok ? run(category16ReadsBits).result : first.result;
}

}  // namespace qx
