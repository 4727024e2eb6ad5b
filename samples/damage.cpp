#include "samples/damage.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <set>
#include <system_error>

namespace qx {

namespace {

constexpr uint64_t kPieceBytes = 1 << 16;
constexpr auto kReadWrite = std::ios::in | std::ios::out | std::ios::binary;

/// Seeded places, each once. When nearly all bytes are wanted, random draws would not end: then it is the bytes from the front.
std::set<uint64_t> RandomOffsets(uint64_t count, uint64_t size, std::mt19937_64& random) {
  std::set<uint64_t> offsets;
  if (count > size / 2) {
    for (uint64_t offset = 0; offset < std::min(count, size); ++offset) offsets.insert(offset);
    return offsets;
  }
  while (offsets.size() < count) offsets.insert(random() % size);
  return offsets;
}

}  // namespace

uint64_t CutPoint::In(uint64_t fileSize) const {
  if (!percent) return std::min(value, fileSize);
  const uint64_t part = std::min<uint64_t>(value, 100);
  return fileSize / 100 * part + fileSize % 100 * part / 100;
}

bool CutFile(const std::filesystem::path& file, CutPoint cut) {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(file, error);
  if (!error) std::filesystem::resize_file(file, cut.In(size), error);
  return !error;
}

bool FlipBytes(const std::filesystem::path& file, uint64_t count, uint64_t seed, std::vector<uint64_t>* offsets) {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(file, error);
  if (error) return false;
  std::mt19937_64 random(seed);
  std::fstream stream(file, kReadWrite);
  const std::set<uint64_t> places = RandomOffsets(count, size, random);
  for (const uint64_t offset : places) {
    stream.seekg(std::streamoff(offset));
    const int byte = stream.get();
    stream.seekp(std::streamoff(offset));
    stream.put(char(byte ^ int(1 + random() % 255)));
  }
  if (offsets != nullptr) offsets->assign(places.begin(), places.end());
  return bool(stream.flush());
}

bool ZeroRange(const std::filesystem::path& file, uint64_t begin, uint64_t end) {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(file, error);
  if (error) return false;
  std::fstream stream(file, kReadWrite);
  const std::vector<char> zeros(kPieceBytes, 0);
  stream.seekp(std::streamoff(begin));
  for (uint64_t at = begin; at < std::min(end, size); at += kPieceBytes) {
    stream.write(zeros.data(), std::streamsize(std::min(kPieceBytes, std::min(end, size) - at)));
  }
  return bool(stream.flush());
}

}  // namespace qx
