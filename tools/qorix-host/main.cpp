// A stand-in for a video-editing host: loads the importer plug-in through its one entry and does with it what a host does.

#include <CLI/CLI.hpp>

#include "commands.h"
#include "option_checks.h"
#include "settings_text.h"
#include "standin/process.h"
#include "tools/common/command_line.h"
#include "tools/common/paths.h"

namespace {

constexpr const char* kFooter =
    "Exit codes: 0 done, 1 wrong use, 2 not a recording, 3 a frame or the sound failed, 4 the plug-in left something behind,\n"
    "5 the plug-in could not be loaded, 6 a file could not be written, 7 settings were cancelled or not taken, 8 the clip has no sound.\n"
    "The plug-in's environment variables (QORIX_IMPORT_LOG, QORIX_IMPORT_CURVE, …) work here too.";

void AddClip(CLI::App* command, tool::CommonOptions* common) {
  command->add_option("FILE", common->clipPath, "the recording")->required()->check(tool::CheckFileExists);
}

void AddSizeAndFormat(CLI::App* command, tool::CommonOptions* common) {
  command->add_option("--size", common->size, "frame size")->check(CLI::IsMember({"full", "half", "quarter"}))->capture_default_str();
  command->add_option("--format", common->format, "pixel format to ask for")
      ->check(CLI::IsMember({"bgra", "Bgra", "BGra", "BGaL", "uyv7", "v211", "vUYa"}))
      ->capture_default_str();
}

void AddPrefs(CLI::App* command, tool::CommonOptions* common) {
  command->add_option("--prefs", common->prefsPath, "settings block to store with the clip, as \"settings --prefs\" writes it")
      ->check(tool::CheckFileExists);
}

CLI::App* AddSettings(CLI::App* app, tool::CommonOptions* common, tool::SettingsOptions* options, tool::FrameOptions* frame) {
  CLI::App* settings = app->add_subcommand("settings", "show, change and apply a clip's development settings");
  settings->footer(tool::kSettingsKeysHelp);
  AddClip(settings, common);
  settings->add_option("--set", options->edits, "change a setting; may be repeated")->type_name("KEY=VALUE")->allow_extra_args(false);
  CLI::Option* lut = settings->add_option("--lut", options->lutPath, "use this .cube file")->check(tool::CheckFileExists);
  settings->add_flag("--no-lut", options->noLut, "use no LUT")->excludes(lut);
  settings->add_flag("--dialog", options->dialog, "open the plug-in's settings window, as a host does");
  settings->add_option(
      "--prefs", common->prefsPath,
      "file with the settings block: read when it exists, written when the settings change (default: new settings, not kept)");
  settings->add_option("-n,--number", frame->frame, "display frame for -o, from 0")->check(CLI::NonNegativeNumber)->capture_default_str();
  settings->add_option("-o,--output", frame->output, "write this frame with the settings applied: .png, .ppm or .raw");
  AddSizeAndFormat(settings, common);
  return settings;
}

}  // namespace

int main(int argc, char** argv) {
  const tool::CommandLine commandLine(argc, argv);
  CLI::App app("Drives the qorix importer plug-in as a video-editing host would.");
  app.allow_windows_style_options(false);  // "/clip" is a path
  app.require_subcommand(1);
  app.footer(kFooter);
  tool::CommonOptions common;
  app.add_option("--plugin", common.pluginPath, "the plug-in to load (default: the one beside this program)")->check(tool::CheckFileExists);

  app.fallthrough();
  bool onProcessor = false, onCard = false;
  CLI::Option* cpu = app.add_flag("--cpu", onProcessor, "develop on the processor only");
  app.add_flag("--gpu", onCard, "develop on the graphics card, even when it is a software one")->excludes(cpu);

  bool json = false;
  CLI::App* info = app.add_subcommand("info", "tell everything the plug-in says of a clip");
  AddClip(info, &common);
  info->add_flag("--json", json, "as JSON");

  tool::FrameOptions frameOptions;
  CLI::App* frame = app.add_subcommand("frame", "write one frame to a file");
  AddClip(frame, &common);
  AddSizeAndFormat(frame, &common);
  frame->add_option("-n,--number", frameOptions.frame, "display frame, from 0")
      ->check(tool::WholeNumber(0, INT64_MAX))
      ->capture_default_str();
  frame->add_option("-o,--output", frameOptions.output, "file name ending in .png, .ppm or .raw (pixels as delivered)")
      ->check(tool::PictureName())
      ->required();

  tool::FramesOptions framesOptions;
  CLI::App* frames = app.add_subcommand("frames", "export a range of frames and tell the speed");
  AddClip(frames, &common);
  AddSizeAndFormat(frames, &common);
  frames->add_option("--range", framesOptions.range, "first:end, the end not included; either may be left out")->capture_default_str();
  frames->add_option("--jobs", framesOptions.jobs, "threads that ask for frames")->check(tool::WholeNumber(1, 64))->capture_default_str();
  frames->add_option("-o,--output", framesOptions.folder, "folder for the pictures (default: frames are not written)");
  frames->add_option("--as", framesOptions.extension, "file type")->check(CLI::IsMember({"png", "ppm", "raw"}))->capture_default_str();

  tool::AudioOptions audioOptions;
  CLI::App* audio = app.add_subcommand("audio", "pull the sound in blocks and write it as a WAV of 32-bit floats");
  AddClip(audio, &common);
  audio->add_option("-o,--output", audioOptions.output, "WAV file to write")->required();
  audio->add_option("--block", audioOptions.block, "sample frames of a request")->check(CLI::Range(1, 1 << 24))->capture_default_str();
  audio->add_option("--from", audioOptions.first, "first sample frame")->check(CLI::NonNegativeNumber)->capture_default_str();
  audio->add_option("--count", audioOptions.count, "sample frames (default: to the end)")->check(CLI::PositiveNumber);

  tool::PlayOptions playOptions;
  CLI::App* play = app.add_subcommand("play", "ask for frames on time, as playback does, and report late and dropped ones");
  AddClip(play, &common);
  AddSizeAndFormat(play, &common);
  play->add_option("--fps", playOptions.fps, "frames per second (default: the clip's)")->check(tool::FrameRate());
  play->add_option("--frames", playOptions.frames, "how many frames (default: all)")->check(tool::WholeNumber(1, INT64_MAX));

  tool::ScrubOptions scrubOptions;
  CLI::App* scrub = app.add_subcommand("scrub", "jump about in the clip, as a hand on the timeline does");
  AddClip(scrub, &common);
  AddSizeAndFormat(scrub, &common);
  scrub->add_option("--seed", scrubOptions.seed, "seed of the random jumps")->capture_default_str();
  scrub->add_option("--requests", scrubOptions.requests, "how many requests")->check(tool::WholeNumber(1, 1000000))->capture_default_str();

  tool::SettingsOptions settingsOptions;
  tool::FrameOptions settingsFrame;
  CLI::App* settings = AddSettings(&app, &common, &settingsOptions, &settingsFrame);

  for (CLI::App* command : {info, frame, frames, play, scrub}) AddPrefs(command, &common);

  CLI::App* selectors = app.add_subcommand("selectors", "print what the plug-in answers to every selector, without a clip");

  tool::LogReportOptions reportOptions;
  CLI::App* report = app.add_subcommand("log-report", "turn a diagnostic log into a page of plots and messages");
  report->add_option("LOGFILE", reportOptions.log, "what QORIX_IMPORT_LOG named")->required()->check(tool::CheckFileExists);
  report->add_option("-o,--output", reportOptions.output, "the page, an HTML file that needs nothing else")->required();

  try {
    app.parse(commandLine.count(), commandLine.arguments());
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? tool::kOk : tool::kUsage;
  }
  // The plug-in reads its variables when it is loaded.
  if (onProcessor) standin::SetVariable("QORIX_IMPORT_CPU", "1");
  if (onCard) {
    standin::SetVariable("QORIX_IMPORT_CPU", "0");
    standin::SetVariable("QORIX_IMPORT_GPU", "software");
  }
  if (*info) return tool::RunInfo(common, json);
  if (*frame) return tool::RunFrame(common, frameOptions);
  if (*frames) return tool::RunFrames(common, framesOptions);
  if (*audio) return tool::RunAudio(common, audioOptions);
  if (*play) return tool::RunPlay(common, playOptions);
  if (*report) return tool::RunLogReport(reportOptions);
  if (*scrub) return tool::RunScrub(common, scrubOptions);
  if (*settings) return tool::RunSettings(common, settingsOptions, settingsFrame);
  return *selectors ? tool::RunSelectors(common) : int(tool::kUsage);
}
