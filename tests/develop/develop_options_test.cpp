#include "pipeline/develop_options.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>

namespace qx {
namespace {

namespace fs = std::filesystem;

TEST(WhitePoint, FollowsThePlanckianLocus) {
  struct Row {
    double kelvin, x, y, tolerance;
    const char* why;
  };
  // CIE 15: standard illuminant A is a black body of 2856 K. The others: Robertson's table, worked out by hand from its lines.
  for (const Row& row : {Row{5000, 0.34510, 0.35162, 1e-5, "on a line"}, Row{6504, 0.31347, 0.32348, 2e-5, "between two lines"},
                         Row{2856, 0.44758, 0.40745, 5e-5, "illuminant A"},
                         // 1.5 · 0.24792 / (0.24792 − 4 · 0.34655 + 2) and 0.34655 / the same.
                         Row{1e6 / 325, 0.431555, 0.402161, 1e-6, "the line whose printed u is wrong"}}) {
    const auto white = WhitePointFromKelvinTint(row.kelvin, 0);
    EXPECT_NEAR(white[0], row.x, row.tolerance) << row.why;
    EXPECT_NEAR(white[1], row.y, row.tolerance) << row.why;
  }
  // From line to line (u, v) moves smoothly; a wrong digit in the table would show as a jump.
  double last = 1;
  for (double mired = 10; mired <= 590; mired += 1) {
    const double x = WhitePointFromKelvinTint(1e6 / mired, 0)[0], next = WhitePointFromKelvinTint(1e6 / (mired + 1), 0)[0];
    if (mired > 10) {
      EXPECT_NEAR((next - x) / last, 1, 0.09) << mired;
    }
    last = next - x;
  }
}

TEST(WhitePoint, TintMovesAcrossTheLocus) {
  // 5000 K is the line of 200 reciprocal megakelvin: (u, v) = (0.21142, 0.32312), slope −1.0182. A tint of −30 is 0.01 along it.
  const double length = std::sqrt(1 + 1.0182 * 1.0182);
  const double u = 0.21142 + 0.01 / length, v = 0.32312 - 0.01 * 1.0182 / length;
  const auto magenta = WhitePointFromKelvinTint(5000, -30);
  EXPECT_NEAR(magenta[0], 1.5 * u / (u - 4 * v + 2), 1e-9);
  EXPECT_NEAR(magenta[1], v / (u - 4 * v + 2), 1e-9);
  EXPECT_GT(WhitePointFromKelvinTint(5000, 30)[1], WhitePointFromKelvinTint(5000, 0)[1]) << "positive: a greener light";
}

TEST(DevelopOptions, DerivesKindsAndStrengths) {
  const CubeLut lut;
  struct Row {
    int32_t curve;
    bool hasLut;
    OutputKind session, clip;
  };
  for (const Row& row : {Row{0, false, OutputKind::kSLog3, OutputKind::kSLog3},
                         Row{1, false, OutputKind::kDaVinciIntermediate, OutputKind::kDaVinciIntermediate},
                         Row{2, false, OutputKind::kRec709, OutputKind::kRec709}, Row{3, false, OutputKind::kLinear, OutputKind::kLinear},
                         Row{3, true, OutputKind::kLinear, OutputKind::kLut}, Row{5, true, OutputKind::kSLog3, OutputKind::kLut},
                         Row{-1, true, OutputKind::kSLog3, OutputKind::kLut}}) {
    DevelopOptions options;
    options.outputCurve = row.curve;
    options.demosaic = 3;
    options.warpPercent = 250;
    options.vignettePercent = -5;
    options.exposureEv = -0.5f;
    options.slog3Narrow = 2;
    DerivedOptions derived;
    ASSERT_EQ(DeriveDevelopParams(options, row.hasLut ? &lut : nullptr, &derived, Message()), 0) << row.curve;
    EXPECT_EQ(derived.params.outputKind, row.session);
    EXPECT_EQ(derived.outputKind, row.clip);
    EXPECT_EQ(derived.params.lut, row.hasLut ? &lut : nullptr);
    EXPECT_EQ(derived.params.demosaic, Demosaic::kAhdRefined);
    EXPECT_EQ(derived.params.warpStrength, 1);
    EXPECT_EQ(derived.params.vignetteStrength, 0);
    EXPECT_EQ(derived.params.exposureEv, -0.5f);
    EXPECT_EQ(derived.params.widthAlign, 8);
    EXPECT_TRUE(derived.slog3Narrow);
  }
}

TEST(DevelopOptions, UserWhiteNeedsATemperature) {
  struct Row {
    int32_t on;
    double kelvin;
    int32_t expected;
  };
  for (const Row& row : {Row{1, 5000, 1}, Row{0, 5000, 0}, Row{1, 0, 0}, Row{1, -100, 0}, Row{1, std::nan(""), 0}}) {
    DevelopOptions options;
    options.whiteBalanceOn = row.on;
    options.kelvin = row.kelvin;
    DerivedOptions derived;
    ASSERT_EQ(DeriveDevelopParams(options, nullptr, &derived, Message()), 0);
    EXPECT_EQ(derived.params.whiteBalanceOn, row.expected) << row.on << " " << row.kelvin;
    EXPECT_NEAR(derived.params.whitePoint[0], row.expected != 0 ? 0.34510 : 0, 1e-5);
  }
}

TEST(DevelopOptions, RefusedOptionsChangeNothing) {
  const CubeLut lut;
  struct Row {
    int32_t curve, demosaic;
    const CubeLut* lut;
    const char* message;
  };
  for (const Row& row :
       {Row{5, 0, nullptr, "output curve 5 is not supported yet"}, Row{-1, 0, nullptr, "output curve -1 is not supported yet"},
        Row{0, -1, nullptr, "bad demosaic -1"}, Row{5, 4, &lut, "bad demosaic 4"}}) {
    DevelopOptions options;
    options.outputCurve = row.curve;
    options.demosaic = row.demosaic;
    DerivedOptions derived;
    derived.outputKind = OutputKind::kLinear;
    MessageBuffer<100> message;
    EXPECT_EQ(DeriveDevelopParams(options, row.lut, &derived, message), -1);
    EXPECT_STREQ(message.text(), row.message);
    EXPECT_EQ(derived.outputKind, OutputKind::kLinear);
  }
}

TEST(DevelopOptions, OnlySomeChangesNeedReopening) {
  struct Row {
    void (*change)(DevelopOptions*);
    bool expected;
    const char* why;
  };
  for (const Row& row :
       {Row{[](DevelopOptions*) {}, false, "none"}, Row{[](DevelopOptions* o) { o->outputCurve = 2; }, true, "curve"},
        Row{[](DevelopOptions* o) { o->slog3Narrow = 0; }, true, "range flag"},
        Row{[](DevelopOptions* o) { o->slog3Narrow = 7; }, false, "still set"},
        Row{[](DevelopOptions* o) { o->cpuOnly = 1; }, true, "processor only"},
        Row{[](DevelopOptions* o) { o->lutPath[0] = 0; }, true, "LUT off"},
        Row{[](DevelopOptions* o) { o->lutPath[0] = u'b'; }, false, "another LUT"},
        Row{[](DevelopOptions* o) { o->exposureEv = 1; }, false, "exposure"},
        Row{[](DevelopOptions* o) { o->whiteBalanceOn = 1, o->kelvin = 4000, o->tint = 5; }, false, "white balance"},
        Row{[](DevelopOptions* o) { o->demosaic = 1, o->warpPercent = 0, o->vignettePercent = 0; }, false, "debayer, warp, vignette"}}) {
    DevelopOptions inForce;
    inForce.slog3Narrow = 1;
    inForce.lutPath[0] = u'a';
    DevelopOptions wanted = inForce;
    row.change(&wanted);
    EXPECT_EQ(NeedsReopen(inForce, wanted), row.expected) << row.why;
    EXPECT_EQ(NeedsReopen(wanted, inForce), row.expected) << row.why;
  }
}

TEST(LutFile, Messages) {
  const fs::path folder = fs::temp_directory_path() / ("lut_file_test_" + std::to_string(std::hash<std::string>{}(QX_BINARY_DIR)));
  fs::create_directories(folder);
  const auto write = [&](const char* name, const std::string& text) {
    std::ofstream(folder / name, std::ios::binary) << text;
    return folder / name;
  };
  const fs::path large = write("large.cube", "x");
  fs::resize_file(large, kMaxCubeFileBytes + 1);
  struct Row {
    fs::path path;
    const char* message;
  };
  for (const Row& row :
       {Row{folder / "absent.cube", "cannot open the LUT"}, Row{write("empty.cube", ""), "cannot read the LUT"},
        Row{large, "cannot read the LUT"}, Row{write("bad.cube", "LUT_3D_SIZE x\n"), "line 1: LUT size must be an integer"},
        Row{write("good.cube", "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n"), ""}}) {
    CubeLut lut;
    MessageBuffer<100> message;
    EXPECT_EQ(LoadLutFile(row.path, &lut, message), row.message[0] == 0 ? 0 : -1);
    EXPECT_STREQ(message.text(), row.message);
    EXPECT_EQ(lut.size1D, row.message[0] == 0 ? 2u : 0u);
  }
  fs::remove_all(folder);
}

}  // namespace
}  // namespace qx
