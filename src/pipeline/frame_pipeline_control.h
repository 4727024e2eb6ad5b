// Process-wide controls of the frame pipeline.
#pragma once

namespace qx {

/// View mode (playback: few readers at normal priority) or export mode (all readers, larger cache, below normal priority where the system
/// lets them come back to normal). Any thread.
void SetExportMode(bool exportMode);

/// Stops all reader threads and the GPU thread, waiting at most 10 seconds for each. The pipeline does not start again in this process.
void ShutdownPipeline();

}  // namespace qx
