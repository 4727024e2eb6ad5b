#include "develop/cpu/stream_copy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace qx {
namespace {

TEST(StreamCopy, CopiesJustTheBytesWhateverTheirPlace) {
  std::vector<uint8_t> source(400);
  std::iota(source.begin(), source.end(), uint8_t(1));
  for (size_t from = 0; from < 3; ++from) {
    for (size_t to = 0; to < 64; to += 7) {
      for (const size_t bytes : {0, 1, 63, 64, 65, 130, 300}) {
        std::vector<uint8_t> copy(500, 0xEE), expected = copy;
        std::copy_n(&source[from], bytes, &expected[to]);
        StreamCopy(&copy[to], &source[from], bytes);
        ASSERT_EQ(copy, expected) << "from " << from << " to " << to << ", bytes " << bytes;
      }
    }
  }
}

}  // namespace
}  // namespace qx
