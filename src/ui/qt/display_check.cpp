#include "ui/qt/display_check.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

extern char** environ;

namespace qx {

namespace {

using Clock = std::chrono::steady_clock;
// A display on a slow line may take seconds; a server that accepts and never answers must not hold the host for ever.
constexpr std::chrono::seconds kLongestProbe{15};
constexpr size_t kLongestReport = 4096;

bool IsSet(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] != '\0';
}

// Starts the probe with its standard output on a pipe. False when the system refuses.
bool StartProbe(const std::filesystem::path& probe, pid_t* process, int* report) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string program = probe.native();
  char* arguments[] = {program.data(), nullptr};
  const int failed = posix_spawn(process, program.c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  *report = ends[0];
  if (failed == 0) return true;
  *process = 0;
  close(ends[0]);
  return false;
}

// What the probe wrote until it closed its end, by ending too, or its time was over.
std::string ReadReport(int report) {
  std::string text;
  const Clock::time_point end = Clock::now() + kLongestProbe;
  while (text.size() < kLongestReport) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd ready{report, POLLIN, 0};
    const int count = left > 0 ? poll(&ready, 1, int(left)) : 0;
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    char piece[512];
    const ssize_t got = read(report, piece, sizeof piece);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    text.append(piece, size_t(got));
  }
  return text;
}

}  // namespace

DisplayProbe::~DisplayProbe() {
  if (process_ == 0) return;
  kill(process_, SIGKILL);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

int DisplayProbe::Connect(const std::filesystem::path& program, Message message) {
  if (!IsSet("QT_QPA_PLATFORM") && !IsSet("DISPLAY") && !IsSet("WAYLAND_DISPLAY")) {
    return message.Fail("no display: neither DISPLAY nor WAYLAND_DISPLAY is set");
  }
  int reportEnd = -1;
  if (!StartProbe(program, &process_, &reportEnd)) return message.Fail("%s cannot be started", program.c_str());
  const std::string report = ReadReport(reportEnd);
  close(reportEnd);
  if (report.ends_with(std::string(kProbeSuccess) + "\n")) return 0;
  const std::string reason = report.substr(0, report.find('\n'));
  return message.Fail("no display: %s", reason.empty() ? "no answer" : reason.c_str());
}

}  // namespace qx
