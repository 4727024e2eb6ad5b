// Moving finished frames: conversion of whole frames, row copies into the host's buffer, the float image of the linear kind.
#pragma once

#include <cstdint>

#include "develop/geometry.h"
#include "develop/pixel_format.h"
#include "pipeline/frame_job.h"
#include "pipeline/pipeline_backend.h"
#include "platform/worker_pool.h"

namespace qx {

/// Converts the job's developed frame into `destination`, in `parts` bands on `pool`.
void ConvertFrame(const FrameJob& job, const OutputSizes& sizes, OutputPixelFormat format, uint8_t* destination,
                  int64_t destinationRowBytes, WorkerPool* pool, int parts);

enum class Delivery { kNone, kCopy, kConvert };

/// Puts a finished frame into the host's buffer: a copy when the job has been converted to `format` already, else a conversion.
/// `destinationRowBytes` is at least the format's row. The job is pinned by the caller.
Delivery DeliverFrame(const FrameJob& job, const OutputSizes& sizes, OutputPixelFormat format, uint8_t* destination,
                      int64_t destinationRowBytes, WorkerPool* pool);

/// The session's last frame (linear kind, `size`) as float BGRA with alpha 1, bottom row first, rows packed; with `quarter` reduced 2 × 2
/// by the mean. False when memory is short.
[[nodiscard]] bool WriteFloatBgra(const ProcessorSession& session, Size size, bool quarter, float* bgra, WorkerPool* pool);

}  // namespace qx
