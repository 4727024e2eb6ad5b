#include "tests/support/system.h"

#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

extern char** environ;

namespace qx {

const uint32_t kIllegalInstructionCode = SIGILL, kBadAccessCode = SIGSEGV;

unsigned long ProcessId() {
  return static_cast<unsigned long>(getpid());
}

void SetEnvironment(const std::string& name, const std::string& value) {
  setenv(name.c_str(), value.c_str(), 1);
}

void UnsetEnvironment(const std::string& name) {
  unsetenv(name.c_str());
}

int RunThisProgram(const std::vector<std::string>& arguments) {
  std::string program = "/proc/self/exe";
  std::vector<std::string> copies = arguments;
  std::vector<char*> pointers = {program.data()};
  for (std::string& argument : copies) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  pid_t child = 0;
  int status = 0;
  if (posix_spawn(&child, program.c_str(), nullptr, nullptr, pointers.data(), environ) != 0) return -1;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

int PriorityOfThisThread() {
  return -getpriority(PRIO_PROCESS, 0);
}

GuardedPage::GuardedPage() : size_(size_t(sysconf(_SC_PAGESIZE))) {
  pages_ = static_cast<uint8_t*>(mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  mprotect(pages_ + size_, size_, PROT_NONE);
}

GuardedPage::~GuardedPage() {
  munmap(pages_, 2 * size_);
}

}  // namespace qx
