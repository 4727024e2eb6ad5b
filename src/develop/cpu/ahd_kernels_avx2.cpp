#include "develop/cpu/ahd_kernels.h"

namespace qx {

AhdKernels Avx2AhdKernels() {
  return {"avx2", false};
}

}  // namespace qx
