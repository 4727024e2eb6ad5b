// Development of one clip at one size class on the processor.
#pragma once

#include <cstdint>
#include <memory>

#include "base/message.h"
#include "develop/develop_params.h"
#include "develop/geometry.h"
#include "develop/pixel_format.h"
#include "media/raw_frame.h"
#include "platform/worker_pool.h"

namespace qx {

/// Used by one thread at a time (under its clip's processor lock); spreads row bands of a frame over the worker pool it was given.
class CpuSession;

struct CpuSessionDeleter {
  void operator()(CpuSession* session) const;
};
using CpuSessionPtr = std::unique_ptr<CpuSession, CpuSessionDeleter>;

/// `camera`: the clip's camera data, copied. `params` is copied; its LUT must outlive the session. `pool` may be null and must outlive the
/// session. Null with "CFA is not Bayer: the full frame cannot be developed", "unknown curve %d" or "out of memory".
CpuSessionPtr CreateCpuSession(const DngInfo& camera, const DevelopParams& params, WorkerPool* pool, Message message);

/// Size of the frames that the session develops.
Size CpuSessionOutputSize(const CpuSession& session);

/// Develops `raw` (read with kReadUnpacked) into `rgb48`: 16-bit RGB, output size, top row first, rows packed. `rgb48` may be null for a
/// session of the linear kind: the float image is made then, and only then. 0, or -1 with "frame %d: CPU development failed" or "out of
/// memory".
[[nodiscard]] int DevelopFrameCpu(CpuSession* session, const RawFrame& raw, int32_t frame, uint16_t* rgb48, Message message);

/// The same with each row packed into a host's format as soon as it is developed, so that no 16-bit frame is written and read again.
/// `pixels` has the format's rows of the output width, packed.
[[nodiscard]] int DevelopPackedFrameCpu(CpuSession* session, const RawFrame& raw, int32_t frame, OutputPixelFormat format, uint8_t* pixels,
                                        Message message);

/// Linear kind only, after a DevelopFrameCpu without `rgb48`: rows firstRow … endRow − 1 of max(rgb, 0) through the gamut matrix as float
/// RGB, rows packed. `slot` is 0. Values above 1 are kept.
void ReadFloatRgb(const CpuSession& session, int slot, float* destination, int32_t firstRow, int32_t endRow);

void DestroyCpuSession(CpuSession* session);

}  // namespace qx
