// Reading whole members of an archive into memory, with an eye on members that promise more than their bytes can hold.
#pragma once

#include <cstdint>

#include "base/grow_buffer.h"
#include "base/message.h"
#include "media/dng_info.h"
#include "rawzip/archive_state.h"

namespace qx {

using MemberBuffer = GrowBuffer<uint8_t>;

/// Makes room for a member of the archive. kZipOk; kZipOutOfMemory when the room cannot be had; or what reading it would come to, found
/// without allocating: kZipReadFailed, kZipUnsupportedMethod, or kZipSizeMismatch when its compressed bytes cannot expand to its size.
[[nodiscard]] ZipResult ReserveMember(ArchiveState& archive, int32_t entry, MemberBuffer* buffer);

/// Reads a member into `buffer`: its size, or a negative ZipResult.
[[nodiscard]] int64_t ReadMember(ArchiveState& archive, int32_t entry, MemberBuffer* buffer);
/// The same for a member that ReserveMember has made room for in `buffer`.
[[nodiscard]] int64_t ReadReservedMember(ArchiveState& archive, int32_t entry, MemberBuffer* buffer);

/// Why a read gave `result`, which is not the member's size.
const char* MemberFailureText(int64_t result);

/// Reads and parses the DNG of a frame. False when it cannot be read or is no DNG; `info` is then empty.
[[nodiscard]] bool ReadFrameDng(SourceTimeline& source, int32_t frame, MemberBuffer* buffer, DngInfo* info);

}  // namespace qx
