#include "rawzip/warp_cache.h"

#include <algorithm>
#include <bit>

namespace qx {

namespace {

/// As stored: minus zero differs from zero.
bool SameBits(double a, double b) {
  return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
}

bool SameRadialPart(const RectilinearWarp& a, const RectilinearWarp& b) {
  if (a.planes != b.planes || !SameBits(a.centreX, b.centreX) || !SameBits(a.centreY, b.centreY)) return false;
  for (size_t p = 0; p < a.planes; ++p) {
    for (int k = 0; k < 3; ++k) {
      if (!SameBits(a.plane[p].kr[k], b.plane[p].kr[k])) return false;
    }
  }
  return true;
}

bool SameModel(const RectilinearWarp& a, const RectilinearWarp& b) {
  if (!SameRadialPart(a, b)) return false;
  for (size_t p = 0; p < a.planes; ++p) {
    const auto &left = a.plane[p], &right = b.plane[p];
    if (!SameBits(left.kr[3], right.kr[3]) || !SameBits(left.kt[0], right.kt[0]) || !SameBits(left.kt[1], right.kt[1])) return false;
  }
  return true;
}

/// Index of an equal warp, appended when there is none. The newest are looked at first: neighbouring frames mostly agree.
int32_t Intern(std::vector<RectilinearWarp>& table, const RectilinearWarp& warp,
               bool (*same)(const RectilinearWarp&, const RectilinearWarp&)) {
  const auto found = std::find_if(table.rbegin(), table.rend(), [&](const RectilinearWarp& known) { return same(known, warp); });
  if (found != table.rend()) return int32_t(table.rend() - found) - 1;
  table.push_back(warp);
  return int32_t(table.size()) - 1;
}

}  // namespace

bool WarpCache::Reset(int32_t frameCount) {
  frameCount_ = 0;
  radialParts_.clear();
  fullModels_.clear();
  const auto count = uint64_t(frameCount);
  if (!radialOf_.Reserve(count) || !fullOf_.Reserve(count) || !supplierOf_.Reserve(count)) return false;
  std::fill_n(radialOf_.data(), count, kNotEntered);
  std::fill_n(fullOf_.data(), count, kRadialOnly);
  std::fill_n(supplierOf_.data(), count, kUndecided);
  frameCount_ = frameCount;
  return true;
}

void WarpCache::Enter(int32_t frame, const RectilinearWarp& warp) {
  const auto i = size_t(frame);
  radialOf_[i] = warp.valid ? Intern(radialParts_, warp, SameRadialPart) : kNoWarp;
  if (warp.valid && !warp.radialOnly) fullOf_[i] = Intern(fullModels_, warp, SameModel);
}

int32_t WarpCache::Supplier(int32_t frame, const WarpReader& readWarp) {
  int32_t& decided = supplierOf_[size_t(frame)];
  if (decided == kUndecided) decided = SearchBackwards(frame, readWarp);
  return decided;
}

int32_t WarpCache::SearchBackwards(int32_t frame, const WarpReader& readWarp) {
  const int32_t radial = radialOf_[size_t(frame)];
  if (radial == kNoWarp) return kNoSupplier;
  if (fullOf_[size_t(frame)] != kRadialOnly) return frame;
  for (int32_t earlier = frame - 1; earlier >= 0; --earlier) {
    const auto i = size_t(earlier);
    if (!Entered(earlier)) Enter(earlier, readWarp(earlier));
    if (radialOf_[i] != radial) continue;
    if (fullOf_[i] != kRadialOnly) return earlier;
    if (supplierOf_[i] != kUndecided) return supplierOf_[i];
  }
  return kNoSupplier;
}

void WarpCache::Complete(RectilinearWarp* warp, int32_t supplier) const {
  const RectilinearWarp& model = fullModels_[size_t(fullOf_[size_t(supplier)])];
  for (size_t p = 0; p < warp->planes; ++p) {
    warp->plane[p].kr[3] = model.plane[p].kr[3];
    std::copy_n(model.plane[p].kt, 2, warp->plane[p].kt);
  }
  warp->radialOnly = false;
}

}  // namespace qx
