#include "rawzip/lj92_row_kernel.h"
#include "rawzip/lj92_rows.h"

namespace qx {

namespace {

struct Bmi2Build {
  template <int kComponents, int kPredictor>
  [[gnu::target("bmi,bmi2")]] static void Row(Lj92Row& row) {
    DecodeLj92Row<kComponents, kPredictor>(row);
  }
  [[gnu::target("bmi,bmi2")]] static void GeneralRow(Lj92Row& row) { DecodeLj92RowGeneral(row); }
};

}  // namespace

constinit const Lj92RowKernels kLj92RowKernelsBmi2 = MakeLj92RowKernels<Bmi2Build>("bmi2");

}  // namespace qx
