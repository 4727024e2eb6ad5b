// What the host is told about formats, clips and files.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/records.h"
#include "pipeline/clip.h"

namespace qx {

/// Fills the importer-info record (selector 0).
void FillImportInfo(host::ImportInfoRec* record);

/// File format by index: 0, or 301 past the end.
int32_t DescribeFileFormat(size_t index, host::IndFormatRec* record);

/// Fills the clip's part of the file-info record.
void FillFileInfo(const ClipInfo& info, int32_t fileType, host::FileInfoRec8* record);

/// Frame size by index: 0 or 24 (more follow), 5 when there is none.
int32_t PreferredFrameSize(const ClipInfo& info, host::PreferredFrameSizeRec* record);

/// Time code of the first frame: 0, or 3 when there is none.
int32_t DescribeTimecode(const ClipInfo& info, host::TimeInfoRec8* record);

/// A text that changes when the file at a path changes: 0, or 5 when there is no such file.
int32_t DescribeContentState(host::QueryContentStateRec* record);

/// Colour space of delivered frames by index: 0, 5 for a short buffer, 301 past the end.
int32_t DescribeColorSpace(size_t index, host::ColorSpaceRec* record);

/// Formats the content-state text of a lowercased path and a file's size and time: 36 characters and a terminator.
void FormatContentState(const char16_t* lowercasedPath, size_t length, uint64_t size, uint64_t lastWriteTime, char (&text)[37]);

}  // namespace qx
