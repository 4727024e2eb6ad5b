// FourCC codes of the host: pixel formats have the first character in the lowest byte, file types in the highest.
#pragma once

#include <cstdint>

namespace qx::host {

constexpr uint32_t PixelFourCC(const char (&text)[5]) {
  return uint32_t(uint8_t(text[0])) | uint32_t(uint8_t(text[1])) << 8 | uint32_t(uint8_t(text[2])) << 16 | uint32_t(uint8_t(text[3])) << 24;
}

constexpr uint32_t FileType(const char (&text)[5]) {
  return uint32_t(uint8_t(text[3])) | uint32_t(uint8_t(text[2])) << 8 | uint32_t(uint8_t(text[1])) << 16 | uint32_t(uint8_t(text[0])) << 24;
}

constexpr uint32_t kAnyPixelFormat = 0;
constexpr uint32_t kBgra8 = PixelFourCC("bgra");         // bottom row first
constexpr uint32_t kBgra16 = PixelFourCC("Bgra");        // white 32768, bottom row first
constexpr uint32_t kBgraFloat = PixelFourCC("BGra");     // bottom row first
constexpr uint32_t kBgraLinear = PixelFourCC("BGaL");    // float, linear, bottom row first
constexpr uint32_t kUyvy709 = PixelFourCC("uyv7");       // top row first
constexpr uint32_t kV210_709 = PixelFourCC("v211");      // top row first
constexpr uint32_t kVuyaFloat709 = PixelFourCC("vUYa");  // bottom row first

constexpr uint32_t kFileTypeQorix = FileType("QXPR");
constexpr uint32_t kFileTypeRawZip = FileType("QXZP");

static_assert(kBgra8 == 0x61726762 && kV210_709 == 0x31313276 && kFileTypeQorix == 0x51585052);

}  // namespace qx::host
