#include "qorix/crc32c.h"

#include <array>

#include "platform/cpu_features.h"
#include "platform/environment.h"
#include "qorix/crc32c_polynomial.h"
#include "qorix/crc32c_variants.h"

namespace qx {

namespace {

// Every value of the variable counts, so the limit only has to exceed what a system allows one variable to be.
constexpr size_t kAnyEnvironmentValue = size_t(1) << 18;

// tables[k][b]: the CRC register after byte b and k zero bytes.
std::array<std::array<uint32_t, 256>, 8> tables;

struct Selection {
  std::array<CrcVariant, 4> variants = {};
  size_t variantCount = 0;
  size_t selected = 0;
  bool selfTestFailed = false;
};

// Slowest first.
void ListVariants(Selection* selection) {
  const auto add = [selection](const CrcVariant& variant) { selection->variants[selection->variantCount++] = variant; };
  add({"tables", true, Crc32cTables});
#if defined(__x86_64__)
  const CpuFeatures& cpu = GetCpuFeatures();
  __builtin_cpu_init();
  const bool multiplies = cpu.sse42 && __builtin_cpu_supports("pclmul") != 0;
  add({"sse42", cpu.sse42, Crc32cSse42});
  add({"sse42x3", multiplies, Crc32cSse42x3});
  add({"avx512", multiplies && cpu.avx512 && __builtin_cpu_supports("vpclmulqdq") != 0, Crc32cAvx512});
#endif
}

bool PassesSelfTest(const CrcVariant& variant) {
  std::array<uint8_t, 1031> pattern;
  for (size_t i = 0; i < pattern.size(); ++i) pattern[i] = uint8_t(i * 131 + 7);
  const Bytes unaligned = Bytes(pattern).subspan(3, 1021);
  static constexpr uint8_t kDigits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  return variant.update(0, unaligned.data(), unaligned.size()) == Crc32cTables(0, unaligned.data(), unaligned.size()) &&
         variant.update(0, kDigits, sizeof kDigits) == 0xE3069283;
}

Selection Select() {
  Crc32cBuildTables();
  Selection selection;
  ListVariants(&selection);
  if (ReadEnvironment("QXP_CRC_SOFT", kAnyEnvironmentValue).has_value()) return selection;
  for (size_t i = 1; i < selection.variantCount; ++i) {
    if (selection.variants[i].usable) selection.selected = i;
  }
  selection.selfTestFailed = !PassesSelfTest(selection.variants[selection.selected]);
  if (selection.selfTestFailed) selection.selected = 0;
  return selection;
}

const Selection& Selected() {
  static const Selection selection = Select();
  return selection;
}

}  // namespace

void Crc32cBuildTables() {
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? kCrc32cPolynomial : 0);
    tables[0][byte] = value;
  }
  for (size_t k = 1; k < tables.size(); ++k) {
    for (uint32_t byte = 0; byte < 256; ++byte) {
      const uint32_t before = tables[k - 1][byte];
      tables[k][byte] = (before >> 8) ^ tables[0][before & 0xFF];
    }
  }
}

uint32_t Crc32cTables(uint32_t crc, const uint8_t* data, size_t length) {
  uint32_t c = ~crc;
  for (; length >= 8; data += 8, length -= 8) {
    const uint32_t x = c ^ LoadU32Le(data);
    c = tables[7][x & 0xFF] ^ tables[6][(x >> 8) & 0xFF] ^ tables[5][(x >> 16) & 0xFF] ^ tables[4][x >> 24] ^ tables[3][data[4]] ^
        tables[2][data[5]] ^ tables[1][data[6]] ^ tables[0][data[7]];
  }
  for (; length > 0; ++data, --length) c = (c >> 8) ^ tables[0][(c ^ *data) & 0xFF];
  return ~c;
}

void crc32c_init() {
  Selected();
}

uint32_t crc32c_update(uint32_t crc, const uint8_t* data, size_t length) {
  return crc32c_selected().update(crc, data, length);
}

std::span<const CrcVariant> crc32c_variants() {
  const Selection& selection = Selected();
  return std::span(selection.variants).first(selection.variantCount);
}

const CrcVariant& crc32c_selected() {
  const Selection& selection = Selected();
  return selection.variants[selection.selected];
}

bool crc32c_self_test_failed() {
  return Selected().selfTestFailed;
}

}  // namespace qx
