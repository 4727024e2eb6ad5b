#include "develop/cpu/median_kernels.h"

namespace qx {

MedianKernels Avx2MedianKernels() {
  return {"avx2", false};
}

}  // namespace qx
