#include "rawzip/archive_sound.h"

namespace qx {

// Sound members are recognised by their role (ArchiveState::roles) but not read yet: every archive plays silent.
void DescribeArchiveSound(SourceTimeline& source) {
  source.sound = SoundDescription();
  source.soundPlacement = SoundPlacement();
}

}  // namespace qx
