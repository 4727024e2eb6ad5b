#include "rawzip/lj92_rows.h"

#include "platform/cpu_features.h"
#include "rawzip/lj92_row_kernel.h"

namespace qx {

Lj92Code ResolveSlowLj92Code(uint64_t bits, const Lj92HuffmanTable& table, Lj92Row& row, uint32_t& difference) {
  const Lj92Code code = table.Find(bits);
  if (code == 0) {
    row.sawInvalidCode = true;
    return MakeLj92Code(0, 0);
  }
  if (Lj92Category(code) != kLj92LargestCategory) return code;
  row.sawCategory16 = true;
  if (row.category16ReadsBits) return code;
  difference = 32768;
  return MakeLj92Code(Lj92CodeBits(code), 0);
}

namespace {

struct ReferenceBuild {
  template <int kComponents, int kPredictor>
  static void Row(Lj92Row& row) {
    DecodeLj92Row<kComponents, kPredictor>(row);
  }
  static void GeneralRow(Lj92Row& row) { DecodeLj92RowGeneral(row); }
};

constexpr Lj92RowKernels kReference = MakeLj92RowKernels<ReferenceBuild>("scalar");

constexpr const Lj92RowKernels* kAll[] = {&kReference, &kLj92RowKernelsBmi2};

}  // namespace

std::span<const Lj92RowKernels* const> Lj92RowKernelsForThisProcessor() {
  return std::span(kAll).first(GetCpuFeatures().bmi ? 2 : 1);
}

}  // namespace qx
