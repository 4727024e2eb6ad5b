#include "pipeline/delivery.h"

#include <cstring>

#include "pipeline/clip.h"
#include "pipeline/frame_cache.h"

namespace qx {

namespace {

constexpr int kDeliveryParts = 16;

struct RowRange {
  int32_t first, end;
};
RowRange RowsOfPart(int32_t height, int part, int parts) {
  return {int32_t(int64_t(height) * part / parts), int32_t(int64_t(height) * (part + 1) / parts)};
}

void CopyRows(const uint8_t* packed, uint64_t rowBytes, int32_t height, uint8_t* destination, int64_t destinationRowBytes,
              WorkerPool* pool) {
  RunParts(pool, kDeliveryParts, [&](int part) {
    const RowRange rows = RowsOfPart(height, part, kDeliveryParts);
    for (int32_t y = rows.first; y < rows.end; ++y) {
      std::memcpy(destination + y * destinationRowBytes, packed + uint64_t(y) * rowBytes, size_t(rowBytes));
    }
    return 0;
  });
}

void WriteFloatRow(const float* rgb, int32_t width, float* bgra) {
  for (int32_t x = 0; x < width; ++x, rgb += 3, bgra += 4) {
    bgra[0] = rgb[2];
    bgra[1] = rgb[1];
    bgra[2] = rgb[0];
    bgra[3] = 1;
  }
}

/// One row of the reduced frame from two rows of `width` pixels that follow each other in `rgb`.
void WriteReducedFloatRow(const float* rgb, int32_t width, float* bgra) {
  const float* top = rgb;
  const float* bottom = rgb + size_t(width) * 3;
  for (int32_t x = 0; x < width / 2; ++x, top += 6, bottom += 6, bgra += 4) {
    for (int c = 0; c < 3; ++c) bgra[2 - c] = (top[c] + top[c + 3] + bottom[c] + bottom[c + 3]) * 0.25f;
    bgra[3] = 1;
  }
}

}  // namespace

void ConvertFrame(const FrameJob& job, const OutputSizes& sizes, OutputPixelFormat format, uint8_t* destination,
                  int64_t destinationRowBytes, WorkerPool* pool, int parts) {
  const Size size = DevelopmentSize(sizes, job.sizeLevel);
  RunParts(pool, parts, [&](int part) {
    ConvertRows(job.developedRgb(), size.width, size.height, format, destination, destinationRowBytes, job.sizeLevel == kQuarterSize, part,
                parts);
    return 0;
  });
}

Delivery DeliverFrame(const FrameJob& job, const OutputSizes& sizes, OutputPixelFormat format, uint8_t* destination,
                      int64_t destinationRowBytes, WorkerPool* pool) {
  if (job.isConvertedTo(format)) {
    const Size size = LevelSize(sizes, job.sizeLevel);
    CopyRows(job.converted.data(), FormatRowBytes(format, size.width), size.height, destination, destinationRowBytes, pool);
    return Delivery::kCopy;
  }
  if (job.developed.data() == nullptr) return Delivery::kNone;
  ConvertFrame(job, sizes, format, destination, destinationRowBytes, pool, kDeliveryParts);
  return Delivery::kConvert;
}

bool WriteFloatBgra(const ProcessorSession& session, Size size, bool quarter, float* bgra, WorkerPool* pool) {
  const int32_t reduction = quarter ? 2 : 1;
  const int32_t width = size.width / reduction, height = size.height / reduction;
  return RunParts(pool, kDeliveryParts, [&](int part) {
           const RowRange rows = RowsOfPart(height, part, kDeliveryParts);
           GrowBuffer<float> rgb;
           if (!rgb.Reserve(uint64_t(size.width) * 3 * uint64_t(reduction))) return -1;
           for (int32_t y = rows.first; y < rows.end; ++y) {
             session.ReadFloat(rgb.data(), y * reduction, (y + 1) * reduction);
             float* row = bgra + size_t(height - 1 - y) * size_t(width) * 4;
             quarter ? WriteReducedFloatRow(rgb.data(), size.width, row) : WriteFloatRow(rgb.data(), width, row);
           }
           return 0;
         }) == 0;
}

}  // namespace qx
