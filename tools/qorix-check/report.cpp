#include "report.h"

#include <fmt/core.h>

#include <nlohmann/json.hpp>

namespace tool {

namespace {

constexpr size_t kMostLines = 8;

const char* VerdictText(Verdict verdict) {
  switch (verdict) {
    case Verdict::kWhole:
      return "whole";
    case Verdict::kDamaged:
      return "damaged, but readable";
    case Verdict::kNotOpened:
      return "cannot be opened";
    default:
      return "unreadable";
  }
}

const char* VerdictWord(Verdict verdict) {
  switch (verdict) {
    case Verdict::kWhole:
      return "whole";
    case Verdict::kDamaged:
      return "damaged";
    case Verdict::kNotOpened:
      return "not opened";
    default:
      return "unreadable";
  }
}

void Line(std::string* text, const char* name, const std::string& value) {
  *text += fmt::format("  {:<16} {}\n", name, value);
}

// Cuts a list to what fits a screen.
template <typename List, typename ToText>
void Lines(std::string* text, const char* name, const List& list, ToText&& toText) {
  for (size_t i = 0; i < list.size() && i < kMostLines; ++i) Line(text, i == 0 ? name : "", toText(list[i]));
  if (list.size() > kMostLines) Line(text, "", fmt::format("… and {} more (all of them with --json)", list.size() - kMostLines));
}

std::string FaultText(const FrameFault& fault) {
  if (!fault.message.empty()) return fmt::format("frame {}: {}", fault.frame, fault.message);
  if (fault.wrongChecksum) return fmt::format("frame {}: can be shown, but some of its bytes have changed (wrong checksum)", fault.frame);
  const char* const slices = fault.badSlices == 1 ? "slice" : "slices";
  if (fault.substitutedSlices == 0) return fmt::format("frame {}: {} bad {}, not filled", fault.frame, fault.badSlices, slices);
  if (fault.substitutedSlices == fault.badSlices) {
    return fmt::format("frame {}: {} bad {}, filled from an earlier frame", fault.frame, fault.badSlices, slices);
  }
  return fmt::format("frame {}: {} bad {}, {} of them filled from an earlier frame", fault.frame, fault.badSlices, slices,
                     fault.substitutedSlices);
}

std::string FramesText(const Health& health) {
  std::string text = fmt::format("{} on {} positions", health.frames, health.slots);
  const auto add = [&](int64_t count, const char* what) {
    if (count > 0) text += fmt::format(", {} {}", count, what);
  };
  add(health.missing, "never recorded");
  add(health.lost, "lost");
  add(health.truncated, "cut off");
  add(health.repeated, "repeated");
  return text;
}

}  // namespace

std::string HealthText(const std::string& path, const Health& health) {
  std::string text = fmt::format("{}: {}\n", path, VerdictText(health.verdict()));
  if (!health.kind.empty()) Line(&text, "kind", health.kind);
  if (!health.reason.empty()) {
    Line(&text, "reason", health.reason);
    return text;
  }
  Line(&text, "state", health.openState);
  Line(&text, "frames", FramesText(health));
  for (const auto& [name, value] : SoundLines(health.sound)) Line(&text, name.c_str(), value);
  Lines(&text, "contents", health.chunks, [](const auto& chunk) { return fmt::format("{:>8}  {}", chunk.second, chunk.first); });
  const auto areaText = [](const auto& area) {
    return fmt::format("{} … {} ({} bytes)", area.first, area.second, area.second - area.first);
  };
  Lines(&text, "damaged areas", health.damagedAreas, areaText);
  if (health.crcMismatches > 0) Line(&text, "wrong checksums", fmt::format("{} chunks", health.crcMismatches));
  if (health.foreignChunks > 0) Line(&text, "other recording", fmt::format("{} of its chunks lie in this file", health.foreignChunks));
  Lines(&text, "", health.foreignAreas, areaText);
  if (health.unverifiedEntries > 0) Line(&text, "index", fmt::format("{} entries do not hold", health.unverifiedEntries));
  if (health.framesChecked > 0) {
    Line(&text, "decoded", fmt::format("{} frames, {} with faults", health.framesChecked, health.frameFaults.size()));
    Lines(&text, "faults", health.frameFaults, FaultText);
  }
  Lines(&text, "notes", health.notes, [](const std::string& note) { return note; });
  if (!health.reindex.empty()) Line(&text, "re-index", health.reindex);
  return text;
}

std::string HealthJson(const std::string& path, const Health& health) {
  nlohmann::ordered_json json;
  json["file"] = path;
  json["verdict"] = VerdictWord(health.verdict());
  json["kind"] = health.kind;
  json["reason"] = health.reason;
  json["state"] = health.openState;
  json["frames"] = {{"count", health.frames},     {"positions", health.slots},   {"neverRecorded", health.missing}, {"lost", health.lost},
                    {"cutOff", health.truncated}, {"repeated", health.repeated}, {"decoded", health.framesChecked}};
  json["contents"] = nlohmann::ordered_json::object();
  for (const auto& [name, count] : health.chunks) json["contents"][name] = count;
  json["damagedAreas"] = nlohmann::json::array();
  for (const auto& [begin, end] : health.damagedAreas) json["damagedAreas"].push_back({begin, end});
  json["foreignAreas"] = nlohmann::json::array();
  for (const auto& [begin, end] : health.foreignAreas) json["foreignAreas"].push_back({begin, end});
  json["crcMismatches"] = health.crcMismatches;
  json["foreignChunks"] = health.foreignChunks;
  json["unverifiedIndexEntries"] = health.unverifiedEntries;
  json["frameFaults"] = nlohmann::json::array();
  for (const FrameFault& fault : health.frameFaults) {
    json["frameFaults"].push_back({{"frame", fault.frame},
                                   {"badSlices", fault.badSlices},
                                   {"substitutedSlices", fault.substitutedSlices},
                                   {"wrongChecksum", fault.wrongChecksum},
                                   {"message", fault.message}});
  }
  const SoundHealth& sound = health.sound;
  json["sound"] = {{"description", sound.format},
                   {"offered", sound.offered},
                   {"reason", sound.reason},
                   {"offsetSeconds", sound.offsetSeconds},
                   {"offsetSource", sound.offsetSource},
                   {"note", sound.note},
                   {"lead", sound.lead},
                   {"skip", sound.skip},
                   {"out", sound.out},
                   {"cutOff", sound.truncated},
                   {"foreignChunks", sound.foreignChunks},
                   {"oddChunks", sound.oddChunks},
                   {"gaps", sound.gaps},
                   {"gapFrames", sound.gapFrames}};
  json["notes"] = health.notes;
  json["reindex"] = health.reindex;
  return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace tool
