// Images of the graphics card as values.
#pragma once

#include <cstdint>
#include <vector>

#include "develop/gpu/gl_objects.h"
#include "tests/gpu_support/gpu_fixture.h"

namespace qx {

/// One channel of integers a texel (GL_R32UI).
std::vector<uint32_t> ReadIntegers(GpuFixture& gpu, const GlImage2D& image);
/// Red, green and blue of float texels, interleaved.
std::vector<float> ReadRgb(GpuFixture& gpu, const GlImage2D& image);

}  // namespace qx
