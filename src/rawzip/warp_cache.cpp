#include "rawzip/warp_cache.h"

#include <algorithm>
#include <utility>

namespace qx {

namespace {

/// The values that make two warps the same model, or have the same radial part; as stored: minus zero differs from zero.
std::string Key(const RectilinearWarp& warp, bool full) {
  std::string key(1, char(warp.planes));
  const auto add = [&key](const double* values, size_t count) {
    key.append(reinterpret_cast<const char*>(values), count * sizeof(double));
  };
  add(&warp.centreX, 1);
  add(&warp.centreY, 1);
  for (size_t p = 0; p < warp.planes; ++p) {
    add(warp.plane[p].kr, full ? 4 : 3);
    if (full) add(warp.plane[p].kt, 2);
  }
  return key;
}

/// The number of a key, a new one when it was not seen before.
int32_t Intern(std::unordered_map<std::string, int32_t>& numbers, std::string key) {
  return numbers.try_emplace(std::move(key), int32_t(numbers.size())).first->second;
}

}  // namespace

bool WarpCache::Reset(int32_t frameCount) {
  frameCount_ = 0;
  radialParts_.clear();
  fullModels_.clear();
  models_.clear();
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
  radialOf_[i] = warp.valid ? Intern(radialParts_, Key(warp, false)) : kNoWarp;
  if (!warp.valid || warp.radialOnly) return;
  fullOf_[i] = Intern(fullModels_, Key(warp, true));
  if (size_t(fullOf_[i]) == models_.size()) models_.push_back(warp);
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
  const RectilinearWarp& model = models_[size_t(fullOf_[size_t(supplier)])];
  for (size_t p = 0; p < warp->planes; ++p) {
    warp->plane[p].kr[3] = model.plane[p].kr[3];
    std::copy_n(model.plane[p].kt, 2, warp->plane[p].kt);
  }
  warp->radialOnly = false;
}

}  // namespace qx
