#include <fmt/core.h>

#include "commands.h"
#include "host/selectors.h"
#include "standin/guarded.h"
#include "standin/process.h"

namespace tool {

namespace host = qx::host;

namespace {

struct Row {
  int32_t selector;
  const char* name;
};

// Selectors that the plug-in answers without a clip, with records of their own below.
constexpr Row kKnown[] = {{host::imInit, "imInit"},
                          {host::imShutdown, "imShutdown"},
                          {host::imQuietFile, "imQuietFile"},
                          {host::imCloseFile, "imCloseFile"},
                          {host::imGetIndFormat, "imGetIndFormat"},
                          {host::imImportAudio7, "imImportAudio7"},
                          {host::imGetIndPixelFormat, "imGetIndPixelFormat"},
                          {host::imGetSupports8, "imGetSupports8"},
                          {host::imGetInfo8, "imGetInfo8"},
                          {host::imGetPrefs8, "imGetPrefs8"},
                          {host::imOpenFile8, "imOpenFile8"},
                          {host::imGetPreferredFrameSize, "imGetPreferredFrameSize"},
                          {host::imCreateAsyncImporter, "imCreateAsyncImporter"},
                          {host::imGetSourceVideo, "imGetSourceVideo"},
                          {host::imGetTimeInfo8, "imGetTimeInfo8"},
                          {host::imQueryContentState, "imQueryContentState"},
                          {host::imGetSupportsPerInstancePrefs, "imGetSupportsPerInstancePrefs"},
                          {host::imGetInstancePrefs, "imGetInstancePrefs"},
                          {host::imGetIndColorSpace, "imGetIndColorSpace"}};

const char* NameOf(int32_t selector) {
  for (const Row& row : kKnown) {
    if (row.selector == selector) return row.name;
  }
  return "";
}

// Every record is zeroed and long enough for the longest one, so that each selector finds "no clip" and "no file" in it.
int32_t Ask(const standin::Plugin& plugin, int32_t selector) {
  standin::GuardedRecord<host::FileInfoRec8> first("first parameter");
  standin::GuardedRecord<host::FileInfoRec8> second("second parameter");
  switch (selector) {
    case host::imGetIndFormat:
    case host::imGetIndPixelFormat:
    case host::imGetIndColorSpace:
      return plugin.Call(selector, uint64_t(0), second.get());
    case host::imQuietFile:
    case host::imCloseFile:
      return plugin.Call(selector, first.get(), nullptr);
    default:
      return plugin.Call(selector, first.get(), second.get());
  }
}

}  // namespace

int RunSelectors(const CommonOptions& common) {
  std::string error;
  Session session;
  session.plugin = standin::Plugin::Load(common.pluginPath.empty() ? standin::DefaultImporterPath() : common.pluginPath, &error);
  if (session.plugin == nullptr) {
    fmt::print(stderr, "qorix-host: cannot load the plug-in: {}\n", error);
    return kNoPlugin;
  }
  constexpr int32_t kLastSelector = 82;
  for (int32_t selector = 0; selector <= kLastSelector; ++selector) {
    if (selector == host::imShutdown) continue;  // sent when the program ends
    fmt::print("{:3} {:<30} {}\n", selector, NameOf(selector), Ask(*session.plugin, selector));
  }
  fmt::print("{:3} {:<30} {}\n", int(host::imShutdown), NameOf(host::imShutdown), session.plugin->Shutdown());
  return session.Finish();
}

}  // namespace tool
