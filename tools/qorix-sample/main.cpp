// Makes recordings to try the importer with: whole ones, odd ones, and damaged ones.

#include <CLI/CLI.hpp>

#include <array>
#include <string>
#include <tuple>

#include "commands.h"
#include "option_helpers.h"
#include "parse.h"
#include "qorix_options.h"
#include "sound_options.h"

namespace {

using tool::AddChoice, tool::AddList, tool::AddNumbers, tool::AddParsed, tool::AddParsedValue, tool::AddSwitchOff;

constexpr const char* kFooter =
    "Exit codes: 0 done, 1 wrong use, 2 an input cannot be read, 3 the output cannot be written (an existing file then stays as it was).\n"
    "Examples:\n"
    "  qorix-sample make clip.zip --size 3840x2160 --codec lj92 --fps 24000/1001 --drop 5,9\n"
    "  qorix-sample wrap mine.zip *.dng --fps 25 --sound take.wav\n"
    "  qorix-sample damage clip.zip cut.zip --cut-at 60%\n"
    "  qorix-sample make clip.zip --frames 48 --flash 24 --tone s24 --tone-told bext\n"
    "  qorix-sample make clip.qorix --packing rice --tone s24 --shading --drop 5,9\n"
    "  qorix-sample damage clip.qorix bad.qorix --corrupt-slice 3,1 --drop-trailer\n"
    "  qorix-sample describe clip.qorix";

/// Options of one kind of recording stand in groups that begin or end with its ending.
constexpr const char *kArchiveEnding = " (.zip)", *kQorixGroup = ".qorix: ";

void AddRate(CLI::App* command, qx::RecordingOptions* recording) {
  AddParsedValue(command, "--fps", "frames per second: 25, 29.97 or 24000/1001 [24]", "RATE", tool::ParseFrameRate, &recording->fps);
}

void AddArchiveOptions(CLI::App* command, qx::RecordingOptions* recording, std::filesystem::path* sound) {
  AddChoice<qx::ZipMethod>(command, "--method", "how members are compressed [store]",
                           {{"store", qx::ZipMethod::kStore}, {"deflate", qx::ZipMethod::kDeflate}, {"zstd", qx::ZipMethod::kZstd}},
                           [recording](qx::ZipMethod method) { recording->method = method; });
  command->add_flag("--descriptors", recording->descriptors, "CRCs and sizes behind the members");
  command->add_option("--folder", recording->folder, "folder of the members in the archive");
  command->add_option("--name", recording->name, "name of the recording: members are NAME_000000.dng, ...")->capture_default_str();
  AddSwitchOff(command, "--no-index", "no frame index CSV", &recording->index);
  command->add_flag("--index-crlf", recording->indexCrlf, "frame index with CR LF line ends");
  AddParsed(command, "--comment", "a line of the archive comment; may be repeated", "KEY:VALUE", tool::ParseCommentLine,
            [recording](auto line) {
              recording->comment.push_back(std::move(line));
              return true;
            });
  command->add_option("--sound", *sound, "sound file to add")->check(CLI::ExistingFile);
}

/// What both kinds of recordings have.
void AddScene(CLI::App* command, qx::ArchiveOptions* archive) {
  qx::SceneDngOptions* picture = &archive->picture;
  command->option_defaults()->group("Scene");
  AddRate(command, &archive->recording);
  command->add_option("--frames", archive->frames, "length of the clip in frames, dropped ones included")->capture_default_str();
  AddList(command, "--drop", "frames the phone missed", &archive->droppedSlots);
  command->add_option("--capture-fps", archive->recording.captureFps, "captured at another rate than it plays (slow motion)");
  AddParsedValue(command, "--timecode", "time code mark: sensor, local:FRAMES or utc:FRAMES", "MARK", tool::ParseTimecodeMark,
                 &archive->timecodeMark);
  AddParsed(command, "--size", "frame size [1920x1080]", "WxH", tool::ParseSize, [picture](auto size) {
    std::tie(picture->width, picture->height) = size;
    return true;
  });
  command->add_option("--bits", picture->bits, "bits per sample: 8, 10, 12, 14 or 16")->capture_default_str();
  AddParsedValue(command, "--cfa", "RGGB, GRBG, GBRG or BGGR [RGGB]", "PATTERN", tool::ParseCfa, &picture->cfa);
  command->add_option("--seed", picture->seed, "seed of the noise")->capture_default_str();
  command->add_option("--flash", picture->flashFrame, "a frame that is white all over; the sound clicks at its time")
      ->check(CLI::NonNegativeNumber);
  command->add_option("--exposure", picture->baselineExposure, "exposure in stops that the camera asks for")->capture_default_str();
  command->add_flag("--gain-map", picture->gainMap, "gain maps that undo the vignetting");
  command->add_flag("--warp", picture->warp, "a lens correction in each frame");
}

void AddDngOptions(CLI::App* command, qx::SceneDngOptions* picture) {
  command->option_defaults()->group(std::string("DNG") + kArchiveEnding);
  AddChoice<bool>(command, "--codec", "how samples are stored [packed]", {{"packed", false}, {"lj92", true}},
                  [picture](bool lj92) { picture->losslessJpeg = lj92; });
  command->add_option("--predictor", picture->predictor, "LJ92 predictor, 1 to 7")->capture_default_str();
  command->add_option("--components", picture->components, "LJ92 components, 1 or 2")->capture_default_str();
  command->add_option("--strip-rows", picture->stripRows, "rows of a strip (default: one strip)");
  AddParsed(command, "--tiles", "tiles instead of strips", "WxH", tool::ParseSize, [picture](auto size) {
    std::tie(picture->tileWidth, picture->tileLength) = size;
    return true;
  });
  command->add_flag("--big-endian", picture->bigEndian, "big-endian DNGs");
  AddSwitchOff(command, "--no-color", "no colour tags", &picture->colorTags);
  command->add_option("--full-warp-every", picture->fullWarpEvery, "kr3 and tangential terms in every k-th frame only; 0: in none")
      ->capture_default_str();
  AddNumbers(command, "--active-area", "ActiveArea", "TOP,LEFT,BOTTOM,RIGHT", [picture](const tool::Numbers& edges) {
    if (edges.size() != 4) return false;
    picture->activeArea = {uint32_t(edges[0]), uint32_t(edges[1]), uint32_t(edges[2]), uint32_t(edges[3])};
    return true;
  });
  AddNumbers(command, "--crop", "DefaultCrop, from the active area's corner", "X,Y,WIDTH,HEIGHT", [picture](const tool::Numbers& area) {
    if (area.size() != 4) return false;
    picture->crop = {double(area[0]), double(area[1]), double(area[2]), double(area[3])};
    return true;
  });
}

CLI::App* AddMake(CLI::App& app, tool::MakeOptions* make) {
  CLI::App* command = app.add_subcommand("make", "write a recording of the synthetic scene");
  qx::ArchiveOptions* archive = &make->archive;
  command->add_option("OUT", make->output, "file to write, ending in .zip or .qorix; groups of options that name an ending are only for it")
      ->required();
  AddParsedValue(command, "--cut-at", "the file ends there", "BYTES or P%", tool::ParseCutPoint, &make->cut);
  AddScene(command, archive);
  AddDngOptions(command, &archive->picture);
  command->option_defaults()->group(std::string("Archive") + kArchiveEnding);
  AddArchiveOptions(command, &archive->recording, &make->sound);
  command->add_flag("--reversed", archive->reversed, "the last frame first in the archive");
  AddSwitchOff(command, "--no-timecodes", "no TimeCodes", &archive->timeCodes);
  command->option_defaults()->group(std::string("Damage on purpose") + kArchiveEnding);
  AddSwitchOff(command, "--no-directory", "no central directory", &archive->recording.directory);
  AddList(command, "--corrupt", "frames that nothing can read", &archive->recording.corruptSlots);
  AddList(command, "--unindexed", "frames without an index row", &archive->recording.unindexedSlots);
  tool::AddSoundOptions(command, &make->tone);
  tool::AddQorixMakeOptions(command, &make->qorix);
  return command;
}

/// The first option that was given, but is of the other kind of recording; empty when there is none.
std::string OptionOfOtherKind(const CLI::App& make, const tool::MakeOptions& options) {
  const bool qorix = options.output.extension() == ".qorix";
  if (!qorix && options.output.extension() != ".zip") return {};  // make says what is wrong with it
  for (const CLI::Option* option : make.get_options([](const CLI::Option* o) { return o->count() > 0; })) {
    const std::string& group = option->get_group();
    const bool other = qorix ? group.ends_with(kArchiveEnding) : group.starts_with(kQorixGroup);
    if (other) return option->get_name() + " is only for recordings that end in " + (qorix ? ".zip" : ".qorix");
  }
  return {};
}

void AddWrap(CLI::App& app, tool::WrapOptions* wrap) {
  CLI::App* command = app.add_subcommand("wrap", "put existing DNG files into a recording, as its frames in the given order");
  command->add_option("OUT", wrap->output, "file to write, ending in .zip")->required();
  command->add_option("DNG", wrap->frames, "DNG files")->required()->check(CLI::ExistingFile);
  AddRate(command, &wrap->recording);
  AddArchiveOptions(command, &wrap->recording, &wrap->sound);
}

void AddDamage(CLI::App& app, tool::DamageOptions* damage) {
  CLI::App* command = app.add_subcommand("damage", "copy a file and damage the copy: zeros, then changed bytes, then the cut");
  command->add_option("IN", damage->input, "file to read")->required()->check(CLI::ExistingFile);
  command->add_option("OUT", damage->output, "file to write")->required();
  AddParsedValue(command, "--cut-at", "the copy ends there", "BYTES or P%", tool::ParseCutPoint, &damage->cut);
  command->add_option("--flip", damage->flips, "how many bytes at random places to change");
  command->add_option("--seed", damage->seed, "seed of the random places")->capture_default_str();
  AddParsed(command, "--zero", "bytes to overwrite with zeros, the end not included; may be repeated", "BEGIN:END", tool::ParseRange,
            [damage](auto range) {
              damage->zeros.push_back(range);
              return true;
            });
  tool::AddQorixDamageOptions(command, &damage->chunks);
}

void AddDescribe(CLI::App& app, tool::DescribeOptions* describe) {
  CLI::App* command = app.add_subcommand("describe", "list the chunks of a .qorix recording");
  command->add_option("FILE", describe->input, "file to read")->required()->check(CLI::ExistingFile);
  command->add_flag("--totals", describe->totalsOnly, "only how many of each kind");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Makes recordings to try the importer with.");
  app.require_subcommand(1);
  app.footer(kFooter);
  tool::MakeOptions make;
  tool::WrapOptions wrap;
  tool::DamageOptions damage;
  tool::DescribeOptions describe;
  const CLI::App* makeCommand = AddMake(app, &make);
  AddWrap(app, &wrap);
  AddDamage(app, &damage);
  AddDescribe(app, &describe);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? tool::kOk : tool::kUsage;
  }
  if (app.got_subcommand("make")) {
    const std::string misplaced = OptionOfOtherKind(*makeCommand, make);
    return misplaced.empty() ? tool::RunMake(make) : tool::Fail(tool::kUsage, misplaced);
  }
  if (app.got_subcommand("wrap")) return tool::RunWrap(wrap);
  if (app.got_subcommand("describe")) return tool::RunDescribe(describe);
  return tool::RunDamage(damage);
}
