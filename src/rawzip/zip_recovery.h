// The member table of an archive whose central directory is missing or useless, rebuilt from the local headers.
#pragma once

#include <new>
#include <utility>

#include "base/message.h"
#include "rawzip/zip_format.h"
#include "rawzip/zip_reader.h"

namespace qx {

/// Appends the entries that `next(ZipEntry*)` gives until it returns false, room for `expected` made first. False when memory is short.
template <typename Next>
[[nodiscard]] bool CollectEntries(ZipArchive* archive, uint64_t expected, Next next) {
  try {
    archive->entries.reserve(size_t(expected));
    ZipEntry entry;
    while (archive->entries.size() < INT32_MAX && next(&entry)) {
      if (entry.method != kZipStore) ++archive->compressedCount;
      archive->entries.push_back(std::move(entry));
    }
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// Replaces the entries of `archive` (whose `file` is set) by those found when walking the local headers from the start of the file up to
/// the first place that is no whole member, and sets `recovered` and `directoryOffset` (where the walk stopped; it may lie past the end of
/// the file when the last descriptor was cut off). 0 with at least one entry; a message that is already there stays. -1 with "not ZIP or no
/// whole record" when nothing was found or memory is short.
///
/// Time and memory are linear in the size of the file (see ZipMemberEndFinder).
[[nodiscard]] int RecoverZipEntries(ZipArchive* archive, Message message);

}  // namespace qx
