#include "pipeline/source_open.h"

#include "qorix/qorix_source.h"
#include "rawzip/archive_source.h"

namespace qx {

namespace {

// The order in which container kinds are tried; a recording's index and its readers must agree on it. `openQorix` and `openArchive` take a
// message and answer 0 or -1.
template <typename OpenQorix, typename OpenArchive>
int OpenEither(const ByteSource& file, Message message, OpenQorix&& openQorix, OpenArchive&& openArchive) {
  if (looks_like_qorix(file)) return openQorix(message);
  MessageBuffer<256> archiveMessage;
  if (openArchive(archiveMessage.view()) == 0) {
    message.Set("%s", archiveMessage.text());  // a warning, if any
    return 0;
  }
  // A recording whose beginning is damaged is still found by its other chunks.
  const bool isQorix = probe_qorix(file);
  message.Clear();
  if (isQorix && openQorix(message) == 0) return 0;
  if (message.empty()) message.Set("%s", archiveMessage.text());
  return -1;
}

}  // namespace

int source_timeline_open(SourceTimeline* source, const ByteSource& file, Message message) {
  return OpenEither(
      file, message, [&](Message m) { return qorix_source_open(source, file, m); },
      [&](Message m) { return archive_source_open(source, file, 0, m); });
}

int frame_source_open(FrameSourcePtr* source, const ByteSource& file, Message message) {
  const auto taken = [source](FrameSourcePtr opened) {
    *source = std::move(opened);
    return *source != nullptr ? 0 : -1;
  };
  return OpenEither(
      file, message, [&](Message m) { return taken(qorix_reader_open(file, m)); },
      [&](Message m) { return taken(archive_frame_source_open(file, m)); });
}

}  // namespace qx
