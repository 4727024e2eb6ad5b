#include "tests/gpu_support/gpu_images.h"

namespace qx {

namespace {

template <typename T>
std::vector<T> Read(GpuFixture& gpu, const GlImage2D& image, GLenum format, GLenum type, size_t channels) {
  const auto lookup = [&](const char* name) { return gpu.driver().Function(name); };
  const auto getTexImage = LookUpGlFunction<PFNGLGETTEXIMAGEPROC>(lookup, "glGetTexImage");
  std::vector<T> values(size_t(image.width()) * size_t(image.height()) * channels);
  gl.BindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  gl.PixelStorei(GL_PACK_ALIGNMENT, 4);
  BindTexture(0, GL_TEXTURE_2D, image.name());
  getTexImage(GL_TEXTURE_2D, 0, format, type, values.data());
  return values;
}

}  // namespace

std::vector<uint32_t> ReadIntegers(GpuFixture& gpu, const GlImage2D& image) {
  return Read<uint32_t>(gpu, image, GL_RED_INTEGER, GL_UNSIGNED_INT, 1);
}

std::vector<float> ReadRgb(GpuFixture& gpu, const GlImage2D& image) {
  return Read<float>(gpu, image, GL_RGB, GL_FLOAT, 3);
}

}  // namespace qx
