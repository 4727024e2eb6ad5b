#include "qorix/crc32c.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "tests/support/system.h"

namespace qx {
namespace {

std::vector<uint8_t> Noise(size_t count) {
  std::vector<uint8_t> bytes(count);
  uint32_t state = 0x9E3779B9;
  for (uint8_t& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = uint8_t(state >> 24);
  }
  return bytes;
}

/// Polynomial division bit by bit: the definition.
uint32_t BitwiseCrc32c(Bytes bytes, uint32_t crc = 0) {
  uint32_t c = ~crc;
  for (const uint8_t byte : bytes) {
    c ^= byte;
    for (int bit = 0; bit < 8; ++bit) c = (c & 1) != 0 ? c >> 1 ^ 0x82F63B78 : c >> 1;
  }
  return ~c;
}

template <typename Test>
void WithEachUsableVariant(Test&& test) {
  for (const CrcVariant& variant : crc32c_variants()) {
    if (!variant.usable) continue;
    SCOPED_TRACE(variant.name);
    test(variant.update);
  }
}

TEST(Crc32c, GivesThePublishedValues) {
  struct Row {
    const char* source;
    std::vector<uint8_t> data;
    uint32_t expected;
  };
  std::vector<uint8_t> ascending(32), descending(32);
  for (size_t i = 0; i < 32; ++i) {
    ascending[i] = uint8_t(i);
    descending[i] = uint8_t(31 - i);
  }
  const std::vector<uint8_t> readCommand = {0x01, 0xC0, 0, 0,    0, 0, 0, 0,    0,    0, 0, 0, 0, 0, 0, 0, 0x14, 0, 0, 0, 0, 0, 4, 0,
                                            0,    0,    0, 0x14, 0, 0, 0, 0x18, 0x28, 0, 0, 0, 0, 0, 0, 0, 2,    0, 0, 0, 0, 0, 0, 0};
  constexpr std::string_view kDigits = "123456789";
  const std::vector<Row> rows = {{"check value", {kDigits.begin(), kDigits.end()}, 0xE3069283},
                                 {"nothing", {}, 0},
                                 {"RFC 3720 B.4: zeros", std::vector<uint8_t>(32, 0), 0x8A9136AA},
                                 {"RFC 3720 B.4: ones", std::vector<uint8_t>(32, 0xFF), 0x62A8AB43},
                                 {"RFC 3720 B.4: ascending", ascending, 0x46DD794E},
                                 {"RFC 3720 B.4: descending", descending, 0x113FDB5C},
                                 {"RFC 3720 B.4: read command", readCommand, 0xD9963A56}};
  WithEachUsableVariant([&](auto update) {
    for (const Row& row : rows) EXPECT_EQ(update(0, row.data.data(), row.data.size()), row.expected) << row.source;
  });
  for (const Row& row : rows) EXPECT_EQ(crc32c_update(0, row.data), row.expected) << row.source;
}

TEST(Crc32c, VariantsAgreeWithTheBitwiseDivision) {
  const std::vector<uint8_t> data = Noise(1100);
  WithEachUsableVariant([&](auto update) {
    for (size_t offset = 0; offset < 16; ++offset) {
      for (size_t length = 0; length <= 300; ++length) {
        const Bytes part = Bytes(data).subspan(offset, length);
        ASSERT_EQ(update(0, part.data(), length), BitwiseCrc32c(part)) << offset << " + " << length;
      }
    }
    // Around the sizes at which wider loops begin, with a register that is not the initial one.
    for (size_t length = 300; length + 3 <= data.size(); ++length) {
      const Bytes part = Bytes(data).subspan(3, length);
      ASSERT_EQ(update(0x12345678, part.data(), length), BitwiseCrc32c(part, 0x12345678)) << length;
    }
  });
}

TEST(Crc32c, VariantsAgreeOnLongData) {
  const std::vector<uint8_t> data = Noise(300007);
  const uint32_t expected = BitwiseCrc32c(data);
  WithEachUsableVariant([&](auto update) { EXPECT_EQ(update(0, data.data(), data.size()), expected); });
}

TEST(Crc32c, SelectedWayPassedItsSelfTest) {
  EXPECT_FALSE(crc32c_self_test_failed());
}

TEST(Crc32c, ReadsNothingPastTheEnd) {
  GuardedPage page;
  uint8_t* const guard = page.end();
  const std::vector<uint8_t> data = Noise(page.size());
  std::copy(data.begin(), data.end(), guard - page.size());
  WithEachUsableVariant([&](auto update) {
    for (size_t length = 0; length <= 1100; ++length) {
      ASSERT_EQ(update(0, guard - length, length), BitwiseCrc32c(Bytes(guard - length, length))) << length;
    }
  });
}

// The way is chosen once a process, so the switch shows in a new one.
TEST(Crc32c, SoftwareSwitchIsHeededWithAnyValue) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const char* value : {"", "0", "1"}) {
    const auto usesTables = [value] {
      SetEnvironment("QXP_CRC_SOFT", value);
      return std::string_view(crc32c_selected().name) == "tables";
    };
    EXPECT_EXIT(std::_Exit(usesTables() ? 0 : 1), testing::ExitedWithCode(0), "") << value;
  }
}

}  // namespace
}  // namespace qx
