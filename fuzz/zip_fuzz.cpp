// ZIP archives: open (directory or recovery), resolve and read every member into a bounded buffer.
#include <cstdint>
#include <vector>

#include "rawzip/zip_reader.h"

using namespace qx;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr uint64_t kCapacity = 64 * 1024;
  constexpr int32_t kMostMembersRead = 200;
  const MemorySource file(Bytes(data, size));
  MessageBuffer<256> message;
  ZipArchive archive;
  if (zip_open(&archive, file, message) != 0) return 0;

  ZipReadScratch scratch;
  std::vector<uint8_t> out(kCapacity);
  const auto count = int32_t(archive.entries.size());
  for (int32_t i = 0; i < count; ++i) {
    const uint64_t dataOffset = zip_entry_data_offset(&archive, i);
    if (dataOffset > size) __builtin_trap();
    if (dataOffset == 0 || i >= kMostMembersRead) continue;
    const int64_t read = zip_read_entry(&archive, i, out.data(), out.size(), &scratch);
    if (read > int64_t(kCapacity) || zip_result_text(read) == nullptr) __builtin_trap();
  }
  zip_close(&archive);
  return 0;
}
