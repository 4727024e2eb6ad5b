// CRC-32C (Castagnoli), as iSCSI (RFC 3720) uses it: checksum of every chunk and slice of a `.qorix` recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/byte_reader.h"

namespace qx {

/// Builds the tables and selects the fastest usable way after a self-test. Idempotent; any thread. Later calls return at once.
void crc32c_init();

/// Continues a CRC: 0 starts one, and the result of one call goes on as `crc` of the next. Any thread.
uint32_t crc32c_update(uint32_t crc, const uint8_t* data, size_t length);
inline uint32_t crc32c_update(uint32_t crc, Bytes bytes) {
  return crc32c_update(crc, bytes.data(), bytes.size());
}

/// The ways to compute it; the first is the table version. Tests compare all usable ones.
struct CrcVariant {
  const char* name;
  bool usable;
  uint32_t (*update)(uint32_t crc, const uint8_t* data, size_t length);
};
std::span<const CrcVariant> crc32c_variants();
/// The one that crc32c_update takes: the fastest usable, or the tables when it failed its self-test or QXP_CRC_SOFT is set.
const CrcVariant& crc32c_selected();

/// The processor's way was there but failed its self-test.
bool crc32c_self_test_failed();

}  // namespace qx
