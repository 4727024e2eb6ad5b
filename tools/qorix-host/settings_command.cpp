#include <fmt/core.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "commands.h"
#include "host/selectors.h"
#include "settings_text.h"
#include "standin/host_prefs.h"

namespace tool {

namespace host = qx::host;

namespace {

int Complain(int code, const std::string& reason) {
  fmt::print(stderr, "qorix-host: {}\n", reason);
  return code;
}

/// Writes beside the file first: what was there stays whole when the disk is full.
bool WriteBlockFile(const std::string& path, const standin::PrefsBlock& block) {
  const std::string part = path + ".part";
  std::error_code error;
  {
    std::ofstream out(part, std::ios::binary);
    out.write(reinterpret_cast<const char*>(block.data()), std::streamsize(block.size()));
    if (out.close(), out) std::filesystem::rename(part, path, error);
    if (out && !error) return true;
  }
  std::filesystem::remove(part, error);
  return false;
}

bool Edits(const SettingsOptions& options) {
  return !options.edits.empty() || !options.lutPath.empty() || options.noLut;
}

/// Changes the block as the window would: the fields, and the count of confirmations.
int EditBlock(const SettingsOptions& options, standin::PrefsBlock* block) {
  standin::BlockSettings settings;
  if (!standin::ReadBlock(*block, &settings))
    return Complain(kUsage, "the plug-in's settings block is of a kind that this program does not know");
  std::string error;
  for (const std::string& edit : options.edits) {
    if (!ApplyEdit(edit, &settings, &error)) return Complain(kUsage, error);
  }
  if (options.noLut) settings.lutPath.clear();
  if (!options.lutPath.empty()) {
    const std::u8string path = std::filesystem::absolute(options.lutPath).u8string();  // the plug-in's folder is the host's
    settings.lutPath.assign(path.begin(), path.end());
  }
  ++settings.generation;
  return standin::WriteBlock(settings, block) ? int(kOk) : Complain(kUsage, "the LUT's path is too long for the settings block");
}

/// The block as the user leaves it behind: of the file, or new as at import; then edited, then shown in the window.
int MakeBlock(const Session& session, const CommonOptions& common, const SettingsOptions& options, standin::PrefsBlock* block) {
  const bool stored = !common.prefsPath.empty() && std::filesystem::exists(common.prefsPath);
  if (stored) {
    if (const int code = ReadBlockFile(common.prefsPath, block); code != kOk) return code;
  } else if (const int32_t result = standin::AskFirstPrefs(*session.plugin, common.clipPath, block); result != host::imNoErr) {
    return Complain(kSettings, fmt::format("the plug-in gives no settings (result {})", result));
  }
  if (Edits(options)) {
    if (const int code = EditBlock(options, block); code != kOk) return code;
  }
  if (!options.dialog) return kOk;
  const int32_t result = standin::OpenSettings(*session.plugin, common.clipPath, block);
  if (result == host::imNoErr) return kOk;
  const std::vector<std::string> reasons = session.log->Take("imGetPrefs8: no settings window");
  if (!reasons.empty()) return Complain(kSettings, reasons.back().substr(reasons.back().find(": ") + 2));
  return Complain(kSettings,
                  result == host::imCancel ? "cancelled" : fmt::format("the plug-in refused to show its window (result {})", result));
}

int ShowAndKeep(Session* session, const CommonOptions& common, const SettingsOptions& options, const standin::PrefsBlock& block) {
  standin::BlockSettings settings;
  fmt::print("{}\n", common.clipPath);
  if (standin::ReadBlock(block, &settings)) PrintSettings(settings);
  if (!common.prefsPath.empty() && (Edits(options) || options.dialog || !std::filesystem::exists(common.prefsPath))) {
    if (!WriteBlockFile(common.prefsPath, block)) return Complain(kWriteFailed, common.prefsPath + ": cannot be written");
    fmt::print("  {:<14} {}\n", "stored in", common.prefsPath);
  }
  return ApplyBlock(session, block, true);
}

}  // namespace

int ReadBlockFile(const std::string& path, standin::PrefsBlock* block) {
  constexpr std::streamsize kLargestBlock = 1 << 20;
  std::ifstream in(path, std::ios::binary);
  block->resize(size_t(kLargestBlock));
  in.read(reinterpret_cast<char*>(block->data()), kLargestBlock);
  block->resize(size_t(in.gcount()));
  standin::BlockSettings settings;
  if (!standin::ReadBlock(*block, &settings)) return Complain(kUsage, path + ": not a settings block");
  return kOk;
}

int ApplyBlock(Session* session, const standin::PrefsBlock& block, bool tell) {
  session->clip->SetPrefs(block);
  session->facts = session->clip->Describe();
  for (const std::string& line : session->log->Take("prefs ")) {
    if (const size_t at = line.find("not applied: "); at != std::string::npos) {
      return Complain(kSettings, "the clip does not take the settings: " + line.substr(at + 13));
    }
    if (const size_t at = line.find(": gen "); tell && at != std::string::npos) fmt::print("  {:<14} {}\n", "log", line.substr(at + 2));
  }
  return kOk;
}

int RunSettings(const CommonOptions& common, const SettingsOptions& options, const FrameOptions& frame) {
  CommonOptions withoutBlock = common;
  withoutBlock.readLog = true;
  withoutBlock.prefsPath.clear();  // the block comes later, as the user's change of an imported clip
  Session session = OpenSession(withoutBlock);
  if (session.failure != kOk) return session.failure;
  standin::PrefsBlock block;
  int code = MakeBlock(session, common, options, &block);
  if (code == kOk) code = ShowAndKeep(&session, common, options, block);
  if (code == kOk && !frame.output.empty()) code = WriteFrame(session, common, frame);
  const int clean = session.Finish();
  return code != kOk ? code : clean;
}

}  // namespace tool
