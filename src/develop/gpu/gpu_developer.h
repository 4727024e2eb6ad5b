// Development of RAW frames on the graphics card, step by step. GPU thread only, with its context current.
#pragma once

#include <memory>

#include "develop/gpu/linear_passes.h"
#include "develop/gpu/render_pass.h"

namespace qx {

constexpr int kMostRenderSlots = 64;

/// Development state of one clip at one size class: programs, images, buffers, and `slots` places for finished frames.
class GpuDeveloper;

struct GpuDeveloperDeleter {
  void operator()(GpuDeveloper* developer) const;
};
using GpuDeveloperPtr = std::unique_ptr<GpuDeveloper, GpuDeveloperDeleter>;

/// Null with "read buffers %d (1..%d)", "shader %x: %s", "program: %s", "cs_build: out of memory", "GL error at creation" or "out of
/// memory". `floatSlots`: finished frames are kept as floats, so that values above 1 survive, instead of as 16-bit integers.
GpuDeveloperPtr CreateGpuDeveloper(int slots, bool floatSlots, Message message);
void DestroyGpuDeveloper(GpuDeveloper* developer);

/// 0, or -1 when the driver cannot hold the frame: "RAW frame of %llu bytes exceeds the driver SSBO limit %lld" or "frame %dx%d / output
/// %dx%d exceeds the driver texture/viewport limit %d/%d".
[[nodiscard]] int CheckGpuLimits(const GpuDeveloper& developer, int frameWidth, int frameHeight, int outputWidth, int outputHeight,
                                 uint64_t rawBytes, Message message);
/// The largest storage block of the driver.
int64_t GpuStorageLimit(const GpuDeveloper& developer);

/// The encoding of all later frames; its LUT must outlive its use. 0 or -1.
[[nodiscard]] int SetGpuEncoding(GpuDeveloper* developer, const EncodingState& encoding);
/// Makes the next DevelopToLinear upload the gain maps anew.
void ForgetGpuGains(GpuDeveloper* developer);

/// Puts the frame's samples where the passes read them: `uploaded` when somebody else has uploaded them, else a copy of the frame's stored
/// bytes. 0, -1 when the frame cannot be used (not one sample per pixel, not a single plane, no data, no memory), -2 when it is too large.
[[nodiscard]] int UploadRaw(GpuDeveloper* developer, const RawFrame& raw, const UploadedSamples* uploaded);

/// Runs the passes up to the linear image over the uploaded samples. 0 or -1.
[[nodiscard]] int DevelopToLinear(GpuDeveloper* developer, const LinearFrame& frame, Demosaic method);

/// Draws the linear image into a slot, encoded, at the geometry's output size. `profile`, `tone`, `white` as in RenderPass. 0 or -1.
[[nodiscard]] int RenderToSlot(GpuDeveloper* developer, int slot, const DevelopGeometry& geometry, int profile, int tone, float white);

/// The slot's finished frame, row 0 the top.
GLuint SlotTexture(const GpuDeveloper& developer, int slot);

/// Without the output pass: starts copying the slot's frame to memory as 16-bit RGB, top row first, rows packed. 0 or -1.
[[nodiscard]] int StartReadBackRG48(GpuDeveloper* developer, int slot);
/// Waits for that copy, at most 10 seconds. The pixels stay mapped until the slot is rendered again. Null when it failed.
const uint16_t* ReadBackRG48(GpuDeveloper* developer, int slot);

/// For tests and benchmarks.
const LinearPasses& GpuLinearPasses(const GpuDeveloper& developer);

}  // namespace qx
