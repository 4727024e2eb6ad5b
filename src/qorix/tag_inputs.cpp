#include "qorix/tag_inputs.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "platform/environment.h"

namespace qx {

namespace {

int32_t LoadI32(Bytes value, size_t index) {
  return int32_t(LoadU32Le(value.data() + 4 * index));
}

struct SensorArrays {
  int32_t width, height;
  RectU16 field, crop;
};

SensorArrays ArraysOf(const TagInputs& inputs) {
  const RecordingHeader& header = inputs.header();
  if (inputs.module == nullptr || inputs.module->arrays.size() < 20) {
    return {header.sensorWidth, header.sensorHeight, header.rectangle1, header.rectangle2};
  }
  const auto value = [&](size_t i) { return LoadU16Le(inputs.module->arrays.data() + 2 * i); };
  return {value(0), value(1), {value(2), value(3), value(4), value(5)}, {value(6), value(7), value(8), value(9)}};
}

int32_t RoundDownTo4(int32_t value) {
  return value / 4 * 4;
}
int32_t RoundTo4(double value) {
  return int32_t(std::min(std::floor(value / 4 + 0.5) * 4, 1e9));
}

// Scales the field to the frame's pixels so that it covers the frame: one side equal, the other at least as long.
void ScaleFieldToFrame(FieldGeometry* field) {
  const double byWidth = double(field->frameWidth) / std::max(field->fieldWidth0, 1);
  const double byHeight = double(field->frameHeight) / std::max(field->fieldHeight0, 1);
  if (byWidth >= byHeight) {
    field->fieldWidth = field->frameWidth;
    field->fieldHeight = RoundTo4(field->fieldHeight0 * byWidth);
  } else {
    field->fieldWidth = RoundTo4(field->fieldWidth0 * byHeight);
    field->fieldHeight = field->frameHeight;
  }
}

double Mean(const std::array<double, 4>& values) {
  return (values[0] + values[1] + values[2] + values[3]) / 4;
}

// How much finer the frame's levels are than the static ones, as a power of two.
int LevelShift(double ratio) {
  for (const int shift : {4, 3, 2, 1}) {
    if (std::fabs(ratio / (1 << shift) - 1) < 0.05) return shift;
  }
  return 0;
}

std::array<double, 4> ShiftWithOrigin(const std::array<double, 4>& sensor, const FrameHead& head) {
  std::array<double, 4> shifted;
  for (size_t i = 0; i < 4; ++i) shifted[i] = sensor[i ^ (head.left & 1u) ^ ((head.top & 1u) << 1)];
  return shifted;
}

void StaticLevels(const TagInputs& inputs, std::array<double, 4>* black, int64_t* white) {
  const RecordingHeader& header = inputs.header();
  *white = header.white;
  for (size_t i = 0; i < 4; ++i) (*black)[i] = header.black[i];
  if (inputs.module != nullptr && inputs.module->levels.size() >= 20) {
    *white = LoadI32(inputs.module->levels, 0);
    for (size_t i = 0; i < 4; ++i) (*black)[i] = LoadI32(inputs.module->levels, i + 1);
  }
  if (*white <= 0) *white = 1023;
}

uint32_t BitsOfTable(size_t entries) {
  for (const uint32_t bits : {8u, 10u, 12u, 14u}) {
    if (entries <= size_t(1) << bits) return bits;
  }
  return 16;
}

void ApplyConditionalMeans(const DecodedFrame& frame, int64_t white, FrameLevels* levels) {
  const double scale = double(1 << std::clamp(frame.table->shift, 0, 15));
  for (double& black : levels->black) black *= scale;
  const int64_t top = frame.head.table.p88 != 0 ? frame.head.table.p88 : white;
  levels->white = uint32_t(std::min(double(top) * scale, 65535.0));
  levels->bitsPerSample = BitsOfTable(frame.table->lut.size());
  levels->linearization = frame.table->lut;
}

void ApplyBitDepthTable(const DecodedFrame& frame, FrameLevels* levels) {
  levels->bitsPerSample = uint32_t(std::clamp(frame.table->bitDepth, 1, 16));
  const uint32_t top = (1u << levels->bitsPerSample) - 1;
  if (levels->white <= top) return;
  for (double& black : levels->black) black = std::round(black * top / levels->white);
  levels->white = top;
}

void ApplyRawType(const TagInputs& inputs, FrameLevels* levels) {
  const std::optional<Bytes> item = inputs.Static(Item::RAW_TYPE, 1);
  if (!item || ((*item)[0] & 0xF8) != 8) return;
  const uint32_t bits = (*item)[0];
  if (levels->white >= 1u << bits) return;
  levels->bitsPerSample = bits;
  levels->linearization.resize(size_t(1) << bits);
  for (size_t i = 0; i < levels->linearization.size(); ++i) levels->linearization[i] = uint16_t(i);
}

uint32_t LeastBitsPerSample() {
  static const uint32_t bits = [] {
    const int value = std::atoi(ReadEnvironment("QORIX_DNG_MIN_BITS", 16).value_or("0").c_str());
    return value >= 8 && value <= 16 ? uint32_t(value) : 0;
  }();
  return bits;
}

}  // namespace

std::optional<Bytes> TagInputs::Dynamic(Item id, size_t bytes) const {
  const std::optional<Bytes> value = frame_meta_find(frame.meta, id);
  return value && value->size() >= bytes ? value : std::nullopt;
}

std::optional<Bytes> TagInputs::Static(Item id, size_t bytes) const {
  return module_find_meta(scan, module, id, bytes);
}

FieldGeometry ComputeFieldGeometry(const TagInputs& inputs) {
  const SensorArrays arrays = ArraysOf(inputs);
  FieldGeometry field;
  field.frameWidth = inputs.frame.head.width;
  field.frameHeight = inputs.frame.head.height;
  int32_t width = arrays.field.right - arrays.field.left, height = arrays.field.bottom - arrays.field.top;
  if (width <= 0 || height <= 0) {
    width = arrays.width;
    height = arrays.height;
  }
  field.fieldWidth0 = field.fieldWidth = RoundDownTo4(width);
  field.fieldHeight0 = field.fieldHeight = RoundDownTo4(height);
  if (const auto resize = inputs.Static(Item::RESIZE, 1); resize && (*resize)[0] != 0) ScaleFieldToFrame(&field);

  field.cropWidth = arrays.crop.right - arrays.crop.left;
  field.cropHeight = arrays.crop.bottom - arrays.crop.top;
  if (field.cropWidth <= 0 || field.cropHeight <= 0) {
    field.cropWidth = width - 1;
    field.cropHeight = height - 1;
  }
  return field;
}

uint8_t CfaCodeOf(const TagInputs& inputs) {
  return inputs.module != nullptr && !inputs.module->cfa.empty() ? inputs.module->cfa[0] : inputs.header().cfaCode;
}

FrameLevels ComputeFrameLevels(const TagInputs& inputs) {
  const FrameHead& head = inputs.frame.head;
  FrameLevels levels;
  levels.pattern = int32_t(CfaCodeOf(inputs) ^ (head.left & 1u) ^ ((head.top & 1u) << 1));
  std::array<double, 4> black;
  int64_t white = 0;
  StaticLevels(inputs, &black, &white);
  int shift = 0;
  if (const auto item = inputs.Dynamic(Item::DYN_BLACK, 16)) {
    const double staticMean = Mean(black);
    for (size_t i = 0; i < 4; ++i) black[i] = double(LoadF32Le(item->data() + 4 * i));
    if (staticMean > 0) shift = LevelShift(Mean(black) / staticMean);
  }
  if (const auto item = inputs.Dynamic(Item::DYN_WHITE, 4); item && LoadI32(*item, 0) > 0) white = LoadI32(*item, 0);
  white = std::min<int64_t>(white << shift, 65535);
  levels.black = ShiftWithOrigin(black, head);
  levels.white = uint32_t(white);
  if (inputs.frame.tableMode == 1) {
    ApplyConditionalMeans(inputs.frame, white, &levels);
  } else if (inputs.frame.tableMode == 2) {
    ApplyBitDepthTable(inputs.frame, &levels);
  } else {
    ApplyRawType(inputs, &levels);
  }
  levels.bitsPerSample = std::max(levels.bitsPerSample, LeastBitsPerSample());
  return levels;
}

std::optional<std::array<uint8_t, 8>> FrameTimecode(const TagInputs& inputs) {
  const RecordingHeader& header = inputs.header();
  if (header.playbackDenominator == 0 || header.playbackNumerator == 0) return std::nullopt;
  const double rate = double(header.playbackNumerator) / header.playbackDenominator;
  const std::optional<Bytes> item = inputs.Static(Item::TIMECODE, 4);
  const size_t index = size_t(inputs.frame.frameIndex);
  const double slot = index < inputs.scan.frameSlots.size() ? double(inputs.scan.frameSlots[index]) : 0;
  const double x = slot + (item ? double(LoadU32Le(item->data())) : 0);
  const auto field = [](double value, int modulus) { return int(std::fmod(std::max(std::floor(value), 0.0), modulus)); };
  const auto bcd = [](int value) { return uint8_t(value / 10 << 4 | value % 10); };
  const int hours = field(x / (3600 * rate), 100) + (item ? 0 : 1);
  return std::array<uint8_t, 8>{bcd(field(std::fmod(x, rate), 100)), bcd(field(x / rate, 60)), bcd(field(x / (60 * rate), 60)),
                                bcd(hours % 100)};
}

}  // namespace qx
