#include "standin/host_frames.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "host/pixel_formats.h"
#include "standin/guarded.h"

namespace standin {

namespace host = qx::host;

namespace {

constexpr uint8_t kFreshPixels = 0x5A;  // frames are not cleared; this shows what was not written

struct Frame {
  Frame(uint32_t format, int32_t frameWidth, int32_t frameHeight, int32_t distance, bool managed)
      : pixelFormat(format),
        width(frameWidth),
        height(frameHeight),
        rowBytes(distance),
        colorManaged(managed),
        pixels(size_t(distance) * size_t(frameHeight)) {
    std::memset(pixels.data(), kFreshPixels, pixels.size());
  }
  uint32_t pixelFormat;
  int32_t width, height, rowBytes;
  bool colorManaged;
  GuardedBlock pixels;
};

struct Frames {
  std::mutex lock;
  std::map<host::PPix, std::unique_ptr<Frame>> live;
};

Frames& TheFrames() {
  static Frames* const frames = new Frames;
  return *frames;
}

std::atomic<int32_t> rowPadding{0};

// Runs `use` on a live frame, under the lock.
template <typename Use>
host::SuiteError WithFrame(host::PPix handle, const char* function, Use&& use) {
  const std::lock_guard<std::mutex> guard(TheFrames().lock);
  const auto found = TheFrames().live.find(handle);
  if (found == TheFrames().live.end()) {
    ReportViolation("%s: %p is no live frame", function, static_cast<void*>(handle));
    return host::kSuiteIdNotValid;
  }
  return use(*found->second);
}

host::SuiteError Create(host::PPix* out, int32_t access, uint32_t format, int32_t width, int32_t height, bool managed) {
  if (out == nullptr) return host::kSuiteInvalidParameter;
  *out = nullptr;
  const int64_t minimum = MinimumRowBytes(format, width);
  if (access == host::kPPixReadOnly || minimum == 0 || width < 1 || height < 1) {
    ReportViolation("frame creation: access %d, format %08x, %d x %d", access, format, width, height);
    return host::kSuiteInvalidParameter;
  }
  auto made = std::make_unique<Frame>(format, width, height, int32_t(minimum) + rowPadding, managed);
  const host::PPix handle = reinterpret_cast<host::PPix>(made.get());
  const std::lock_guard<std::mutex> guard(TheFrames().lock);
  TheFrames().live[handle] = std::move(made);
  *out = handle;
  return host::kSuiteNoError;
}

host::SuiteError CreatePPix(host::PPix* out, int32_t access, uint32_t format, const host::Rect* bounds) {
  if (bounds == nullptr || bounds->left != 0 || bounds->top != 0) return host::kSuiteInvalidParameter;
  return Create(out, access, format, bounds->right, bounds->bottom, false);
}

host::SuiteError ClonePPix(host::PPix, host::PPix*, int32_t) {
  return host::kSuiteNotImplemented;
}

host::SuiteError CreatePPix2(host::PPix* out, int32_t access, uint32_t format, int32_t width, int32_t height, bool, int32_t, int32_t,
                             int32_t) {
  return Create(out, access, format, width, height, false);
}

host::SuiteError CreateColorManagedPPix(host::PPix* out, int32_t access, uint32_t format, int32_t width, int32_t height, bool useFields,
                                        int32_t field, int32_t numerator, int32_t denominator, host::ColorSpaceId id) {
  if (useFields || field != 0 || numerator != 1 || denominator != 1) ReportViolation("colour-managed frame: fields or pixel aspect");
  if (id.parts[0] == 0 && id.parts[1] == 0) ReportViolation("colour-managed frame without a colour-space id");
  return Create(out, access, format, width, height, true);
}

host::SuiteError Dispose(host::PPix handle) {
  const std::lock_guard<std::mutex> guard(TheFrames().lock);
  const auto found = TheFrames().live.find(handle);
  if (found == TheFrames().live.end()) {
    ReportViolation("PPix dispose: %p is no live frame", static_cast<void*>(handle));
    return host::kSuiteIdNotValid;
  }
  found->second->pixels.Check("frame pixels");
  TheFrames().live.erase(found);
  return host::kSuiteNoError;
}

host::SuiteError GetPixels(host::PPix handle, int32_t, char** pixels) {
  return WithFrame(handle, "getPixels", [&](Frame& frame) {
    *pixels = reinterpret_cast<char*>(frame.pixels.data());
    return host::kSuiteNoError;
  });
}

host::SuiteError GetBounds(host::PPix handle, host::Rect* bounds) {
  return WithFrame(handle, "getBounds", [&](const Frame& frame) {
    *bounds = {0, 0, frame.width, frame.height};
    return host::kSuiteNoError;
  });
}

host::SuiteError GetRowBytes(host::PPix handle, int32_t* rowBytes) {
  return WithFrame(handle, "getRowBytes", [&](const Frame& frame) {
    *rowBytes = frame.rowBytes;
    return host::kSuiteNoError;
  });
}

host::SuiteError GetPixelAspectRatio(host::PPix handle, uint32_t* numerator, uint32_t* denominator) {
  return WithFrame(handle, "getPixelAspectRatio", [&](const Frame&) {
    *numerator = *denominator = 1;
    return host::kSuiteNoError;
  });
}

host::SuiteError GetPixelFormat(host::PPix handle, uint32_t* format) {
  return WithFrame(handle, "getPixelFormat", [&](const Frame& frame) {
    *format = frame.pixelFormat;
    return host::kSuiteNoError;
  });
}

host::SuiteError GetUniqueKey(host::PPix, uint8_t*, size_t) {
  return host::kSuiteNotImplemented;
}
host::SuiteError GetUniqueKeySize(size_t*) {
  return host::kSuiteNotImplemented;
}
host::SuiteError GetRenderTime(host::PPix, int32_t*) {
  return host::kSuiteNotImplemented;
}

}  // namespace

int64_t MinimumRowBytes(uint32_t pixelFormat, int32_t width) {
  switch (pixelFormat) {
    case host::kBgra8:
      return 4LL * width;
    case host::kBgra16:
      return 8LL * width;
    case host::kBgraFloat:
    case host::kBgraLinear:
    case host::kVuyaFloat709:
      return 16LL * width;
    case host::kUyvy709:
      return 2LL * width;
    case host::kV210_709:
      return (width + 47LL) / 48 * 128;
    default:
      return 0;
  }
}

void SetRowPadding(int32_t bytes) {
  rowPadding = bytes;
}

const host::PPixCreatorSuite* PPixCreatorFunctions() {
  static constexpr host::PPixCreatorSuite kSuite = {CreatePPix, ClonePPix};
  return &kSuite;
}

const host::PPixCreator2Suite* PPixCreator2Functions() {
  static constexpr host::PPixCreator2Suite kSuite = {CreatePPix2, nullptr, nullptr, nullptr, CreateColorManagedPPix, nullptr, nullptr};
  return &kSuite;
}

const host::PPixSuite* PPixFunctions() {
  static constexpr host::PPixSuite kSuite = {Dispose,        GetPixels,    GetBounds,        GetRowBytes,  GetPixelAspectRatio,
                                             GetPixelFormat, GetUniqueKey, GetUniqueKeySize, GetRenderTime};
  return &kSuite;
}

size_t LiveFrames() {
  const std::lock_guard<std::mutex> guard(TheFrames().lock);
  return TheFrames().live.size();
}

FrameView ViewFrame(host::PPix handle) {
  FrameView view;
  WithFrame(handle, "host's own view", [&](Frame& frame) {
    view = {frame.pixelFormat, frame.width, frame.height, frame.rowBytes, frame.pixels.data(), frame.colorManaged};
    return host::kSuiteNoError;
  });
  return view;
}

void DisposeFrame(host::PPix frame) {
  Dispose(frame);
}

}  // namespace standin
