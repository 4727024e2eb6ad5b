#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "commands.h"
#include "host/selectors.h"
#include "standin/process.h"

namespace tool {

namespace host = qx::host;

namespace {

int Fail(Session* session, int code, const std::string& reason) {
  fmt::print(stderr, "qorix-host: {}\n", reason);
  return session->failure = code;
}

const char* OpenFailure(int32_t result) {
  switch (result) {
    case host::imBadFile:
      return "not a recording that the plug-in opens (the log, QORIX_IMPORT_LOG, says why)";
    case host::imMemErr:
      return "the plug-in ran out of memory";
    default:
      return "the plug-in refused the clip";
  }
}

}  // namespace

Session OpenSession(const CommonOptions& common) {
  Session session;
  const std::string path = common.pluginPath.empty() ? standin::DefaultImporterPath() : common.pluginPath;
  std::string error;
  standin::PrefsBlock prefs;
  if (!common.prefsPath.empty() && ReadBlockFile(common.prefsPath, &prefs) != kOk) {
    session.failure = kUsage;
    return session;
  }
  if (common.readLog || !common.prefsPath.empty()) session.log = std::make_unique<PluginLog>();
  session.plugin = standin::Plugin::Load(path, &error);
  if (session.plugin == nullptr) {
    Fail(&session, kNoPlugin, "cannot load the plug-in: " + error);
    return session;
  }
  if (session.plugin->FileTypeOf(common.clipPath) == 0) {
    Fail(&session, kNotOurs, common.clipPath + ": the plug-in announces no such file type");
    return session;
  }
  int32_t result = 0;
  session.clip = standin::HostClip::Open(*session.plugin, common.clipPath, 0, &result);
  if (session.clip == nullptr) {
    Fail(&session, kNotOurs, fmt::format("{}: {} (result {})", common.clipPath, OpenFailure(result), result));
    return session;
  }
  if (prefs.empty()) {
    session.facts = session.clip->Describe();
  } else {
    session.failure = ApplyBlock(&session, prefs, false);
  }
  return session;
}

int Session::Finish() {
  clip.reset();
  plugin.reset();
  const std::vector<std::string> leftovers = standin::Plugin::Leftovers();
  for (const std::string& line : leftovers) fmt::print(stderr, "left behind: {}\n", line);
  return leftovers.empty() ? kOk : kUnclean;
}

uint32_t FourCC(const std::string& text) {
  uint32_t code = 0;
  for (size_t i = 0; i < 4 && i < text.size(); ++i) code |= uint32_t(uint8_t(text[i])) << (8 * i);
  return code;
}

bool SizeByName(const standin::ClipFacts& facts, const std::string& name, int32_t* width, int32_t* height) {
  const size_t index = name == "quarter" ? 2 : name == "half" ? 1 : 0;
  if (index >= facts.sizes.size()) return false;
  *width = facts.sizes[index].width;
  *height = facts.sizes[index].height;
  return true;
}

bool MakeRequest(const Session& session, const CommonOptions& common, int32_t intent, standin::FrameRequest* request) {
  if (!SizeByName(session.facts, common.size, &request->width, &request->height)) {
    fmt::print(stderr, "qorix-host: the clip offers no {} size\n", common.size);
    return false;
  }
  request->formats = {FourCC(common.format)};
  request->intent = intent;
  return true;
}

double DeliveryTimes::Quantile(double fraction) const {
  if (ms_.empty()) return 0;
  std::vector<double> sorted = ms_;
  std::sort(sorted.begin(), sorted.end());
  return sorted[size_t(std::llround(fraction * double(sorted.size() - 1)))];
}

double NowMs() {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace tool
