// The pixel formats of the host that the importer can deliver.
#pragma once

#include <cstdint>

#include "develop/pixel_format.h"
#include "host/pixel_formats.h"

namespace qx {

struct HostFormat {
  uint32_t fourCC;
  OutputPixelFormat output;
  bool bgra;  // the others are YUV
};

constexpr HostFormat kHostFormats[] = {
    {host::kBgra16, OutputPixelFormat::kBgra16, true},           {host::kBgraFloat, OutputPixelFormat::kBgraFloat, true},
    {host::kBgraLinear, OutputPixelFormat::kBgraFloat, true},    {host::kBgra8, OutputPixelFormat::kBgra8, true},
    {host::kUyvy709, OutputPixelFormat::kUyvy, false},           {host::kV210_709, OutputPixelFormat::kV210, false},
    {host::kVuyaFloat709, OutputPixelFormat::kVuyaFloat, false},
};

/// Null for a format that is not known.
constexpr const HostFormat* FindHostFormat(uint32_t fourCC) {
  for (const HostFormat& format : kHostFormats) {
    if (format.fourCC == fourCC) return &format;
  }
  return nullptr;
}

}  // namespace qx
