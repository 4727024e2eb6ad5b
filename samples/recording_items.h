// What a recording of the synthetic scene says about itself: its metadata items, shading maps and sound.
#pragma once

#include <cstdint>

#include "samples/qorix_items.h"
#include "samples/recording_maker.h"

namespace qx {

/// Items of the recording. `options` has its header filled.
QorixItemList SceneStaticItems(const QorixRecordingOptions& options);
/// Items of camera module 0 (id "0") or 1 (id "2", with names of its own).
QorixItemList SceneModuleItems(const QorixRecordingOptions& options, uint32_t module);
/// Items of the frame of a slot. ISO changes every fifth frame; EV_COMP is there in every other pair of frames only, so that deltas change,
/// add and delete.
QorixItemList SceneFrameItems(const QorixRecordingOptions& options, int64_t slot);

}  // namespace qx
