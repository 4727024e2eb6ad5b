// Numbered metadata items of a recording: static, per camera module, and per frame with keyframes and deltas.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"
#include "qorix/recording_scan.h"

namespace qx {

/// Items that the reader uses. Below 0x1000: per frame.
enum class Item : uint16_t {
  EXPOSURE_NS = 0x0001,
  ISO = 0x0003,
  POST_RAW_BOOST = 0x0004,
  DYN_BLACK = 0x0005,
  DYN_WHITE = 0x0006,
  NEUTRAL = 0x0007,
  WB_GAINS = 0x0008,
  NOISE_PROFILE = 0x000A,
  FOCAL_LEN = 0x000E,
  APERTURE = 0x000F,
  INTRINSICS = 0x0011,
  DISTORTION = 0x0012,
  MODES = 0x0015,
  SHADING_SEQ = 0x0016,
  PHYS_ID = 0x001B,
  EV_COMP = 0x001C,
  GPS = 0x001F,
  RADIAL_DISTORTION = 0x0021,
  MAKE = 0x1001,
  MODEL = 0x1002,
  SOFTWARE = 0x1005,
  PHYS_CAMERA_ID = 0x1007,
  UNIQUE_MODEL = 0x1008,
  REEL = 0x1009,
  CAMERA_NAME = 0x100B,
  DISTORTION_CORR = 0x100C,
  RAW_TYPE = 0x100D,
  COLOR_MATRIX1 = 0x1010,
  COLOR_MATRIX2 = 0x1011,
  FORWARD_MATRIX1 = 0x1012,
  FORWARD_MATRIX2 = 0x1013,
  CALIBRATION1 = 0x1014,
  CALIBRATION2 = 0x1015,
  ILLUMINANTS = 0x1016,
  STATIC_INTRINSICS = 0x1025,
  STATIC_DISTORTION = 0x1026,
  AUDIO = 0x1030,
  AUDIO_PLAY = 0x1031,
  TIMECODE = 0x1050,
  GPS_START = 0x1060,
  RESIZE = 0x1070,
  MODULE_CFA = 0x1080,
  MODULE_ARRAYS = 0x1081,
  MODULE_LEVELS = 0x1082,
};

/// Calls visit(id, value) for each whole item of a list; a truncated item ends it.
template <typename Visit>
void ForEachItem(Bytes list, Visit&& visit) {
  ByteReader reader(list);
  while (reader.remaining() >= 4) {
    const uint16_t id = reader.U16Le();
    const uint16_t length = reader.U16Le();
    const Bytes value = reader.Take(length);
    if (!reader.ok()) return;
    visit(id, value);
    reader.Skip((4 - length % 4) % 4);  // a missing padding ends the list at the next test
  }
}

/// A string item without the NUL bytes at its end.
Bytes WithoutTrailingNuls(Bytes text);

/// The last item with that id in a list; nothing when there is none. An item of length 0 is found (empty value).
std::optional<Bytes> FindItem(Bytes list, Item id);
/// The same in the recording's static list.
std::optional<Bytes> recording_find_meta(const RecordingScan& scan, Item id);

constexpr uint16_t kBlobShadingMap = 1;
constexpr uint16_t kBlobCameraModule = 6;

/// One camera module of the recording; owns its list.
struct CameraModule {
  std::vector<uint8_t> list;
  Bytes physicalId, cfa, arrays, levels;  // views into the list, empty when absent
};

/// The recording's camera modules, read from their blobs at the first use.
class CameraModules {
 public:
  /// The module of a physical camera id (trailing NUL bytes do not count), or null; valid as long as this object.
  const CameraModule* Find(RecordingScan* scan, Bytes physicalId);

 private:
  bool built_ = false;
  std::vector<CameraModule> modules_;
};

/// The module's own item, else the static one; those with fewer than `minimumBytes` do not count. `module` may be null.
std::optional<Bytes> module_find_meta(const RecordingScan& scan, const CameraModule* module, Item id, size_t minimumBytes = 0);

/// Payload of a blob, empty when there is none. Valid until the scan's next read.
Bytes find_blob(RecordingScan* scan, uint16_t kind, uint32_t seq);

enum class FrameMetaStatus : int32_t { kNone = 0, kComplete = 1, kReconstructed = 2 };

/// Metadata of one frame, delta merged into its keyframe. Reused from frame to frame.
struct FrameMeta {
  struct Entry {
    uint16_t id = 0;
    Bytes value;  // into `bodies`
  };
  FrameMetaStatus status = FrameMetaStatus::kNone;
  std::vector<Entry> items;  // sorted by id
  std::vector<uint8_t> bodies;
};

FrameMetaStatus frame_meta_read(RecordingScan* scan, uint32_t frameNumber, FrameMeta* meta);
std::optional<Bytes> frame_meta_find(const FrameMeta& meta, Item id);
void frame_meta_free(FrameMeta* meta);

}  // namespace qx
