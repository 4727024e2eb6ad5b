#include "develop/cpu/lab_tables.h"

#include <cmath>

#include "develop/cpu/ahd.h"

namespace qx {
namespace {

constexpr int kEntries = 65536;

/// CIE 1976 lightness response of linear light t, 0 … 1.
double LabResponse(double t) {
  return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116.0;
}

/// 116, 500 and 200 (the factors of L*, a* and b*) in units of 1/64.
constexpr double kScales[3] = {7424.0, 32000.0, 12800.0};

struct LabTables {
  int32_t values[3 * kEntries];
  LabTables() {
    for (int i = 0; i < kEntries; ++i) {
      const double f = LabResponse(i / 65535.0);
      for (int table = 0; table < 3; ++table) values[table * kEntries + i] = int32_t(std::floor(f * kScales[table] + 0.5));
    }
  }
};

struct PackedTable {
  uint32_t words[kEntries];
  PackedTable() {
    const int32_t* t0 = GetLabTables();
    const int32_t* t1 = t0 + kEntries;
    const int32_t* t2 = t1 + kEntries;
    for (int i = 0; i < kEntries; ++i) {
      const uint32_t rest = uint32_t(t2[i]) - (uint32_t(t1[i]) * kLabT2PerT1 >> 16);
      words[i] = uint32_t(t1[i]) | uint32_t(t0[i]) << 16 | rest << 29;
    }
  }
};

}  // namespace

const int32_t* GetLabTables() {
  static const LabTables tables;
  return tables.values;
}

const uint32_t* GetPackedLabTable() {
  static const PackedTable table;
  return table.words;
}

}  // namespace qx
