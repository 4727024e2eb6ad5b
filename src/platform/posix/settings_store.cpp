#include "platform/settings_store.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/environment.h"

namespace qx {

namespace {

constexpr size_t kLongestFolder = 4096;

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  bool isOpen() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  /// False when the system could not write what was pending.
  bool Close() {
    const int open = descriptor_;
    descriptor_ = -1;
    return open < 0 || ::close(open) == 0;
  }

 private:
  int descriptor_;
};

/// Empty when the user has no place for settings.
std::filesystem::path SettingsFolder() {
  const std::filesystem::path config = ReadEnvironment("XDG_CONFIG_HOME", kLongestFolder).value_or("");
  if (config.is_absolute()) return config / "qorixcam" / "Premiere";
  const std::filesystem::path home = ReadEnvironment("HOME", kLongestFolder).value_or("");
  return home.is_absolute() ? home / ".config" / "qorixcam" / "Premiere" : std::filesystem::path();
}

bool WriteAll(int descriptor, std::span<const uint8_t> value) {
  while (!value.empty()) {
    const ssize_t written = ::write(descriptor, value.data(), value.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    value = value.subspan(size_t(written));
  }
  return true;
}

}  // namespace

std::optional<size_t> ReadUserSetting(const char* name, std::span<uint8_t> out) {
  const std::filesystem::path folder = SettingsFolder();
  if (folder.empty()) return std::nullopt;
  // Without O_NONBLOCK a pipe in the file's place would hold the host up.
  const Descriptor file(::open((folder / name).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info;
  if (!file.isOpen() || ::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  if (info.st_size < 0 || uint64_t(info.st_size) > out.size()) return std::nullopt;
  size_t done = 0;
  while (done < size_t(info.st_size)) {
    const ssize_t got = ::read(file.get(), out.data() + done, size_t(info.st_size) - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return std::nullopt;
    done += size_t(got);
  }
  return done;
}

bool WriteUserSetting(const char* name, std::span<const uint8_t> value) {
  const std::filesystem::path folder = SettingsFolder();
  if (folder.empty()) return false;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return false;
  std::string temporary = (folder / name).string() + ".XXXXXX";
  Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!file.isOpen()) return false;
  const bool written = WriteAll(file.get(), value) && ::fsync(file.get()) == 0 && file.Close();
  if (written && ::rename(temporary.c_str(), (folder / name).c_str()) == 0) return true;
  ::unlink(temporary.c_str());
  return false;
}

}  // namespace qx
