// Colour temperature and tint to a chromaticity: A. R. Robertson, "Computation of correlated color temperature and distribution
// temperature", J. Opt. Soc. Am. 58 (1968), with the table of Wyszecki & Stiles, Color Science, 2nd edition, 1(3.11), and the DNG
// convention for the tint.
#include <cmath>
#include <iterator>

#include "pipeline/develop_options.h"

namespace qx {

namespace {

// A line of constant correlated colour temperature.
struct Isotemperature {
  double mired;  // reciprocal megakelvin
  double u, v;   // where it crosses the Planckian locus, CIE 1960 UCS
  double slope;  // dv / du
};

// The u of 325 is 0.24792: the book's 0.24702 is a misprint that puts a dent into the locus.
constexpr Isotemperature kLines[] = {
    {0, 0.18006, 0.26352, -0.24341},   {10, 0.18066, 0.26589, -0.25479},  {20, 0.18133, 0.26846, -0.26876},
    {30, 0.18208, 0.27119, -0.28539},  {40, 0.18293, 0.27407, -0.30470},  {50, 0.18388, 0.27709, -0.32675},
    {60, 0.18494, 0.28021, -0.35156},  {70, 0.18611, 0.28342, -0.37915},  {80, 0.18740, 0.28668, -0.40955},
    {90, 0.18880, 0.28997, -0.44278},  {100, 0.19032, 0.29326, -0.47888}, {125, 0.19462, 0.30141, -0.58204},
    {150, 0.19962, 0.30921, -0.70471}, {175, 0.20525, 0.31647, -0.84901}, {200, 0.21142, 0.32312, -1.0182},
    {225, 0.21807, 0.32909, -1.2168},  {250, 0.22511, 0.33439, -1.4512},  {275, 0.23247, 0.33904, -1.7298},
    {300, 0.24010, 0.34308, -2.0637},  {325, 0.24792, 0.34655, -2.4681},  {350, 0.25591, 0.34951, -2.9641},
    {375, 0.26400, 0.35200, -3.5814},  {400, 0.27218, 0.35407, -4.3633},  {425, 0.28039, 0.35577, -5.3762},
    {450, 0.28863, 0.35714, -6.7262},  {475, 0.29685, 0.35823, -8.5955},  {500, 0.30505, 0.35907, -11.324},
    {525, 0.31320, 0.35968, -15.628},  {550, 0.32129, 0.36011, -23.325},  {575, 0.32931, 0.36038, -40.770},
    {600, 0.33724, 0.36051, -116.45}};
static_assert(std::size(kLines) == 31);

// Units of tint to a distance in (u, v). The lines point towards magenta; a positive tint names a greener light, so the picture, corrected
// for it, turns towards magenta.
constexpr double kTintScale = -3000;

// The line's direction, of length 1.
std::array<double, 2> DirectionOf(const Isotemperature& line) {
  const double length = std::sqrt(1 + line.slope * line.slope);
  return {1 / length, line.slope / length};
}

}  // namespace

std::array<double, 2> WhitePointFromKelvinTint(double kelvin, double tint) {
  const double mired = kelvin > 1 ? 1e6 / kelvin : 1e6;
  size_t upper = 1;
  while (upper < std::size(kLines) - 1 && !(kLines[upper].mired > mired)) ++upper;
  const Isotemperature &a = kLines[upper - 1], &b = kLines[upper];
  // Beyond the last line this extrapolates.
  const double weight = (b.mired - mired) / (b.mired - a.mired);

  const auto directionA = DirectionOf(a), directionB = DirectionOf(b);
  const double du = directionA[0] * weight + directionB[0] * (1 - weight);
  const double dv = directionA[1] * weight + directionB[1] * (1 - weight);
  const double offset = tint / kTintScale / std::hypot(du, dv);

  const double u = a.u * weight + b.u * (1 - weight) + du * offset;
  const double v = a.v * weight + b.v * (1 - weight) + dv * offset;
  const double denominator = u - 4 * v + 2;
  return {1.5 * u / denominator, v / denominator};
}

}  // namespace qx
