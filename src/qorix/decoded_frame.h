// One frame of a recording: its head, its slices, its samples.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/grow_buffer.h"
#include "base/message.h"
#include "media/dng_info.h"
#include "platform/worker_pool.h"
#include "qorix/decoding_table.h"
#include "qorix/metadata.h"
#include "qorix/recording_scan.h"
#include "qorix/slice_codec.h"

namespace qx {

/// Fields of a frame chunk's head; those it does not cover are 0 (the table number 0xFFFFFFFF).
struct FrameHead {
  uint16_t width = 0, height = 0;
  uint16_t left = 0, top = 0;  // on the sensor
  uint8_t sampleShift = 0, mode = 0, coder = 0, predictor = 0, layout = 0;
  uint16_t flatThreshold = 0, sliceCount = 0, rowsPerSlice = 0;
  TableParameters table;
  bool hasSliceCrcs = false;
  uint8_t parts = 0;
  uint16_t boundary = 0;
};

enum SliceStatus : uint8_t {
  kSliceGood = 0,
  kSliceCrcMismatch = 1,
  kSliceOutside = 2,
  kSliceInconsistent = 3,
  kSliceStatusMask = 15,
  kSliceSubstituted = 16,
};

/// Reused between frames; buffers grow only. One thread at a time (decoding spreads over a pool by itself).
struct DecodedFrame {
  int32_t frameIndex = -1;
  const ChunkRecord* chunk = nullptr;
  FrameHead head;
  bool decodable = false;
  bool hasTags = false;
  MessageBuffer<200> message;

  // Slices: position relative to slice 0, size, stored CRC, status.
  uint64_t sliceDataOffset = 0;  // of slice 0 in the file
  uint64_t sliceDataSize = 0;    // sum of the sizes
  uint64_t availableSize = 0;    // up to the end of the chunk or the file, whichever is lower
  std::vector<uint64_t> sliceOffsets;
  std::vector<uint32_t> sliceSizes, sliceCrcs;
  std::vector<uint8_t> sliceStatus;

  int32_t tableMode = 0;  // 0 none, 1 codes stay codes, 2 applied by the decoder
  DecodingTablePtr table;

  FrameMeta meta;
  std::vector<uint8_t> tags;  // the in-memory TIFF
  DngInfo dng;                // parsed from it
  bool fieldIsCropped = false;

  GrowBuffer<uint16_t> samples;  // width × height
  GrowBuffer<uint8_t> sliceData;
  std::vector<SliceScratch> scratch;  // one per decoding task
  int32_t badSlices = 0, substitutedSlices = 0, outsideSlices = 0;
  double decodeMs = 0;  // spent in the last decode_slices
};

enum DecodeFlags : uint32_t { kDecodeUnmapped = 1, kDecodeSkipCrc = 2, kDecodeShiftOnly = 4 };

/// Reads and checks the head, prepares table and tags. 0 or -1 with frame->message; 0 with a message leaves the frame not decodable or
/// without tags.
[[nodiscard]] int frame_setup(RecordingScan* scan, int32_t frameIndex, TableCache* tables, CameraModules* modules, WorkerPool* pool,
                              DecodedFrame* frame);

/// Reads the head of a frame chunk alone; false when it cannot be read.
[[nodiscard]] bool ReadFrameHead(RecordingScan* scan, const ChunkRecord& chunk, FrameHead* head);

/// Whether a slice lies within the data at hand (slice 0 at its beginning) and has its stored CRC, if the frame stores CRCs and `checkCrc`
/// asks for them. Never kSliceInconsistent: nothing is decoded.
SliceStatus CheckSlice(const DecodedFrame& frame, Bytes sliceData, uint32_t slice, bool checkCrc);

/// Decodes slices firstSlice … lastSlice (inclusive) of `sliceData` (slice 0 at its beginning) into `out` (rows of the whole frame,
/// `strideBytes` apart); bad ones are filled from `substitute` (same geometry and stride, may be null) or with zeros. Good ones are mapped:
/// shifted, or looked up in the table. The number of bad slices; counts, statuses and the time go into the frame.
int32_t decode_slices(WorkerPool* pool, DecodedFrame* frame, Bytes sliceData, uint16_t* out, size_t strideBytes, int32_t firstSlice,
                      int32_t lastSlice, const uint16_t* substitute, uint32_t flags);

/// Fills the bad slices of a frame that was decoded into `out` from `substitute` (same geometry and stride) and counts anew.
void SubstituteBadSlices(DecodedFrame* frame, uint16_t* out, size_t strideBytes, const uint16_t* substitute);

/// Builds the in-memory TIFF of a frame that passed its head checks and parses it into frame->dng: frame->hasTags, or a message.
/// -1 only for "out of memory (tags)".
[[nodiscard]] int build_frame_tags(RecordingScan* scan, CameraModules* modules, DecodedFrame* frame);

}  // namespace qx
