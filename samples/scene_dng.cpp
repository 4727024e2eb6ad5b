#include "samples/scene_dng.h"

#include <algorithm>

#include "samples/lj92_writer.h"
#include "samples/scene.h"

namespace qx {

namespace {

constexpr uint16_t kIlluminantA = 17, kIlluminantD65 = 21;  // EXIF LightSource

/// XYZ to linear Rec.709 (IEC 61966-2-1): the scene's light is Rec.709, so a camera matrix is this, each row as strong as its channel.
constexpr Matrix9 kXyzToRec709 = {3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570};

Matrix9 ScaleRows(const Matrix9& matrix, const std::array<double, 3>& scale) {
  Matrix9 scaled = matrix;
  for (size_t i = 0; i < scaled.size(); ++i) scaled[i] *= scale[i / 3];
  return scaled;
}

/// Under daylight the matrix is the scene's own. For tungsten light it is made up: such sensors then see red stronger and blue weaker.
void AddColor(const SceneDngOptions& options, DngDescription* dng) {
  const std::array<double, 3> neutral = {kSceneNeutral[0], kSceneNeutral[1], kSceneNeutral[2]};
  dng->colorMatrix1 = ScaleRows(kXyzToRec709, {neutral[0] * 1.08, neutral[1], neutral[2] * 0.86});
  dng->illuminant1 = kIlluminantA;
  dng->colorMatrix2 = ScaleRows(kXyzToRec709, neutral);
  dng->illuminant2 = kIlluminantD65;
  dng->asShotNeutral = neutral;
  dng->baselineExposure = options.baselineExposure;
}

/// One map for each phase of the CFA, as phones write them.
void AddGainMaps(const SceneDngOptions& options, DngDescription* dng) {
  const std::array<uint32_t, 4> whole = {0, 0, uint32_t(options.height), uint32_t(options.width)};
  const auto [top, left, bottom, right] = options.activeArea.value_or(whole);
  DngGainMap map;
  map.bottom = bottom - top;
  map.right = right - left;
  map.pointsV = 13;
  map.pointsH = 17;
  map.spacingV = 1.0 / (map.pointsV - 1);
  map.spacingH = 1.0 / (map.pointsH - 1);
  const double centreX = options.width / 2.0, centreY = options.height / 2.0, cornerSquared = centreX * centreX + centreY * centreY;
  for (uint32_t v = 0; v < map.pointsV; ++v) {
    for (uint32_t h = 0; h < map.pointsH; ++h) {
      const double dx = left + h * map.spacingH * map.right - centreX, dy = top + v * map.spacingV * map.bottom - centreY;
      map.gains.push_back(float(1 / (1 - kSceneVignetting * (dx * dx + dy * dy) / cornerSquared)));
    }
  }
  for (uint32_t phase = 0; phase < 4; ++phase) {
    map.top = phase / 2;
    map.left = phase % 2;
    dng->opcodeList2.Add(map);
  }
}

DngWarp LensWarp(bool full) {
  DngWarp warp;
  warp.planes = {{1.0, -0.030, 0.006, 0, 0, 0}};
  if (full) warp.planes = {{1.0, -0.030, 0.006, -0.001, 0.0004, -0.0003}};
  return warp;
}

/// A strip or tile that leaves the picture repeats the last column and row there, which costs the fewest bits.
std::vector<uint16_t> CutRepeatingEdges(const DngDescription& dng, const std::vector<uint16_t>& samples, const DngBlock& block) {
  std::vector<uint16_t> cut;
  cut.reserve(size_t(block.width) * block.height);
  for (uint32_t y = 0; y < block.height; ++y) {
    const uint16_t* row = samples.data() + size_t(std::min(block.y + y, dng.height - 1)) * dng.width;
    for (uint32_t x = 0; x < block.width; ++x) cut.push_back(row[std::min(block.x + x, dng.width - 1)]);
  }
  return cut;
}

std::vector<uint8_t> EncodeBlock(const SceneDngOptions& options, const DngDescription& dng, const std::vector<uint16_t>& samples,
                                 const DngBlock& block) {
  Lj92Format format;
  format.samplesPerLine = int(block.width) / options.components;
  format.lines = int(block.height);
  format.components = options.components;
  format.precision = options.bits;
  format.predictor = options.predictor;
  const bool whole = block.x + block.width <= dng.width && block.y + block.height <= dng.height;
  if (whole) return WriteLj92(samples.data() + size_t(block.y) * dng.width + block.x, dng.width, format);
  return WriteLj92(CutRepeatingEdges(dng, samples, block).data(), block.width, format);
}

bool IsBayer(const std::array<uint8_t, 4>& cfa) {
  const bool greenFirst = cfa[0] == 1;
  const uint8_t a = greenFirst ? cfa[1] : cfa[0], b = greenFirst ? cfa[2] : cfa[3];
  const bool greensMeetDiagonally = greenFirst ? cfa[3] == 1 : cfa[1] == 1 && cfa[2] == 1;
  return greensMeetDiagonally && ((a == 0 && b == 2) || (a == 2 && b == 0));
}

bool AreasFit(const SceneDngOptions& options) {
  double width = options.width, height = options.height;
  if (options.activeArea) {
    const auto [top, left, bottom, right] = *options.activeArea;
    if (top >= bottom || left >= right || bottom > uint32_t(options.height) || right > uint32_t(options.width)) return false;
    width = right - left;
    height = bottom - top;
  }
  if (!options.crop) return true;
  const auto [x, y, cropWidth, cropHeight] = *options.crop;
  return x >= 0 && y >= 0 && cropWidth >= 1 && cropHeight >= 1 && x + cropWidth <= width && y + cropHeight <= height;
}

}  // namespace

std::string CheckSceneDng(const SceneDngOptions& o) {
  const auto within = [](int value, int low, int high) { return value >= low && value <= high; };
  const bool tiled = o.tileWidth != 0 || o.tileLength != 0;
  const struct {
    bool holds;
    const char* otherwise;
  } rules[] = {
      {within(o.width, 16, 16384) && within(o.height, 16, 16384), "width and height must be 16 to 16384"},
      {within(o.bits, 8, 16) && o.bits % 2 == 0, "bits must be 8, 10, 12, 14 or 16"},
      {IsBayer(o.cfa), "the CFA pattern must be one of RGGB, GRBG, GBRG and BGGR"},
      {within(o.predictor, 1, 7), "the predictor must be 1 to 7"},
      {within(o.components, 1, 2), "components must be 1 or 2"},
      {o.stripRows >= 0 && !(tiled && o.stripRows > 0), "choose strips or tiles, not both"},
      {!tiled || (within(o.tileWidth, 16, 16384) && within(o.tileLength, 16, 16384) && o.tileWidth % 16 == 0 && o.tileLength % 16 == 0),
       "tile sizes must be multiples of 16, at most 16384"},
      {!o.losslessJpeg || tiled || o.width % o.components == 0, "two components need an even width"},
      {o.fullWarpEvery >= 0, "the distance of full warps must not be negative"},
      {AreasFit(o), "the active area must lie in the picture and the crop in the active area"},
  };
  for (const auto& rule : rules) {
    if (!rule.holds) return rule.otherwise;
  }
  return {};
}

DngDescription DescribeSceneFrame(const SceneDngOptions& options, int frameIndex) {
  DngDescription dng;
  dng.bigEndian = options.bigEndian;
  dng.width = uint32_t(options.width);
  dng.height = uint32_t(options.height);
  dng.bitsPerSample = uint32_t(options.bits);
  dng.compression = options.losslessJpeg ? 7 : 1;
  dng.rowsPerStrip = uint32_t(options.stripRows);
  dng.tileWidth = uint32_t(options.tileWidth);
  dng.tileLength = uint32_t(options.tileLength);
  dng.cfa = options.cfa;
  dng.black = std::vector<double>(4, SceneBlack(options.bits));
  dng.blackRows = dng.blackCols = 2;
  dng.white = (1u << options.bits) - 1;
  dng.activeArea = options.activeArea;
  dng.crop = options.crop;
  if (options.colorTags) AddColor(options, &dng);
  if (options.gainMap) AddGainMaps(options, &dng);
  const int every = options.fullWarpEvery;
  if (options.warp) dng.opcodeList3.Add(LensWarp(every > 0 && frameIndex % every == every - 1));
  dng.make = "qorixcam";
  dng.model = "Sample Camera";
  dng.uniqueCameraModel = "qorixcam Sample Camera";
  dng.software = "qorix-sample";
  dng.reelName = options.reelName;
  dng.exif = DngExif{.exposureTime = 0.02, .fNumber = 1.8, .focalLength = 5.6, .iso = 100, .lensModel = "Sample Lens 5.6 mm f/1.8"};
  return dng;
}

std::vector<uint16_t> SceneSamples(const SceneDngOptions& options, int frameIndex) {
  if (frameIndex == options.flashFrame) {
    return std::vector<uint16_t>(size_t(options.width) * size_t(options.height), uint16_t((1 << options.bits) - 1));
  }
  // The scene is RGGB; the other patterns begin one column or row later.
  const bool redBelow = options.cfa[2] == 0 || options.cfa[3] == 0, redRight = options.cfa[1] == 0 || options.cfa[3] == 0;
  const int skipX = redRight ? 1 : 0, skipY = redBelow ? 1 : 0;
  const int width = options.width + skipX, height = options.height + skipY;
  std::vector<uint16_t> scene = MakeNoisyMosaic(width, height, options.bits, SceneBlack(options.bits), options.seed, frameIndex);
  if (skipX == 0 && skipY == 0) return scene;
  std::vector<uint16_t> samples;
  samples.reserve(size_t(options.width) * options.height);
  for (int y = 0; y < options.height; ++y) {
    const auto row = scene.begin() + ptrdiff_t(y + skipY) * width + skipX;
    samples.insert(samples.end(), row, row + options.width);
  }
  return samples;
}

std::vector<uint8_t> EncodeSceneDng(const SceneDngOptions& options, const DngDescription& dng, const std::vector<uint16_t>& samples) {
  if (!options.losslessJpeg) return WriteDng(dng, samples);
  std::vector<std::vector<uint8_t>> streams;
  for (const DngBlock& block : DngBlocks(dng)) streams.push_back(EncodeBlock(options, dng, samples, block));
  return WriteDngStreams(dng, streams);
}

}  // namespace qx
