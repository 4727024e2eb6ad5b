#include "picture.h"

#include <png.h>
#include <setjmp.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include "host/pixel_formats.h"
#include "standin/frame_image.h"
#include "tools/common/paths.h"

namespace tool {

namespace {

namespace host = qx::host;

bool Is8Bit(uint32_t format) {
  return format == host::kBgra8 || format == host::kUyvy709;
}

// Big-endian 16-bit or plain 8-bit samples, as PNG and PPM store them.
std::vector<uint8_t> FileSamples(const standin::RgbImage& image, bool eightBit) {
  std::vector<uint8_t> samples;
  samples.reserve(image.rgb.size() * (eightBit ? 1 : 2));
  for (const uint16_t value : image.rgb) {
    samples.push_back(uint8_t(eightBit ? (value + 128) / 257 : value >> 8));
    if (!eightBit) samples.push_back(uint8_t(value));
  }
  return samples;
}

// libpng leaves through longjmp when something fails, so nothing in here has a destructor.
bool WritePng(std::FILE* file, const uint8_t* samples, int32_t width, int32_t height, bool eightBit) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file);
  png_set_compression_level(png, 1);
  png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), eightBit ? 8 : 16, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const size_t rowBytes = size_t(width) * (eightBit ? 3 : 6);
  for (int32_t y = 0; y < height; ++y) png_write_row(png, samples + rowBytes * size_t(y));
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

bool WriteAll(std::FILE* file, const std::vector<uint8_t>& bytes) {
  return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
}

bool WriteByExtension(std::FILE* file, const standin::FrameView& frame, const std::string& extension) {
  if (extension == ".raw") return WriteAll(file, standin::RawBytesOfFrame(frame));
  const bool eightBit = Is8Bit(frame.pixelFormat);
  const std::vector<uint8_t> samples = FileSamples(standin::ImageOfFrame(frame), eightBit);
  if (extension == ".png") return WritePng(file, samples.data(), frame.width, frame.height, eightBit);
  return std::fprintf(file, "P6\n%d %d\n%d\n", frame.width, frame.height, eightBit ? 255 : 65535) > 0 && WriteAll(file, samples);
}

}  // namespace

bool WritePicture(const standin::FrameView& frame, const std::string& path, std::string* error) {
  const std::string extension = PathOf(path).extension().string();
  if (extension != ".png" && extension != ".ppm" && extension != ".raw") {
    *error = path + ": the name must end in .png, .ppm or .raw";
    return false;
  }
  const std::filesystem::path partial = PathOf(path + ".part");
  std::FILE* const file = CreateBinaryFile(partial);
  if (file == nullptr) {
    *error = path + ": cannot create the file";
    return false;
  }
  const bool written = WriteByExtension(file, frame, extension);
  const bool closed = std::fclose(file) == 0;
  std::error_code failed;
  if (written && closed) std::filesystem::rename(partial, PathOf(path), failed);
  if (written && closed && !failed) return true;
  *error = path + ": " + (failed ? failed.message() : "write failed");
  std::error_code ignored;
  std::filesystem::remove(partial, ignored);
  return false;
}

}  // namespace tool
