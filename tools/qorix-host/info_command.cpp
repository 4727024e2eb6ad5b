#include <fmt/core.h>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "host/selectors.h"
#include "plugin_log.h"

namespace tool {

namespace {

std::string FourCCText(uint32_t code) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) text[size_t(i)] = char(code >> (8 * i));
  return text;
}

std::string SizesText(const standin::ClipFacts& facts) {
  static constexpr const char* kNames[] = {"full", "half", "quarter"};
  std::string text;
  for (size_t i = 0; i < facts.sizes.size() && i < 3; ++i) {
    text += fmt::format("{}{} x {} ({})", i > 0 ? ", " : "", facts.sizes[i].width, facts.sizes[i].height, kNames[i]);
  }
  return text;
}

std::string FormatsText(const standin::ClipFacts& facts) {
  std::string text;
  for (const uint32_t format : facts.pixelFormats) text += (text.empty() ? "" : " ") + FourCCText(format);
  return text;
}

std::string AudioText(const standin::ClipFacts& facts) {
  if (!facts.hasAudio) return "none";
  return fmt::format("{} channel{}, {} Hz, {} sample frames ({:.2f} s)", facts.audioChannels, facts.audioChannels == 1 ? "" : "s",
                     facts.audioRate, facts.audioFrames, facts.audioRate > 0 ? double(facts.audioFrames) / facts.audioRate : 0.0);
}

// Only a frame makes the plug-in look for a graphics card: the smallest that the clip offers.
GraphicsFacts LookForGraphics(const Session& session, CommonOptions common) {
  common.size = session.facts.sizes.size() > 2 ? "quarter" : session.facts.sizes.size() > 1 ? "half" : "full";
  standin::FrameRequest request;
  int32_t result = 0;
  if (MakeRequest(session, common, qx::host::kIntentPlaying, &request)) session.clip->GetFrame(request, &result);
  return FindGraphics(session.log->TakeLines());
}

void PrintTable(const CommonOptions& common, const Session& session, const GraphicsFacts& graphics) {
  const standin::ClipFacts& facts = session.facts;
  const double fps = facts.framesPerSecond();
  const auto row = [](const char* name, const std::string& value) { fmt::print("  {:<14} {}\n", name, value); };
  fmt::print("{}\n", common.clipPath);
  for (const standin::FileFormat& format : session.plugin->formats()) {
    if (format.fileType == session.plugin->FileTypeOf(common.clipPath)) row("format", format.name);
  }
  row("sizes", SizesText(facts));
  row("frames", fmt::format("{} ({:.2f} s)", facts.frames, fps > 0 ? double(facts.frames) / fps : 0.0));
  row("rate", fmt::format("{}/{} = {:.3f} frames/s", facts.rateScale, facts.rateSampleSize, fps));
  row("time code", facts.timecode.empty() ? "none" : facts.timecode);
  row("sound", AudioText(facts));
  row("pixel formats", FormatsText(facts));
  row("colour space", facts.colorSpace.empty() ? "not declared" : facts.colorSpace);
  row("memory", fmt::format("{} MB while open", facts.extraMemoryBytes / 1000000));
  row("content state", facts.contentState);
  row("graphics", graphics.text);
}

void PrintJson(const CommonOptions& common, const standin::ClipFacts& facts, const GraphicsFacts& graphics) {
  nlohmann::ordered_json json;
  json["file"] = common.clipPath;
  json["width"] = facts.width;
  json["height"] = facts.height;
  json["sizes"] = nlohmann::json::array();
  for (const auto& size : facts.sizes) json["sizes"].push_back({size.width, size.height});
  json["frames"] = facts.frames;
  json["rate"] = {facts.rateScale, facts.rateSampleSize};
  json["timecode"] = facts.timecode;
  json["audio"] = {
      {"present", facts.hasAudio}, {"channels", facts.audioChannels}, {"rate", facts.audioRate}, {"frames", facts.audioFrames}};
  json["pixelFormats"] = nlohmann::json::array();
  for (const uint32_t format : facts.pixelFormats) json["pixelFormats"].push_back(FourCCText(format));
  json["colorSpace"] = facts.colorSpace;
  json["memoryBytes"] = facts.extraMemoryBytes;
  json["contentState"] = facts.contentState;
  json["graphics"] = {{"used", graphics.used}, {"text", graphics.text}};
  fmt::print("{}\n", json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace

int RunInfo(const CommonOptions& common, bool json) {
  CommonOptions logged = common;
  logged.readLog = true;
  Session session = OpenSession(logged);
  if (session.failure != kOk) return session.failure;
  const GraphicsFacts graphics = LookForGraphics(session, common);
  if (json) {
    PrintJson(common, session.facts, graphics);
  } else {
    PrintTable(common, session, graphics);
  }
  return session.Finish();
}

}  // namespace tool
