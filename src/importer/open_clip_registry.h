// The private-data handles that the host holds and that lead to a clip.
#pragma once

#include <set>

#include "base/lock.h"
#include "host/records.h"

namespace qx {

struct ImporterClip;

/// Own lock, held only around inserts, lookups and removals. Any thread.
class OpenClipRegistry {
 public:
  void Insert(host::Handle handle) EXCLUDES(handlesLock_);
  /// True when the handle was there.
  bool Remove(host::Handle handle) EXCLUDES(handlesLock_);
  bool Contains(host::Handle handle) EXCLUDES(handlesLock_);

 private:
  Mutex handlesLock_;
  std::set<host::Handle> handles_ GUARDED_BY(handlesLock_);
};

/// The process's registry; never destroyed.
OpenClipRegistry& OpenClips();

/// The clip of a handle that is in the registry, else null.
ImporterClip* LookupImporterClip(host::Handle handle);

}  // namespace qx
