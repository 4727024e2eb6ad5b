#include "rawzip/member_roles.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace qx {

namespace {

constexpr uint64_t kMinFrameBytes = 8;  // a TIFF header

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? char(c + 32) : c;
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool IsSound(std::string_view name) {
  constexpr std::string_view kEndings[] = {".wav", ".m4a", ".mp4", ".aac", ".flac", ".opus"};
  return std::any_of(std::begin(kEndings), std::end(kEndings), [&](std::string_view ending) { return NameEndsWith(name, ending); });
}

constexpr std::string_view kLensProfileEnding = ".lensprofile.json";

/// "…-20240131.lensprofile.json": the profile of a day, which a profile without a date is preferred to.
bool IsDatedLensProfile(std::string_view name) {
  name.remove_suffix(kLensProfileEnding.size());
  if (name.size() < 9) return false;
  const std::string_view date = name.substr(name.size() - 9);
  return date[0] == '-' && std::all_of(date.begin() + 1, date.end(), IsDigit);
}

}  // namespace

bool NameEndsWith(std::string_view name, std::string_view ending) {
  return name.size() >= ending.size() && std::equal(ending.begin(), ending.end(), name.end() - std::ptrdiff_t(ending.size()),
                                                    [](char expected, char c) { return expected == LowerAscii(c); });
}

ClassifiedMembers ClassifyMembers(const std::vector<ZipEntry>& entries) {
  ClassifiedMembers members;
  MemberRoles& roles = members.roles;
  for (size_t i = 0; i < entries.size(); ++i) {
    const std::string_view name = entries[i].name;
    const int32_t entry = int32_t(i);
    if (NameEndsWith(name, ".dng")) {
      if (entries[i].uncompressedSize < kMinFrameBytes) {
        ++members.emptyFrames;
        continue;
      }
      FrameRecord frame;
      frame.entry = entry;
      frame.nameNumber = NumberFromName(name);
      members.frames.push_back(frame);
    } else if (NameEndsWith(name, ".gcsv")) {
      roles.gyro = entry;
    } else if (NameEndsWith(name, kLensProfileEnding)) {
      if (roles.lensProfile < 0 || !IsDatedLensProfile(name)) roles.lensProfile = entry;
    } else if (IsSound(name)) {
      roles.sound = entry;
    } else if (NameEndsWith(name, ".frames.csv")) {
      roles.frameIndex = entry;
    }
  }
  return members;
}

int64_t NumberFromName(std::string_view name) {
  name.remove_prefix(name.rfind('/') + 1);  // npos + 1 is 0
  name = name.substr(0, name.rfind('.'));
  size_t start = name.size();
  while (start > 0 && IsDigit(name[start - 1])) --start;
  if (start == name.size()) return -1;
  int64_t number = 0;
  const auto [end, error] = std::from_chars(name.data() + start, name.data() + name.size(), number);
  return error == std::errc() ? number : std::numeric_limits<int64_t>::max();
}

}  // namespace qx
