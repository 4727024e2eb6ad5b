// Frame requests of the host: which format, which size, whose buffer.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/records.h"
#include "importer/importer_clip.h"
#include "importer/importer_settings.h"

namespace qx {

/// The format that the importer offers at `index`, for an output kind (or without a clip: S-Log3); nothing past the end.
std::optional<uint32_t> OfferedFormat(const ImporterSettings& settings, OutputKind kind, size_t index);

/// What the host's list of accepted formats comes down to.
struct FormatChoice {
  uint32_t format = 0;
  uint32_t bgraFallback = 0;  // first accepted BGRA format, 0 for none
  int32_t askedWidth = 0, askedHeight = 0;
};
FormatChoice ChooseFormat(std::span<const host::FrameFormat> accepted, uint32_t defaultFormat);

/// FourCCs of the first 12 entries, for the log.
std::string FormatListText(std::span<const host::FrameFormat> accepted);

/// Size level of a request: smaller sizes only for the intents that show rather than export.
int32_t ChooseSizeLevel(const ClipInfo& info, int32_t intent, int32_t askedWidth, int32_t askedHeight);

/// Has the host make a buffer and develops the frame into it. 0 delivered, 4 no buffer, 5 no place for it in the request, 28 the frame
/// could not be produced (the buffer is then disposed of). Any number of host threads; no lock is held while the frame develops.
int32_t DeliverFrame(ImporterClip* clip, host::SourceVideoRec* request, bool async);

}  // namespace qx
