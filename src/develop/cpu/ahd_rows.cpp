#include "develop/cpu/ahd_rows.h"

#include "develop/cpu/ahd.h"
#include "develop/cpu/lab_tables.h"

namespace qx {
namespace {

// How far each intermediate reaches beyond a finished row or column. Votes reach 1, so the colours that they compare reach 2, and the
// greens that colours are made of 3.
constexpr int kVoteReach = 1;
constexpr int kColorReach = 2;
constexpr int kGreenReach = 3;
static_assert(kGreenReach <= kCarvedPad && kGreenReach + 2 <= kMosaicPad);

}  // namespace

AhdRows::AhdRows(MosaicRows* mosaic, const DebayerSetup& setup, const AhdKernels& kernels)
    : mosaic_(mosaic), setup_(setup), kernels_(kernels), conversion_{{}, GetLabTables(), GetPackedLabTable()}, carver_(setup.width) {}

bool AhdRows::Allocate() {
  CarveRows();
  if (!carver_.Allocate()) return false;
  CarveRows();
  return true;
}

void AhdRows::CarveRows() {
  const auto rgb = [this] { return RgbPlanes{carver_.Row<uint16_t>(), carver_.Row<uint16_t>(), carver_.Row<uint16_t>()}; };
  const auto distances = [this] { return DistancePlanes{carver_.Row<uint16_t>(), carver_.Row<uint32_t>()}; };
  for (Direction* direction : {&horizontal_, &vertical_}) {
    for (auto& row : direction->green) row = carver_.Row<uint16_t>();
    for (auto& row : direction->color) row = rgb();
    for (auto& row : direction->lab) row = {carver_.Row<int16_t>(), carver_.Row<int16_t>(), carver_.Row<int16_t>()};
    for (auto& row : direction->across) row = distances();
    for (auto& row : direction->above) row = distances();
  }
  chromaSum_ = carver_.Row<int32_t>();
  for (auto& row : lead_) row = carver_.Row<int8_t>();
  for (auto& row : out_) row = rgb();
}

void AhdRows::Begin(int firstRow, const LabMatrix& labMatrix) {
  conversion_.matrix = labMatrix;
  startRow_ = nextRow_ = firstRow - kColorReach;
  for (int y = startRow_ - 1; y <= startRow_; ++y) MakeGreen(y);
}

RgbRow AhdRows::Row(int y) {
  for (; nextRow_ <= y + kColorReach; ++nextRow_) {
    MakeGreen(nextRow_ + 1);
    MakeColor(nextRow_);
    if (nextRow_ > startRow_) MakeDistances(nextRow_);
    if (nextRow_ > startRow_ + 1) MakeVotes(nextRow_ - 1);
  }
  kernels_.select({lead_[y - 1], lead_[y], lead_[y + 1]}, horizontal_.color[y], vertical_.color[y], 0, setup_.width, out_[y]);
  return out_[y];
}

void AhdRows::MakeGreen(int y) {
  const uint16_t* up2 = mosaic_->Row(y - 2);
  const uint16_t* up = mosaic_->Row(y - 1);
  const uint16_t* c = mosaic_->Row(y);
  const uint16_t* down = mosaic_->Row(y + 1);
  const uint16_t* down2 = mosaic_->Row(y + 2);
  const int greenParity = BayerRowAt(setup_.cfa, y).greenParity, end = setup_.width + kGreenReach;
  kernels_.green({c, c - 1, c + 1, c - 2, c + 2}, greenParity, -kGreenReach, end, horizontal_.green[y]);
  kernels_.green({c, up, down, up2, down2}, greenParity, -kGreenReach, end, vertical_.green[y]);
}

void AhdRows::MakeColor(int y) {
  const RowTriple<uint16_t> mosaic = {mosaic_->Row(y - 1), mosaic_->Row(y), mosaic_->Row(y + 1)};
  const int begin = -kColorReach, end = setup_.width + kColorReach;
  for (Direction* direction : {&horizontal_, &vertical_}) {
    auto& green = direction->green;
    kernels_.chroma(mosaic, {green[y - 1], green[y], green[y + 1]}, begin - 1, end + 1, chromaSum_);
    kernels_.color(green[y], chromaSum_, BayerRowAt(setup_.cfa, y), begin, end, direction->color[y]);
    kernels_.lab(direction->color[y], conversion_, begin, end, direction->lab[y]);
  }
}

void AhdRows::MakeDistances(int y) {
  const int begin = -kVoteReach, end = setup_.width + kVoteReach;
  for (Direction* direction : {&horizontal_, &vertical_}) {
    const LabPlanes& row = direction->lab[y];
    kernels_.distances(row, {row.l + 1, row.a + 1, row.b + 1}, begin - 1, end, direction->across[y]);
    kernels_.distances(direction->lab[y - 1], row, begin, end, direction->above[y]);
  }
}

void AhdRows::MakeVotes(int y) {
  const auto around = [y](Direction& d) { return Surroundings{d.across[y], d.above[y], d.above[y + 1]}; };
  kernels_.homogeneity(around(horizontal_), around(vertical_), -kVoteReach, setup_.width + kVoteReach, lead_[y]);
}

}  // namespace qx
