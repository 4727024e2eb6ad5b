#include "importer/open_clip_registry.h"

#include "importer/importer_clip.h"

namespace qx {

void OpenClipRegistry::Insert(host::Handle handle) {
  LockGuard guard(handlesLock_);
  handles_.insert(handle);
}

bool OpenClipRegistry::Remove(host::Handle handle) {
  LockGuard guard(handlesLock_);
  return handles_.erase(handle) > 0;
}

bool OpenClipRegistry::Contains(host::Handle handle) {
  LockGuard guard(handlesLock_);
  return handles_.contains(handle);
}

OpenClipRegistry& OpenClips() {
  static OpenClipRegistry* const registry = new OpenClipRegistry;
  return *registry;
}

ImporterClip* LookupImporterClip(host::Handle handle) {
  return OpenClips().Contains(handle) ? ClipOfHandle(handle) : nullptr;
}

}  // namespace qx
