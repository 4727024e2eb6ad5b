// A `.cube` lookup table applied to one colour.
#include <algorithm>
#include <cmath>

#include "develop/encoding.h"

namespace qx {

namespace {

// Position of a value in a table of one axis: between entries `index` and index + 1, `fraction` of the way.
struct TablePosition {
  size_t index = 0;
  float fraction = 0;
};

TablePosition Locate(float value, float domainMin, float domainMax, uint32_t size) {
  const float last = float(size - 1);
  const float position = (value - domainMin) / (domainMax - domainMin) * last;
  const float limited = position > 0 ? std::min(position, last) : 0.0f;  // 0 for what is not a number
  const size_t index = std::min(size_t(limited), size_t(size - 2));
  return {index, limited - float(index)};
}

void ApplyTable1D(const CubeLut& lut, float rgb[3]) {
  for (int c = 0; c < 3; ++c) {
    const TablePosition at = Locate(rgb[c], lut.domainMin1D[c], lut.domainMax1D[c], lut.size1D);
    const float* entry = lut.table1D.data() + 3 * at.index + c;
    rgb[c] = entry[0] + (entry[3] - entry[0]) * at.fraction;
  }
}

// Tetrahedral interpolation: the cell's diagonal from c000 to c111 is shared by six tetrahedra, one per order of the three fractions. The
// comparisons decide ties; the result is the same on either side of a face.
void ApplyTable3D(const CubeLut& lut, float rgb[3]) {
  TablePosition at[3];
  for (int c = 0; c < 3; ++c) at[c] = Locate(rgb[c], lut.domainMin3D[c], lut.domainMax3D[c], lut.size3D);

  const size_t red = 3, green = red * lut.size3D, blue = green * lut.size3D;  // floats from one node to the next
  const float* c000 = lut.table3D.data() + at[0].index * red + at[1].index * green + at[2].index * blue;
  const float fr = at[0].fraction, fg = at[1].fraction, fb = at[2].fraction;

  size_t a = 0, b = 0;  // the two corners between the diagonal's ends
  float w[4];
  const auto choose = [&](size_t first, size_t second, float largest, float middle, float smallest) {
    a = first;
    b = first + second;
    w[0] = 1 - largest;
    w[1] = largest - middle;
    w[2] = middle - smallest;
    w[3] = smallest;
  };
  if (fr > fg) {
    if (fg > fb) {
      choose(red, green, fr, fg, fb);
    } else if (fr > fb) {
      choose(red, blue, fr, fb, fg);
    } else {
      choose(blue, red, fb, fr, fg);
    }
  } else if (fb > fg) {
    choose(blue, green, fb, fg, fr);
  } else if (fb > fr) {
    choose(green, blue, fg, fb, fr);
  } else {
    choose(green, red, fg, fr, fb);
  }
  const float* c111 = c000 + red + green + blue;
  for (int c = 0; c < 3; ++c) rgb[c] = c000[c] * w[0] + c000[a + c] * w[1] + c000[b + c] * w[2] + c111[c] * w[3];
}

}  // namespace

void ApplyLut(const CubeLut& lut, float rgb[3]) {
  if (lut.size1D != 0) ApplyTable1D(lut, rgb);
  if (lut.size3D != 0) ApplyTable3D(lut, rgb);
  for (int c = 0; c < 3; ++c) rgb[c] = rgb[c] > 0 ? std::min(rgb[c], 1.0f) : 0.0f;
}

}  // namespace qx
