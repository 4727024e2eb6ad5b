#include "samples/lj92_writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <utility>

namespace qx {

namespace {

constexpr int kCategories = 17;
/// Categories, a spare for a category that is listed twice, and one that keeps the code of all ones unused, as T.81 wants it.
constexpr int kRepeated = kCategories;
constexpr int kReserved = kCategories + 1;
constexpr int kLeaves = kCategories + 2;
constexpr int kLongestCode = 16;

using Frequencies = std::array<uint64_t, kLeaves>;

struct HuffmanTable {
  std::array<uint8_t, kLongestCode> counts = {};
  std::vector<uint8_t> symbols;  // in code order
  std::array<uint16_t, kCategories> code = {};
  std::array<uint8_t, kCategories> codeBits = {};

  /// Numbers the codes of `counts` and `symbols`; the first of a repeated symbol is the one to use.
  void AssignCodes() {
    uint32_t next = 0;
    size_t index = 0;
    for (int bits = 1; bits <= kLongestCode; ++bits, next <<= 1) {
      for (int i = 0; i < counts[bits - 1]; ++i, ++next) {
        const uint8_t symbol = symbols[index++];
        if (codeBits[symbol] != 0) continue;
        code[symbol] = uint16_t(next);
        codeBits[symbol] = uint8_t(bits);
      }
    }
  }
};

/// T.81 figure K.1: merges the two rarest trees until one is left; each merge makes the codes of their leaves a bit longer.
std::array<int, kLeaves> CodeLengths(Frequencies frequency) {
  std::array<int, kLeaves> length = {};
  std::array<int, kLeaves> next;
  next.fill(-1);
  for (;;) {
    int rarest = -1, second = -1;
    for (int i = 0; i < kLeaves; ++i) {
      if (frequency[i] == 0) continue;
      if (rarest < 0 || frequency[i] <= frequency[rarest]) {
        second = rarest;
        rarest = i;
      } else if (second < 0 || frequency[i] <= frequency[second]) {
        second = i;
      }
    }
    if (second < 0) return length;
    frequency[rarest] += frequency[second];
    frequency[second] = 0;
    int last = rarest;
    for (int i = rarest; i >= 0; i = next[i]) ++length[last = i];
    next[last] = second;
    for (int i = second; i >= 0; i = next[i]) ++length[i];
  }
}

/// T.81 figure K.3: moves pairs of codes that are too long up, each time at the cost of a shorter one.
void LimitLengths(std::array<int, kLeaves + 1>& counts) {
  for (int bits = kLeaves; bits > kLongestCode; --bits) {
    while (counts[bits] > 0) {
      int shorter = bits - 2;
      while (counts[shorter] == 0) --shorter;
      counts[bits] -= 2;
      counts[bits - 1] += 1;
      counts[shorter + 1] += 2;
      counts[shorter] -= 1;
    }
  }
}

HuffmanTable OptimalTable(Frequencies frequency, bool repeatSymbol) {
  frequency[kReserved] = 1;
  if (repeatSymbol) frequency[kRepeated] = 1;
  const std::array<int, kLeaves> length = CodeLengths(frequency);
  std::array<int, kLeaves + 1> counts = {};
  for (const int bits : length) counts[bits] += bits > 0;
  LimitLengths(counts);
  int longest = kLongestCode;
  while (counts[longest] == 0) --longest;
  --counts[longest];  // the reserved code: the last of the longest

  HuffmanTable table;
  std::copy_n(counts.begin() + 1, kLongestCode, table.counts.begin());
  for (int bits = 1; bits <= kLeaves; ++bits) {
    for (int leaf = 0; leaf < kReserved; ++leaf) {
      if (length[leaf] == bits) table.symbols.push_back(uint8_t(leaf == kRepeated ? 0 : leaf));
    }
  }
  table.AssignCodes();
  return table;
}

/// T.81 table K.3 has codes of 2, 3 and 4 … 9 bits for the categories 0 … 11; one code more of each length reaches category 16.
HuffmanTable FixedTable(bool repeatSymbol) {
  HuffmanTable table;
  table.counts = {0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
  for (int category = 0; category < kCategories; ++category) table.symbols.push_back(uint8_t(category));
  if (repeatSymbol) {
    table.counts[14] = 1;
    table.symbols.push_back(0);
  }
  table.AssignCodes();
  return table;
}

class StreamWriter {
 public:
  void Byte(int value) { bytes_.push_back(uint8_t(value)); }
  void Word(int value) {
    Byte(value >> 8);
    Byte(value);
  }
  void Marker(int code) {
    Byte(0xFF);
    Byte(code);
  }

  /// Appends the low `count` bits, at most 32, of `value` to the entropy-coded data.
  void Bits(uint64_t value, int count) {
    pending_ = pending_ << count | value;
    pendingBits_ += count;
    while (pendingBits_ >= 8) {
      pendingBits_ -= 8;
      const uint8_t byte = uint8_t(pending_ >> pendingBits_);
      Byte(byte);
      if (byte == 0xFF) Byte(0);
    }
  }
  /// Fills the last byte with ones.
  void AlignBits() {
    if (pendingBits_ > 0) Bits((1u << (8 - pendingBits_)) - 1, 8 - pendingBits_);
  }

  std::vector<uint8_t> Take() { return std::move(bytes_); }

 private:
  std::vector<uint8_t> bytes_;
  uint64_t pending_ = 0;
  int pendingBits_ = 0;
};

/// The differences of a picture, modulo 2^16, in coding order.
std::vector<uint16_t> Differences(const std::vector<uint16_t>& picture, const Lj92Format& format) {
  const int step = format.components, width = format.samplesPerLine * step;
  std::vector<uint16_t> differences(picture.size());
  for (int y = 0; y < format.lines; ++y) {
    const uint16_t* line = picture.data() + size_t(y) * width;
    const uint16_t* above = y > 0 ? line - width : nullptr;
    const bool firstLine = y == 0 || (format.restartLines != 0 && y % format.restartLines == 0);
    for (int x = 0; x < width; ++x) {
      int prediction = 0;
      if (x < step) {
        prediction = firstLine ? 1 << (format.precision - format.pointTransform - 1) : above[x];
      } else {
        const int a = line[x - step], b = firstLine ? 0 : above[x], c = firstLine ? 0 : above[x - step];
        const int byPredictor[8] = {0, a, b, c, a + b - c, a + ((b - c) >> 1), b + ((a - c) >> 1), (a + b) >> 1};
        prediction = firstLine ? a : byPredictor[format.predictor];
      }
      differences[size_t(y) * width + x] = uint16_t(line[x] - prediction);
    }
  }
  return differences;
}

/// Bits that the magnitude of a difference needs; 32768 is the one of category 16.
int CategoryOf(uint16_t difference) {
  const int value = int16_t(difference);
  return int(std::bit_width(unsigned(value < 0 ? -value : value)));
}

std::vector<HuffmanTable> MakeTables(const std::vector<uint16_t>& differences, const Lj92Format& format) {
  if (format.tables == Lj92Tables::kFixed) return {FixedTable(format.repeatSymbol)};
  const size_t count = format.tables == Lj92Tables::kOptimalPerComponent ? size_t(format.components) : 1;
  std::vector<Frequencies> frequencies(count, Frequencies{});
  for (size_t i = 0; i < differences.size(); i += format.components) {
    for (int c = 0; c < format.components; ++c) ++frequencies[c % count][CategoryOf(differences[i + c])];
  }
  std::vector<HuffmanTable> tables;
  for (const Frequencies& frequency : frequencies) tables.push_back(OptimalTable(frequency, format.repeatSymbol));
  return tables;
}

void WriteHeaders(const std::vector<HuffmanTable>& tables, const Lj92Format& format, StreamWriter& out) {
  out.Marker(0xD8);
  out.Marker(0xC3);
  out.Word(8 + 3 * format.components);
  out.Byte(format.precision);
  out.Word(format.lines);
  out.Word(format.samplesPerLine);
  out.Byte(format.components);
  for (int c = 0; c < format.components; ++c) {
    out.Byte(c + 1);
    out.Byte(0x11);
    out.Byte(0);
  }
  for (size_t id = 0; id < tables.size(); ++id) {
    out.Marker(0xC4);
    out.Word(int(2 + 17 + tables[id].symbols.size()));
    out.Byte(int(id));
    for (const uint8_t count : tables[id].counts) out.Byte(count);
    for (const uint8_t symbol : tables[id].symbols) out.Byte(symbol);
  }
  if (format.restartLines != 0) {
    out.Marker(0xDD);
    out.Word(4);
    out.Word(format.restartLines * format.samplesPerLine);
  }
  out.Marker(0xDA);
  out.Word(6 + 2 * format.components);
  out.Byte(format.components);
  for (int c = 0; c < format.components; ++c) {
    out.Byte(c + 1);
    out.Byte(int(c % tables.size()) << 4);
  }
  out.Byte(format.predictor);
  out.Byte(0);
  out.Byte(format.pointTransform);
}

void WriteDifference(uint16_t difference, const HuffmanTable& table, bool category16WritesBits, StreamWriter& out) {
  const int category = CategoryOf(difference);
  const int extraBits = category == 16 && !category16WritesBits ? 0 : category;
  // Negative differences are stored less one, so that their leading bit is 0.
  const uint32_t stored = category < 16 && int16_t(difference) < 0 ? difference - 1u : difference;
  const uint64_t extra = stored & ((uint64_t(1) << extraBits) - 1);
  out.Bits(uint64_t(table.code[category]) << extraBits | extra, table.codeBits[category] + extraBits);
}

void WriteScan(const std::vector<uint16_t>& differences, const std::vector<HuffmanTable>& tables, const Lj92Format& format,
               StreamWriter& out) {
  const size_t lineSamples = size_t(format.samplesPerLine) * format.components;
  for (int y = 0; y < format.lines; ++y) {
    if (y > 0 && format.restartLines != 0 && y % format.restartLines == 0) {
      out.AlignBits();
      out.Marker(0xD0 + (y / format.restartLines - 1) % 8);
    }
    const uint16_t* line = differences.data() + y * lineSamples;
    for (size_t i = 0; i < lineSamples; i += format.components) {
      for (int c = 0; c < format.components; ++c) {
        WriteDifference(line[i + c], tables[c % tables.size()], format.category16WritesBits, out);
      }
    }
  }
  out.AlignBits();
}

/// The samples that are coded: without the bits that the point transform drops.
std::vector<uint16_t> CodedSamples(const uint16_t* samples, size_t pitch, const Lj92Format& format) {
  const size_t width = size_t(format.samplesPerLine) * format.components;
  std::vector<uint16_t> coded;
  coded.reserve(width * format.lines);
  for (int y = 0; y < format.lines; ++y) {
    for (size_t x = 0; x < width; ++x) coded.push_back(uint16_t(samples[y * pitch + x] >> format.pointTransform));
  }
  return coded;
}

}  // namespace

std::vector<uint8_t> WriteLj92(const uint16_t* samples, size_t pitch, const Lj92Format& format) {
  assert(format.components >= 1 && format.components <= 4 && format.pointTransform < format.precision);
  const std::vector<uint16_t> differences = Differences(CodedSamples(samples, pitch, format), format);
  const std::vector<HuffmanTable> tables = MakeTables(differences, format);
  StreamWriter out;
  WriteHeaders(tables, format, out);
  WriteScan(differences, tables, format, out);
  out.Marker(0xD9);
  return out.Take();
}

std::vector<uint16_t> Lj92DecodedSamples(const uint16_t* samples, size_t pitch, const Lj92Format& format) {
  std::vector<uint16_t> decoded = CodedSamples(samples, pitch, format);
  for (uint16_t& sample : decoded) sample = uint16_t(sample << format.pointTransform);
  return decoded;
}

}  // namespace qx
