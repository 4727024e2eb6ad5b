// What tests need of the operating system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qx {

unsigned long ProcessId();

void SetEnvironment(const std::string& name, const std::string& value);
void UnsetEnvironment(const std::string& name);

/// Runs this program again with these arguments (UTF-8, no quotes or blanks in them) and waits for it: its exit code; -1 when it could not
/// be started or was ended by a fault.
int RunThisProgram(const std::vector<std::string>& arguments);

/// Priority of the calling thread; larger is more urgent, and normal is 0.
int PriorityOfThisThread();

/// Memory that ends where no byte may be read or written.
class GuardedPage {
 public:
  GuardedPage();
  ~GuardedPage();
  GuardedPage(const GuardedPage&) = delete;
  GuardedPage& operator=(const GuardedPage&) = delete;

  uint8_t* end() { return pages_ + size_; }
  size_t size() const { return size_; }

 private:
  size_t size_;
  uint8_t* pages_;
};

/// What CallGuarded tells of an illegal instruction and of a write to null.
extern const uint32_t kIllegalInstructionCode, kBadAccessCode;

}  // namespace qx
