// How long frames take on the graphics card, by its own clock.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "develop/gpu/gl_objects.h"

namespace qx {

/// Running figures of frame times.
class GpuTimeStatistics {
 public:
  /// Counts a frame and logs it when it was slow; every 30th call logs the figures so far.
  void Add(int64_t frame, double milliseconds);

 private:
  int32_t frames_ = 0;
  double sum_ = 0, least_ = 1000000000, most_ = 0;
};

/// Two time stamps around a frame, from a stock of 20 queries. GPU thread only.
class GpuTimer {
 public:
  struct Span {
    GLuint start = 0, end = 0;  // 0: not measured
  };
  /// Makes the queries when the driver has what they need. Without them the other members do nothing.
  void Create(const GlLookup& lookup);
  Span Begin();
  void End(Span* span);
  /// After the frame has arrived: takes its time and returns the queries to the stock.
  void Finish(int64_t frame, Span span);
  /// Returns the queries of a frame that failed.
  void Drop(Span span);

 private:
  GLuint Take();

  PFNGLQUERYCOUNTERPROC queryCounter_ = nullptr;
  PFNGLGETQUERYOBJECTUI64VPROC getQueryResult_ = nullptr;
  std::vector<GlQuery> queries_;
  std::vector<GLuint> free_;
  GpuTimeStatistics statistics_;
};

}  // namespace qx
