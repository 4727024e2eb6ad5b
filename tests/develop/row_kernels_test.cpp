#include "develop/cpu/row_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "develop/cpu/row_encoder.h"

namespace qx {

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kInfinity = std::numeric_limits<float>::infinity();
constexpr int kGuard = 2 * kRowSlack;  // before and behind each row: the debayer loops reach over both ends

// Widths around the vector sizes, each at several alignments.
template <typename Check>
void ForWidthsAndOffsets(Check check) {
  for (int n : {1, 2, 3, 7, 8, 9, 15, 16, 17, 23, 31, 32, 33, 48, 61, 100}) {
    for (int offset : {0, 1, 5}) {
      SCOPED_TRACE(testing::Message() << n << " columns, offset " << offset);
      check(n, offset);
    }
  }
}

// Every usable version but the plain one.
template <typename Check>
void ForVectorVariants(Check check) {
  for (const RowKernels& kernels : RowKernelVariants().subspan(1)) {
    if (!kernels.usable) continue;
    SCOPED_TRACE(kernels.name);
    check(kernels);
  }
}

const RowKernels& Plain() {
  return RowKernelVariants()[0];
}

// Small and large values and the extremes, for sums that overflow where they can.
std::vector<uint16_t> RandomRow(std::mt19937& random, int n) {
  std::vector<uint16_t> row(size_t(n + 2 * kGuard));
  const uint32_t kind = random() % 3;
  for (uint16_t& v : row) v = kind == 0 ? uint16_t(random()) : kind == 1 ? uint16_t(random() % 2 * 65535) : uint16_t(random() % 300);
  return row;
}

std::vector<float> RandomFloats(std::mt19937& random, int n, float largest) {
  std::vector<float> row(size_t(n + kGuard));
  for (float& v : row) {
    const float unit = float(random() & 0xFFFFFF) / 16777216;
    v = random() % 4 == 0 ? unit * unit * unit * 0.05f : unit * largest;
    if (random() % 40 == 0) v = std::vector<float>{0, -0.0f, -1, kNan, kInfinity, -kInfinity, 1e-42f, 1e30f, 0.018f}[random() % 9];
  }
  return row;
}

template <typename T>
void ExpectSameBits(const std::vector<T>& a, const std::vector<T>& b, int first, int n) {
  EXPECT_EQ(std::memcmp(a.data() + first, b.data() + first, size_t(n) * sizeof(T)), 0);
}

}  // namespace

TEST(RowKernels, UnpackAlike) {
  std::mt19937 random(1);
  const UnpackLevels levels[] = {{{64, 64}, {959, 959}, {1, 2.1f}},
                                 {{0, 1023.5f}, {65535, 3}, {1.7f, 1}},
                                 {{100, 100}, {kInfinity, kNan}, {1, 1}},
                                 {{kNan, 5}, {10, 10}, {1, kInfinity}}};
  ForVectorVariants([&](const RowKernels& kernels) {
    ForWidthsAndOffsets([&](int n, int offset) {
      for (const UnpackLevels& level : levels) {
        for (bool gained : {false, true}) {
          const auto samples = RandomRow(random, n);
          const auto gains = RandomFloats(random, n + offset, 3);
          const float* gain = gained ? gains.data() + offset : nullptr;
          std::vector<uint16_t> expected(size_t(n) + 16, 7), actual = expected;
          Plain().unpack(samples.data() + offset, level, gain, expected.data() + offset, n);
          kernels.unpack(samples.data() + offset, level, gain, actual.data() + offset, n);
          EXPECT_EQ(expected, actual);  // also what lies beyond the row
        }
      }
    });
  });
}

TEST(RowKernels, DebayerAlike) {
  std::mt19937 random(2);
  ForVectorVariants([&](const RowKernels& kernels) {
    ForWidthsAndOffsets([&](int n, int offset) {
      for (int round = 0; round < 6; ++round) {
        std::vector<uint16_t> source[5];
        const uint16_t* rows[5];
        for (int i = 0; i < 5; ++i) {
          source[i] = RandomRow(random, n);
          rows[i] = source[i].data() + kGuard / 2 + offset;
        }
        std::vector<uint16_t> expected[3], actual[3];
        for (int i = 0; i < 3; ++i) expected[i].resize(size_t(n + kGuard)), actual[i].resize(size_t(n + kGuard));
        const auto compare = [&] {
          for (int i = 0; i < 3; ++i) ExpectSameBits(expected[i], actual[i], offset, n);
        };
        const auto out = [&](std::vector<uint16_t>* planes, int i) { return planes[i].data() + offset; };
        Plain().gradient(rows, out(expected, 0), out(expected, 1), out(expected, 2), n);
        kernels.gradient(rows, out(actual, 0), out(actual, 1), out(actual, 2), n);
        compare();
        Plain().bilinear(rows, out(expected, 0), out(expected, 1), out(expected, 2), n);
        kernels.bilinear(rows, out(actual, 0), out(actual, 1), out(actual, 2), n);
        compare();
      }
    });
  });
}

TEST(RowKernels, ColorTexelsAndHalveAlike) {
  std::mt19937 random(3);
  const ColorStep step = {{1.7f, -0.5f, -0.2f, -0.3f, 1.5f, -0.2f, 0.01f, -0.6f, 1.59f}, 2.3f};
  ForVectorVariants([&](const RowKernels& kernels) {
    ForWidthsAndOffsets([&](int n, int offset) {
      const auto r = RandomRow(random, n), g = RandomRow(random, n), b = RandomRow(random, n);
      std::vector<float> expected(size_t(3 * n) + 16, 7), actual = expected;
      const auto planes = [&](std::vector<float>& out, float*(&p)[3]) {
        for (int i = 0; i < 3; ++i) p[i] = out.data() + offset + i * n;
      };
      float *expectedPlanes[3], *actualPlanes[3];
      planes(expected, expectedPlanes);
      planes(actual, actualPlanes);
      const RgbRow in = {r.data() + offset, g.data() + offset, b.data() + offset};
      Plain().color(in, step, expectedPlanes, n);
      kernels.color(in, step, actualPlanes, n);
      ExpectSameBits(expected, actual, 0, int(expected.size()));

      std::vector<float> texels(size_t(4 * n) + 4, 7), actualTexels = texels;
      Plain().toTexels({expectedPlanes[0], expectedPlanes[1], expectedPlanes[2]}, texels.data(), n);
      kernels.toTexels({expectedPlanes[0], expectedPlanes[1], expectedPlanes[2]}, actualTexels.data(), n);
      EXPECT_EQ(texels, actualTexels);

      const auto above = RandomFloats(random, 2 * n + offset, 1), below = RandomFloats(random, 2 * n + offset, 1);
      std::vector<float> half(size_t(n) + 16, 7), actualHalf = half;
      Plain().halve(above.data() + offset, below.data() + offset, half.data() + offset, n);
      kernels.halve(above.data() + offset, below.data() + offset, actualHalf.data() + offset, n);
      for (size_t i = 0; i < half.size(); ++i) {  // NaN may carry another sign
        EXPECT_TRUE(half[i] == actualHalf[i] || (std::isnan(half[i]) && std::isnan(actualHalf[i]))) << i;
      }
    });
  });
}

TEST(RowKernels, WarpAlike) {
  std::mt19937 random(4);
  LensWarp warp;
  warp.active = true;
  warp.centreX = 50, warp.centreY = 30.5, warp.radius = 60, warp.inverseRadius = 1 / 60.0;
  const double coefficients[][6] = {{1, 0.1, -0.05, 0.02, 0, 0}, {0.9, -0.2, 0.1, 0, 0.003, -0.002}, {-1e200, 1e300, 0, 0, 5, 1e308}};
  ForVectorVariants([&](const RowKernels& kernels) {
    for (const auto& row : coefficients) {
      std::copy(row, row + 4, warp.k);
      std::copy(row + 4, row + 6, warp.t);
      ForWidthsAndOffsets([&](int n, int offset) {
        std::vector<double> x(size_t(n + 8)), ax(x.size()), ay(x.size()), bx(x.size()), by(x.size());
        for (double& v : x) v = double(random() % 20000) / 100 - 50;
        Plain().warpPoints(warp, x.data() + offset, 12.25, ax.data() + offset, ay.data() + offset, n);
        kernels.warpPoints(warp, x.data() + offset, 12.25, bx.data() + offset, by.data() + offset, n);
        std::vector<double> onlyX(x.size()), onlyY(x.size());
        kernels.warpPoints(warp, x.data() + offset, 12.25, onlyX.data() + offset, nullptr, n);
        kernels.warpPoints(warp, x.data() + offset, 12.25, nullptr, onlyY.data() + offset, n);
        EXPECT_EQ(std::memcmp(onlyX.data(), bx.data(), bx.size() * sizeof(double)), 0);
        EXPECT_EQ(std::memcmp(onlyY.data(), by.data(), by.size() * sizeof(double)), 0);
        for (size_t i = 0; i < ax.size(); ++i) {
          EXPECT_TRUE(ax[i] == bx[i] || (std::isnan(ax[i]) && std::isnan(bx[i]))) << i;
          EXPECT_TRUE(ay[i] == by[i] || (std::isnan(ay[i]) && std::isnan(by[i]))) << i;
        }
      });
    }
  });
}

TEST(RowKernels, FootprintsAlike) {
  std::mt19937 random(6);
  ForVectorVariants([&](const RowKernels& kernels) {
    ForWidthsAndOffsets([&](int n, int offset) {
      const size_t values = size_t(n + 8);
      std::vector<double> centre(values), one(values), other(values), al(values), ah(values), bl(values), bh(values);
      for (size_t i = 0; i < values; ++i) {
        centre[i] = double(random() % 3000) / 10 - 100;
        one[i] = centre[i] - double(random() % 100) / 60;
        other[i] = random() % 20 == 0 ? 1e200 : centre[i] + double(random() % 100) / 60;
        if (random() % 20 == 0) centre[i] = double(kNan);
        if (random() % 20 == 0) one[i] = double(kNan);
      }
      Plain().footprints(centre.data() + offset, one.data() + offset, other.data() + offset, 4, 100, al.data(), ah.data(), n);
      kernels.footprints(centre.data() + offset, one.data() + offset, other.data() + offset, 4, 100, bl.data(), bh.data(), n);
      EXPECT_EQ(al, bl);
      EXPECT_EQ(ah, bh);
      for (int i = 0; i < n; ++i) {
        EXPECT_GE(ah[size_t(i)] - al[size_t(i)], 1);
        EXPECT_GE(al[size_t(i)], -8);
        EXPECT_LE(ah[size_t(i)], 108);
      }
    });
  });
}

TEST(RowKernels, AverageTexelsAlike) {
  std::mt19937 random(7);
  constexpr int kSide = 40;
  const std::vector<float> image = [&] {
    std::vector<float> texels;
    for (int i = 0; i < kSide * kSide * kTexelFloats; ++i) texels.push_back(float(random() % 10000) / 7000);
    return texels;
  }();
  std::vector<const float*> rows;
  for (int i = 0; i < kSide; ++i) rows.push_back(image.data() + i * kSide * kTexelFloats + 10 * kTexelFloats);
  const TexelRows texels = {rows.data(), -10};
  ForVectorVariants([&](const RowKernels& kernels) {
    ForWidthsAndOffsets([&](int n, int offset) {
      for (double widest : {1.0, 1.3, 3.0, 8.0}) {
        std::vector<double> low[2], high[2];
        for (int axis = 0; axis < 2; ++axis) {
          for (int i = 0; i < n + offset; ++i) {
            low[axis].push_back(double(random() % 2000) / 100 - 9);
            high[axis].push_back(low[axis].back() + 1 + double(random() % 100) / 100 * (widest - 1));
            if (random() % 5 == 0) low[axis].back() = std::floor(low[axis].back()) + 0.5;
          }
        }
        std::vector<float> expected(size_t(3 * n) + 8, 7), actual = expected;
        float* const expectedPlanes[3] = {expected.data(), expected.data() + n, expected.data() + 2 * n};
        float* const actualPlanes[3] = {actual.data(), actual.data() + n, actual.data() + 2 * n};
        const FootprintAxis x = {low[0].data() + offset, high[0].data() + offset}, y = {low[1].data() + offset, high[1].data() + offset};
        Plain().averageTexels(x, y, texels, expectedPlanes, n);
        kernels.averageTexels(x, y, texels, actualPlanes, n);
        EXPECT_EQ(expected, actual);
      }
    });
  });
}

TEST(RowKernels, LutAsApplyLut) {
  std::mt19937 random(8);
  CubeLut lut;
  lut.size3D = 7;
  lut.domainMin3D = {-0.1f, 0, 0.05f};
  lut.domainMax3D = {1, 0.9f, 1.2f};
  const int entries = 7 * 7 * 7;
  ASSERT_TRUE(lut.table3D.Reserve(3 * entries));
  std::vector<float> wideEntries;
  for (int i = 0; i < entries; ++i) {
    for (int c = 0; c < 4; ++c) wideEntries.push_back(c == 3 ? 0 : float(random() % 1200) / 1000 - 0.1f);
    std::copy_n(wideEntries.end() - 4, 3, lut.table3D.data() + 3 * i);
  }
  const WideLut wide = {wideEntries.data(), 7, lut.domainMin3D, lut.domainMax3D};
  for (const RowKernels& kernels : RowKernelVariants()) {
    if (!kernels.usable) continue;
    SCOPED_TRACE(kernels.name);
    ForWidthsAndOffsets([&](int n, int offset) {
      for (uint32_t steps : {7u, 13u, 1000000u}) {  // coarse values give ties between the fractions
        std::vector<float> planes[3];
        for (auto& plane : planes) {
          for (int i = 0; i < n + offset; ++i) plane.push_back(float(random() % (steps + 1)) / float(steps) * 1.2f - 0.1f);
          plane.back() = random() % 3 == 0 ? kNan : plane.back();
        }
        std::vector<uint16_t> expected(size_t(3 * n) + 8, 7), actual = expected;
        for (int x = 0; x < n; ++x) {
          float rgb[3];
          for (int c = 0; c < 3; ++c) rgb[c] = planes[c][size_t(x + offset)];
          ApplyLut(lut, rgb);
          for (int c = 0; c < 3; ++c) expected[size_t(3 * x + c)] = uint16_t(rgb[c] * 65535 + 0.5f);
        }
        kernels.encodeLut({planes[0].data() + offset, planes[1].data() + offset, planes[2].data() + offset}, wide, actual.data(), n);
        EXPECT_EQ(expected, actual);
      }
    });
  }
}

TEST(RowKernels, EncodeAlike) {
  std::mt19937 random(5);
  std::vector<CurveBucket> pieces;
  for (int i = 0; i < 4000; ++i) pieces.push_back({float(i) * 20 - 1000, float(random() % 100000)});
  const CurveView fine = {pieces.data() + 1, std::bit_cast<int32_t>(0.018f), 14, 3};
  const CurveView log = {GetCurveTable(OutputKind::kSLog3), 0, 16, 1000000};
  const auto matrix = GamutMatrix(OutputKind::kSLog3);
  ForVectorVariants([&](const RowKernels& kernels) {
    ForWidthsAndOffsets([&](int n, int offset) {
      for (const CurveView& curve : {fine, log}) {
        for (const float* gamut : {static_cast<const float*>(nullptr), matrix.data()}) {
          const auto r = RandomFloats(random, n, 4), g = RandomFloats(random, n, 1), b = RandomFloats(random, n, 0.1f);
          const LinearRow in = {r.data() + offset, g.data() + offset, b.data() + offset};
          std::vector<uint16_t> expected(size_t(3 * n) + 16, 7), actual = expected;
          Plain().encodeCurve(in, gamut, curve, expected.data() + offset, n);
          kernels.encodeCurve(in, gamut, curve, actual.data() + offset, n);
          EXPECT_EQ(expected, actual);
          Plain().encodeLinear(in, gamut, expected.data() + offset, n);
          kernels.encodeLinear(in, gamut, actual.data() + offset, n);
          EXPECT_EQ(expected, actual);
          std::vector<float> values(size_t(n) + 16, 7), actualValues = values;
          Plain().applyCurve(in.r, curve, values.data() + offset, n);
          kernels.applyCurve(in.r, curve, actualValues.data() + offset, n);
          EXPECT_EQ(values, actualValues);
        }
      }
    });
  });
}

}  // namespace qx
