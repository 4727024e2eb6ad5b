// Camera data of a frame as an in-memory TIFF, so that both container kinds reach development through the same parser.
#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <string_view>

#include "media/dng_parser.h"
#include "qorix/exif_tags.h"
#include "qorix/tag_inputs.h"
#include "qorix/tiff_block.h"

namespace qx {

namespace {

constexpr size_t kMatrixBytes = 72;  // nine signed rationals

void AddStructure(const FrameHead& head, uint32_t bitsPerSample, TiffBlock* block) {
  block->Long(254, {0});                               // NewSubFileType
  block->Long(256, {head.width});                      // ImageWidth
  block->Long(257, {head.height});                     // ImageLength
  block->Short(258, {uint16_t(bitsPerSample)});        // BitsPerSample
  block->Short(259, {1});                              // Compression
  block->Short(262, {32803});                          // PhotometricInterpretation: CFA
  block->Short(266, {1});                              // FillOrder
  block->Ascii(270, "");                               // ImageDescription
  block->Long(273, {8});                               // StripOffsets: the samples are not part of the block
  block->Short(277, {1});                              // SamplesPerPixel
  block->Long(278, {head.height});                     // RowsPerStrip
  block->Long(279, {0});                               // StripByteCounts
  block->Short(284, {1});                              // PlanarConfiguration: chunky
  block->Rationals(282, std::array{Rational{72, 1}});  // XResolution
  block->Rationals(283, std::array{Rational{72, 1}});  // YResolution
  block->Short(296, {2});                              // ResolutionUnit: inch
  block->Ascii(33432, "");                             // Copyright
  block->Byte(50706, {1, 4, 0, 0});                    // DNGVersion
  block->Byte(50707, {1, 1, 0, 0});                    // DNGBackwardVersion
}

void AddNames(const TagInputs& inputs, TiffBlock* block) {
  struct Row {
    uint16_t tag;
    Item item;
  };
  for (const Row& row :
       {Row{271, Item::MAKE}, Row{272, Item::MODEL}, Row{305, Item::SOFTWARE}, Row{50708, Item::UNIQUE_MODEL}, Row{51081, Item::REEL}}) {
    if (const auto value = inputs.Static(row.item, 1)) block->Ascii(row.tag, TextOf(*value));
  }
  const int16_t rotation = inputs.header().rotationDegrees;
  block->Short(274, {uint16_t(rotation == 90 ? 6 : rotation == 180 ? 3 : rotation == 270 ? 8 : 1)});  // Orientation
}

void AddLevels(const FrameLevels& levels, TiffBlock* block) {
  static constexpr uint8_t kPatterns[4][4] = {{0, 1, 1, 2}, {1, 0, 2, 1}, {1, 2, 0, 1}, {2, 1, 1, 0}};
  const uint8_t* p = kPatterns[levels.pattern];
  block->Short(33421, {2, 2});                   // CFARepeatPatternDim
  block->Byte(33422, {p[0], p[1], p[2], p[3]});  // CFAPattern
  block->Byte(50710, {0, 1, 2});                 // CFAPlaneColor
  block->Short(50711, {1});                      // CFALayout
  if (!levels.linearization.empty()) block->Short(50712, levels.linearization);
  std::array<Rational, 4> black;
  std::transform(levels.black.begin(), levels.black.end(), black.begin(), ToRational);
  block->Short(50713, {2, 2});         // BlackLevelRepeatDim
  block->Rationals(50714, black);      // BlackLevel
  block->Long(50717, {levels.white});  // WhiteLevel
}

void AddAreas(const FieldGeometry& field, TiffBlock* block) {
  const bool cropFits = field.cropWidth <= field.frameWidth && field.cropHeight <= field.frameHeight;
  const auto width = uint32_t(cropFits ? std::max(field.cropWidth, 0) : field.frameWidth);
  const auto height = uint32_t(cropFits ? std::max(field.cropHeight, 0) : field.frameHeight);
  block->Rationals(50718, std::array{Rational{1, 1}, Rational{1, 1}});                                         // DefaultScale
  block->Long(50719, {(uint32_t(field.frameWidth) - width) / 2, (uint32_t(field.frameHeight) - height) / 2});  // DefaultCropOrigin
  block->Long(50720, {width, height});                                                                         // DefaultCropSize
  block->Long(50829, {0, 0, uint32_t(std::min(field.frameHeight, field.fieldHeight0)),
                      uint32_t(std::min(field.frameWidth, field.fieldWidth0))});  // ActiveArea
}

void AddMatrices(const TagInputs& inputs, TiffBlock* block) {
  struct Row {
    uint16_t tag;
    Item item;
  };
  for (const Row& row : {Row{50721, Item::COLOR_MATRIX1}, Row{50722, Item::COLOR_MATRIX2}, Row{50723, Item::CALIBRATION1},
                         Row{50724, Item::CALIBRATION2}, Row{50964, Item::FORWARD_MATRIX1}, Row{50965, Item::FORWARD_MATRIX2}}) {
    const std::optional<Bytes> value = inputs.Static(row.item, kMatrixBytes);
    if (!value) continue;
    std::array<SignedRational, 9> matrix;
    for (size_t i = 0; i < matrix.size(); ++i) {
      matrix[i] = {int32_t(LoadU32Le(value->data() + 8 * i)), int32_t(LoadU32Le(value->data() + 8 * i + 4))};
    }
    block->SignedRationals(row.tag, matrix);
  }
  if (const auto value = inputs.Static(Item::ILLUMINANTS, 4)) {
    block->Short(50778, {LoadU16Le(value->data())});
    block->Short(50779, {LoadU16Le(value->data() + 2)});
  }
}

// The frame's neutral, else one from its white-balance gains, else a plausible daylight.
std::array<Rational, 3> NeutralOf(const TagInputs& inputs) {
  if (const auto item = inputs.Dynamic(Item::NEUTRAL, 24)) {
    std::array<Rational, 3> neutral;
    for (size_t i = 0; i < 3; ++i) neutral[i] = {LoadU32Le(item->data() + 8 * i), LoadU32Le(item->data() + 8 * i + 4)};
    return neutral;
  }
  if (const auto item = inputs.Dynamic(Item::WB_GAINS, 16)) {
    std::array<double, 4> gain;
    for (size_t i = 0; i < 4; ++i) gain[i] = double(LoadF32Le(item->data() + 4 * i));
    if (std::all_of(gain.begin(), gain.end(), [](double g) { return g > 0; })) {
      const double green = (1 / gain[1] + 1 / gain[2]) / 2;
      return {ToRational(1 / gain[0] / green), Rational{1, 1}, ToRational(1 / gain[3] / green)};
    }
  }
  return {ToRational(0.5493230223655701), Rational{1, 1}, ToRational(0.8021439909934998)};
}

void AddColor(const TagInputs& inputs, TiffBlock* block) {
  AddMatrices(inputs, block);
  block->Rationals(50728, NeutralOf(inputs));  // AsShotNeutral
  double exposure = 0;
  if (const auto item = inputs.Dynamic(Item::POST_RAW_BOOST, 4)) {
    const auto boost = int32_t(LoadU32Le(item->data()));
    if (boost > 0 && boost != 100) exposure = std::log2(boost / 100.0);
  }
  block->SignedRationals(50730, std::array{ToSignedRational(exposure)});  // BaselineExposure
}

void AddTime(const TagInputs& inputs, TiffBlock* block) {
  if (const auto code = FrameTimecode(inputs)) {
    const auto& c = *code;
    block->Byte(51043, {c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7]});  // TimeCodes
  }
  const RecordingHeader& header = inputs.header();
  const auto clamped = [](uint32_t value) { return int32_t(std::min<uint32_t>(value, INT32_MAX)); };
  block->SignedRationals(51044, std::array{SignedRational{clamped(header.playbackNumerator), clamped(header.playbackDenominator)}});
}

void AddOpcodes(const TagInputs& inputs, const FieldGeometry& field, const FrameLevels& levels, TiffBlock* block) {
  if (const auto seq = inputs.Dynamic(Item::SHADING_SEQ, 4)) {
    const Bytes map = find_blob(&inputs.scan, kBlobShadingMap, LoadU32Le(seq->data()));
    const std::vector<uint8_t> list = MakeGainMapList(map, field, levels.pattern);
    if (!list.empty()) block->Undefined(51009, list);  // OpcodeList2
  }
  const std::vector<uint8_t> warp = MakeLensWarpList(inputs, field, levels.white);
  if (!warp.empty()) block->Undefined(51022, warp);  // OpcodeList3
}

const CameraModule* ModuleOf(RecordingScan* scan, CameraModules* modules, const FrameMeta& meta) {
  const std::optional<Bytes> id = frame_meta_find(meta, Item::PHYS_ID);
  return id ? modules->Find(scan, *id) : nullptr;
}

}  // namespace

std::string_view TextOf(Bytes value) {
  value = WithoutTrailingNuls(value);
  return {reinterpret_cast<const char*>(value.data()), value.size()};
}

int build_frame_tags(RecordingScan* scan, CameraModules* modules, DecodedFrame* frame) {
  frame->hasTags = false;
  const Message message = frame->message.view();
  if (!scan->header.present) {
    message.Set("no header (neither original nor copy): camera static data unknown, tags cannot be built");
    return 0;
  }
  const TagInputs inputs{*scan, ModuleOf(scan, modules, frame->meta), *frame};
  if (const uint8_t cfa = CfaCodeOf(inputs); cfa > 3) {
    message.Set("CFA %u is not Bayer (RGB/MONO/NIR): tags are not built", unsigned(cfa));
    return 0;
  }
  const FieldGeometry field = ComputeFieldGeometry(inputs);
  frame->fieldIsCropped = field.fieldIsCropped();
  try {
    const FrameLevels levels = ComputeFrameLevels(inputs);
    TiffBlock block;
    AddStructure(frame->head, levels.bitsPerSample, &block);
    AddNames(inputs, &block);
    AddLevels(levels, &block);
    AddAreas(field, &block);
    AddColor(inputs, &block);
    AddOpcodes(inputs, field, levels, &block);
    AddTime(inputs, &block);
    AddExifTags(inputs, &block);
    AddGpsTags(inputs, &block);
    frame->tags = std::move(block).Build();
  } catch (const std::bad_alloc&) {
    return message.Fail("out of memory (tags)");
  }
  MessageBuffer<160> parserMessage;
  if (dng_parse(frame->tags, &frame->dng, parserMessage) != 0) {
    message.Set("tags not parsed: %s", parserMessage.text());
    return 0;
  }
  frame->hasTags = true;
  return 0;
}

}  // namespace qx
