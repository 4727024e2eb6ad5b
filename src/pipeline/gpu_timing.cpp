#include "pipeline/gpu_timing.h"

#include <algorithm>

#include "base/log.h"

namespace qx {

namespace {

constexpr int kQueries = 20;
constexpr double kSlowMs = 40;
constexpr int32_t kFramesPerLine = 30;

}  // namespace

void GpuTimeStatistics::Add(int64_t frame, double milliseconds) {
  if (milliseconds > kSlowMs) LogPipeline("gpu time: frame %lld — %.1f ms", static_cast<long long>(frame), milliseconds);
  ++frames_;
  sum_ += milliseconds;
  least_ = std::min(least_, milliseconds);
  most_ = std::max(most_, milliseconds);
  if (frames_ % kFramesPerLine == 0) {
    LogPipeline("gpu time: %d frames, mean %.2f ms, min %.2f, max %.2f", frames_, sum_ / frames_, least_, most_);
  }
}

void GpuTimer::Create(const GlLookup& lookup) {
  const auto genQueries = LookUpGlFunction<PFNGLGENQUERIESPROC>(lookup, "glGenQueries");
  queryCounter_ = LookUpGlFunction<PFNGLQUERYCOUNTERPROC>(lookup, "glQueryCounter");
  getQueryResult_ = LookUpGlFunction<PFNGLGETQUERYOBJECTUI64VPROC>(lookup, "glGetQueryObjectui64v");
  if (genQueries == nullptr || queryCounter_ == nullptr || getQueryResult_ == nullptr) return;
  for (int i = 0; i < kQueries; ++i) {
    queries_.push_back(NewGlObject<GlQuery>(genQueries));
    if (queries_.back()) free_.push_back(queries_.back().name());
  }
}

GLuint GpuTimer::Take() {
  if (free_.empty()) return 0;
  const GLuint query = free_.back();
  free_.pop_back();
  return query;
}

GpuTimer::Span GpuTimer::Begin() {
  if (free_.size() < 2) return {};
  const Span span = {Take(), Take()};
  queryCounter_(span.start, GL_TIMESTAMP);
  return span;
}

void GpuTimer::End(Span* span) {
  if (span->end != 0) queryCounter_(span->end, GL_TIMESTAMP);
}

void GpuTimer::Finish(int64_t frame, Span span) {
  if (span.start == 0) return;
  GLuint64 start = 0, end = 0;
  getQueryResult_(span.start, GL_QUERY_RESULT, &start);
  getQueryResult_(span.end, GL_QUERY_RESULT, &end);
  statistics_.Add(frame, (double(end) - double(start)) / 1000000);
  Drop(span);
}

void GpuTimer::Drop(Span span) {
  if (span.start == 0) return;
  free_.push_back(span.start);
  free_.push_back(span.end);
}

}  // namespace qx
