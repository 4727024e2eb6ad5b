#include "standin/frame_image.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/pixel_formats.h"

namespace standin {

namespace host = qx::host;

namespace {

uint16_t To16(double value) {
  return uint16_t(std::clamp(value, 0.0, 1.0) * 65535 + 0.5);
}

template <typename T>
T Load(const uint8_t* p) {
  T value;
  std::memcpy(&value, p, sizeof(value));
  return value;
}

// y, cb, cr in 0 … 1 and ±0.5 (ITU-R BT.709).
void StoreYcc(double y, double cb, double cr, uint16_t* rgb) {
  const double r = y + 1.5748 * cr;
  const double b = y + 1.8556 * cb;
  const double g = (y - 0.2126 * r - 0.0722 * b) / 0.7152;
  rgb[0] = To16(r);
  rgb[1] = To16(g);
  rgb[2] = To16(b);
}

void ReadBgra8(const uint8_t* row, int32_t width, uint16_t* rgb) {
  for (int32_t x = 0; x < width; ++x) {
    for (int c = 0; c < 3; ++c) rgb[3 * x + c] = uint16_t(row[4 * x + 2 - c] * 257);
  }
}

void ReadBgra16(const uint8_t* row, int32_t width, uint16_t* rgb) {
  for (int32_t x = 0; x < width; ++x) {
    for (int c = 0; c < 3; ++c) rgb[3 * x + c] = To16(Load<uint16_t>(row + 8 * x + 2 * (2 - c)) / 32768.0);
  }
}

void ReadBgraFloat(const uint8_t* row, int32_t width, uint16_t* rgb) {
  for (int32_t x = 0; x < width; ++x) {
    for (int c = 0; c < 3; ++c) rgb[3 * x + c] = To16(double(Load<float>(row + 16 * x + 4 * (2 - c))));
  }
}

void ReadVuyaFloat(const uint8_t* row, int32_t width, uint16_t* rgb) {
  for (int32_t x = 0; x < width; ++x) {
    const uint8_t* p = row + 16 * x;
    StoreYcc(double(Load<float>(p + 8)), double(Load<float>(p + 4)), double(Load<float>(p)), rgb + 3 * x);
  }
}

void ReadUyvy(const uint8_t* row, int32_t width, uint16_t* rgb) {
  for (int32_t x = 0; x < width; ++x) {
    const uint8_t* pair = row + 4 * (x / 2);
    StoreYcc((pair[1 + 2 * (x & 1)] - 16) / 219.0, (pair[0] - 128) / 224.0, (pair[2] - 128) / 224.0, rgb + 3 * x);
  }
}

void ReadV210(const uint8_t* row, int32_t width, uint16_t* rgb) {
  // Twelve 10-bit values in four words: Cb0 Y0 Cr0 | Y1 Cb2 Y2 | Cr2 Y3 Cb4 | Y4 Cr4 Y5.
  static constexpr int kY[6] = {1, 3, 5, 7, 9, 11}, kCb[3] = {0, 4, 8}, kCr[3] = {2, 6, 10};
  for (int32_t x = 0; x < width; ++x) {
    const uint8_t* group = row + 16 * (x / 6);
    const auto value = [&](int i) { return int(Load<uint32_t>(group + 4 * (i / 3)) >> (10 * (i % 3)) & 1023); };
    const int at = x % 6;
    StoreYcc((value(kY[at]) - 64) / 876.0, (value(kCb[at / 2]) - 512) / 896.0, (value(kCr[at / 2]) - 512) / 896.0, rgb + 3 * x);
  }
}

bool IsTopDown(uint32_t format) {
  return format == host::kUyvy709 || format == host::kV210_709;
}

}  // namespace

RgbImage ImageOfFrame(const FrameView& frame) {
  RgbImage image;
  image.width = frame.width;
  image.height = frame.height;
  image.rgb.resize(size_t(frame.width) * size_t(frame.height) * 3);
  for (int32_t y = 0; y < frame.height; ++y) {
    const int32_t stored = IsTopDown(frame.pixelFormat) ? y : frame.height - 1 - y;
    const uint8_t* row = frame.pixels + int64_t(stored) * frame.rowBytes;
    uint16_t* rgb = image.rgb.data() + size_t(y) * size_t(frame.width) * 3;
    switch (frame.pixelFormat) {
      case host::kBgra8:
        ReadBgra8(row, frame.width, rgb);
        break;
      case host::kBgra16:
        ReadBgra16(row, frame.width, rgb);
        break;
      case host::kBgraFloat:
      case host::kBgraLinear:
        ReadBgraFloat(row, frame.width, rgb);
        break;
      case host::kVuyaFloat709:
        ReadVuyaFloat(row, frame.width, rgb);
        break;
      case host::kUyvy709:
        ReadUyvy(row, frame.width, rgb);
        break;
      case host::kV210_709:
        ReadV210(row, frame.width, rgb);
        break;
      default:
        break;
    }
  }
  return image;
}

std::vector<uint8_t> RawBytesOfFrame(const FrameView& frame) {
  const size_t rowSize = size_t(MinimumRowBytes(frame.pixelFormat, frame.width));
  std::vector<uint8_t> bytes(rowSize * size_t(frame.height));
  for (int32_t y = 0; y < frame.height; ++y)
    std::memcpy(bytes.data() + rowSize * size_t(y), frame.pixels + int64_t(y) * frame.rowBytes, rowSize);
  return bytes;
}

}  // namespace standin
