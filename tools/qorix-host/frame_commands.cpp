#include <fmt/core.h>

#include <atomic>
#include <charconv>
#include <filesystem>
#include <thread>

#include "commands.h"
#include "host/selectors.h"
#include "picture.h"
#include "standin/process.h"
#include "tools/common/paths.h"
#include "tools/common/progress.h"

namespace tool {

namespace host = qx::host;

namespace {

// The size asked for decides the intent: exports are always developed at full size.
int32_t IntentFor(const CommonOptions& common) {
  return common.size == "full" ? host::kIntentExport : host::kIntentStopped;
}

// An empty text, or why the range cannot be had.
std::string ParseRange(const std::string& text, int64_t frames, int64_t* first, int64_t* end) {
  *first = 0;
  *end = frames;
  const std::string shape = fmt::format("\"{}\" is no range: write first:end, the end not included", text);
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return shape;
  const auto read = [](std::string_view part, int64_t* value) {
    if (part.empty()) return true;
    const auto [stop, error] = std::from_chars(part.data(), part.data() + part.size(), *value);
    return error == std::errc() && stop == part.data() + part.size();
  };
  const std::string_view view = text;
  if (!read(view.substr(0, colon), first) || !read(view.substr(colon + 1), end)) return shape;
  if (*first < 0 || *end > frames || *first >= *end) {
    return fmt::format("no frames {}: the clip has {} frames, 0 to {}", text, frames, frames - 1);
  }
  return "";
}

struct Outcome {
  std::atomic<int64_t> delivered{0}, failed{0}, notWritten{0};
};

void DeliverFrames(const Session& session, const FramesOptions& options, const standin::FrameRequest& pattern, std::atomic<int64_t>* next,
                   int64_t end, Outcome* outcome, Progress* progress) {
  for (int64_t frame = (*next)++; frame < end; frame = (*next)++) {
    standin::FrameRequest request = pattern;
    request.frame = frame;
    int32_t result = 0;
    const standin::HostFrame delivered = session.clip->GetFrame(request, &result);
    if (!delivered) {
      ++outcome->failed;
      fmt::print(stderr, "qorix-host: frame {} failed (result {})\n", frame, result);
    } else {
      ++outcome->delivered;
      std::string error;
      const std::string path = fmt::format("{}/frame_{:06}.{}", options.folder, frame, options.extension);
      if (!options.folder.empty() && !WritePicture(standin::ViewFrame(delivered.get()), path, &error)) {
        ++outcome->notWritten;
        fmt::print(stderr, "qorix-host: {}\n", error);
      }
    }
    progress->Step();
  }
}

}  // namespace

int WriteFrame(const Session& session, const CommonOptions& common, const FrameOptions& options) {
  standin::FrameRequest request;
  if (!MakeRequest(session, common, IntentFor(common), &request)) return kUsage;
  if (options.frame >= session.facts.frames) {
    fmt::print(stderr, "qorix-host: no frame {}: the clip has {} frames, 0 to {}\n", options.frame, session.facts.frames,
               session.facts.frames - 1);
    return kUsage;
  }
  request.frame = options.frame;
  int32_t result = 0;
  const standin::HostFrame frame = session.clip->GetFrame(request, &result);
  std::string error;
  if (!frame) {
    fmt::print(stderr, "qorix-host: frame {} failed (result {})\n", options.frame, result);
    return kFrameFailed;
  }
  if (WritePicture(standin::ViewFrame(frame.get()), options.output, &error)) return kOk;
  fmt::print(stderr, "qorix-host: {}\n", error);
  return kWriteFailed;
}

int RunFrame(const CommonOptions& common, const FrameOptions& options) {
  Session session = OpenSession(common);
  if (session.failure != kOk) return session.failure;
  const int code = WriteFrame(session, common, options);
  const int clean = session.Finish();
  return code != kOk ? code : clean;
}

int RunFrames(const CommonOptions& common, const FramesOptions& options) {
  Session session = OpenSession(common);
  if (session.failure != kOk) return session.failure;
  standin::FrameRequest pattern;
  int64_t first = 0, end = 0;
  if (!MakeRequest(session, common, IntentFor(common), &pattern)) return kUsage;
  if (const std::string wrong = ParseRange(options.range, session.facts.frames, &first, &end); !wrong.empty()) {
    fmt::print(stderr, "qorix-host: {}\n", wrong);
    return kUsage;
  }
  std::error_code error;
  if (!options.folder.empty() && !std::filesystem::create_directories(PathOf(options.folder), error) && error) {
    fmt::print(stderr, "qorix-host: {}: {}\n", options.folder, error.message());
    return kWriteFailed;
  }
  Outcome outcome;
  std::atomic<int64_t> next{first};
  const double start = NowMs();
  {
    Progress progress("frames", size_t(end - first));
    std::vector<std::thread> threads;
    for (int i = 0; i < options.jobs; ++i) {
      threads.emplace_back([&] { DeliverFrames(session, options, pattern, &next, end, &outcome, &progress); });
    }
    for (std::thread& thread : threads) thread.join();
  }
  const double seconds = (NowMs() - start) / 1000;
  fmt::print("{} frames in {:.2f} s: {:.2f} frames/s{}; failed {}; peak memory {} MB\n", outcome.delivered.load(), seconds,
             double(outcome.delivered) / seconds, options.folder.empty() ? "" : " with writing", outcome.failed.load(),
             standin::PeakMemoryBytes() / 1000000);
  const int clean = session.Finish();
  if (outcome.failed > 0) return kFrameFailed;
  return outcome.notWritten > 0 ? int(kWriteFailed) : clean;
}

}  // namespace tool
