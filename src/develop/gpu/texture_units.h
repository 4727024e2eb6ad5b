// Which texture unit each sampler reads. Passes that follow each other keep their inputs bound.
#pragma once

#include "develop/gpu/gl_functions.h"

namespace qx {

constexpr GLuint kUnitMosaic = 0, kUnitLinear = 0, kUnitSlot = 0;
constexpr GLuint kUnitGreens = 1, kUnitGain = 1;
constexpr GLuint kUnitLut1D = 2, kUnitLut3D = 3;
constexpr GLuint kUnitHomogeneity = 4, kUnitIntegers = 5, kUnitMedianRg = 6, kUnitMedianB = 7;

}  // namespace qx
