// Makes recordings to try the importer with: whole ones, odd ones, and damaged ones.

#include <CLI/CLI.hpp>

#include <map>
#include <tuple>

#include "commands.h"
#include "parse.h"
#include "qorix_options.h"

namespace {

constexpr const char* kFooter =
    "Exit codes: 0 done, 1 wrong use, 2 an input cannot be read, 3 the output cannot be written (an existing file then stays as it was).\n"
    "Examples:\n"
    "  qorix-sample make clip.zip --size 3840x2160 --codec lj92 --fps 24000/1001 --drop 5,9\n"
    "  qorix-sample wrap mine.zip *.dng --fps 25 --sound take.wav\n"
    "  qorix-sample damage clip.zip cut.zip --cut-at 60%\n"
    "  qorix-sample make clip.qorix --packing rice --tone s24 --shading --drop 5,9\n"
    "  qorix-sample damage clip.qorix bad.qorix --corrupt-slice 3,1 --drop-trailer\n"
    "  qorix-sample describe clip.qorix";

/// An option whose text goes through a parser of parse.h; `store` receives its value.
template <typename Parser, typename Store>
CLI::Option* AddParsed(CLI::App* command, const std::string& name, const std::string& help, const char* form, Parser parse, Store store) {
  const auto take = [name, form, parse, store](const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      auto value = parse(text);
      if (!value) throw CLI::ValidationError(name, "\"" + text + "\" is not " + form);
      store(std::move(*value));
    }
    return true;
  };
  return command->add_option(name, CLI::callback_t(take), help)
      ->type_name(form)
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

/// A flag that sets `value` to false.
void AddSwitchOff(CLI::App* command, const std::string& name, const std::string& help, bool* value) {
  command->add_flag_callback(
      name, [value] { *value = false; }, help);
}

const auto kParseList = [](std::string_view text) { return tool::ParseNumbers(text, ','); };

void AddRecordingOptions(CLI::App* command, qx::RecordingOptions* recording, std::filesystem::path* sound) {
  command->option_defaults()->group("Recording");
  AddParsed(command, "--fps", "frames per second [24]", "RATE", tool::ParseFrameRate, [=](qx::SampleRate rate) { recording->fps = rate; });
  const std::map<std::string, qx::ZipMethod> methods = {
      {"store", qx::ZipMethod::kStore}, {"deflate", qx::ZipMethod::kDeflate}, {"zstd", qx::ZipMethod::kZstd}};
  command->add_option("--method", recording->method, "how members are compressed [store]")
      ->transform(CLI::CheckedTransformer(methods).description(""))
      ->type_name("store|deflate|zstd");
  command->add_flag("--descriptors", recording->descriptors, "CRCs and sizes behind the members");
  command->add_option("--folder", recording->folder, "folder of the members in the archive");
  command->add_option("--name", recording->name, "name of the recording: members are NAME_000000.dng, ...")->capture_default_str();
  AddSwitchOff(command, "--no-index", "no frame index CSV", &recording->index);
  command->add_flag("--index-crlf", recording->indexCrlf, "frame index with CR LF line ends");
  AddParsed(command, "--comment", "a line of the archive comment; may be repeated", "KEY:VALUE", tool::ParseCommentLine,
            [=](auto line) { recording->comment.push_back(std::move(line)); });
  command->add_option("--sound", *sound, "sound file to add")->check(CLI::ExistingFile);
}

void AddPictureOptions(CLI::App* command, qx::SceneDngOptions* picture) {
  command->option_defaults()->group("Picture");
  AddParsed(command, "--size", "frame size [1920x1080]", "WxH", tool::ParseSize,
            [=](auto size) { std::tie(picture->width, picture->height) = size; });
  command->add_option("--bits", picture->bits, "bits per sample: 8, 10, 12, 14 or 16")->capture_default_str();
  AddParsed(command, "--cfa", "RGGB, GRBG, GBRG or BGGR [RGGB]", "PATTERN", tool::ParseCfa, [=](auto cfa) { picture->cfa = cfa; });
  command->add_option("--seed", picture->seed, "seed of the noise")->capture_default_str();
  const std::map<std::string, bool> codecs = {{"packed", false}, {"lj92", true}};
  command->add_option("--codec", picture->losslessJpeg, "how samples are stored [packed]")
      ->transform(CLI::CheckedTransformer(codecs).description(""))
      ->type_name("packed|lj92");
  command->add_option("--predictor", picture->predictor, "LJ92 predictor, 1 to 7")->capture_default_str();
  command->add_option("--components", picture->components, "LJ92 components, 1 or 2")->capture_default_str();
  command->add_option("--strip-rows", picture->stripRows, "rows of a strip (default: one strip)");
  AddParsed(command, "--tiles", "tiles instead of strips", "WxH", tool::ParseSize,
            [=](auto size) { std::tie(picture->tileWidth, picture->tileLength) = size; });
  command->add_flag("--big-endian", picture->bigEndian, "big-endian DNGs");
}

void AddTagOptions(CLI::App* command, qx::SceneDngOptions* picture) {
  command->option_defaults()->group("DNG tags");
  AddSwitchOff(command, "--no-color", "no colour tags", &picture->colorTags);
  command->add_option("--exposure", picture->baselineExposure, "BaselineExposure in stops")->capture_default_str();
  command->add_flag("--gain-map", picture->gainMap, "gain maps that undo the vignetting");
  command->add_flag("--warp", picture->warp, "a lens correction in each frame");
  command->add_option("--full-warp-every", picture->fullWarpEvery, "kr3 and tangential terms in every k-th frame only; 0: in none")
      ->capture_default_str();
  AddParsed(command, "--active-area", "ActiveArea", "TOP,LEFT,BOTTOM,RIGHT", kParseList, [=](const std::vector<int64_t>& edges) {
    if (edges.size() != 4) throw CLI::ValidationError("--active-area", "needs four numbers");
    picture->activeArea = {uint32_t(edges[0]), uint32_t(edges[1]), uint32_t(edges[2]), uint32_t(edges[3])};
  });
  AddParsed(command, "--crop", "DefaultCrop, from the active area's corner", "X,Y,WIDTH,HEIGHT", kParseList,
            [=](const std::vector<int64_t>& area) {
              if (area.size() != 4) throw CLI::ValidationError("--crop", "needs four numbers");
              picture->crop = {double(area[0]), double(area[1]), double(area[2]), double(area[3])};
            });
}

void AddMake(CLI::App& app, tool::MakeOptions* make) {
  CLI::App* command = app.add_subcommand("make", "write a recording of the synthetic scene");
  qx::ArchiveOptions* archive = &make->archive;
  command->add_option("OUT", make->output, "file to write, ending in .zip or .qorix; options of one kind do nothing to the other")
      ->required();
  command->add_option("--frames", archive->frames, "length of the clip in frames, dropped ones included")->capture_default_str();
  AddPictureOptions(command, &archive->picture);
  AddTagOptions(command, &archive->picture);
  AddRecordingOptions(command, &archive->recording, &make->sound);
  const auto addSlots = [command](const char* name, const char* help, std::vector<int64_t>* slots) {
    AddParsed(command, name, help, "N,N,...", kParseList,
              [slots](const std::vector<int64_t>& more) { slots->insert(slots->end(), more.begin(), more.end()); });
  };
  addSlots("--drop", "frames the phone missed", &archive->droppedSlots);
  command->add_option("--capture-fps", archive->recording.captureFps, "captured at another rate than it plays (slow motion)");
  command->add_flag("--reversed", archive->reversed, "the last frame first in the archive");
  AddSwitchOff(command, "--no-timecodes", "no TimeCodes", &archive->timeCodes);
  AddParsed(command, "--timecode", "time code mark: sensor, local:FRAMES or utc:FRAMES", "MARK", tool::ParseTimecodeMark,
            [=](auto mark) { archive->timecodeMark = mark; });
  command->option_defaults()->group("Damage on purpose");
  AddParsed(command, "--cut-at", "the file ends there", "BYTES or P%", tool::ParseCutPoint, [=](auto cut) { make->cut = cut; });
  AddSwitchOff(command, "--no-directory", "no central directory", &archive->recording.directory);
  addSlots("--corrupt", "frames that nothing can read", &archive->recording.corruptSlots);
  addSlots("--unindexed", "frames without an index row", &archive->recording.unindexedSlots);
  tool::AddQorixMakeOptions(command, &make->qorix);
}

void AddWrap(CLI::App& app, tool::WrapOptions* wrap) {
  CLI::App* command = app.add_subcommand("wrap", "put existing DNG files into a recording, as its frames in the given order");
  command->add_option("OUT", wrap->output, "file to write")->required();
  command->add_option("DNG", wrap->frames, "DNG files")->required()->check(CLI::ExistingFile);
  AddRecordingOptions(command, &wrap->recording, &wrap->sound);
}

void AddDamage(CLI::App& app, tool::DamageOptions* damage) {
  CLI::App* command = app.add_subcommand("damage", "copy a file and damage the copy: zeros, then changed bytes, then the cut");
  command->add_option("IN", damage->input, "file to read")->required()->check(CLI::ExistingFile);
  command->add_option("OUT", damage->output, "file to write")->required();
  AddParsed(command, "--cut-at", "the copy ends there", "BYTES or P%", tool::ParseCutPoint, [=](auto cut) { damage->cut = cut; });
  command->add_option("--flip", damage->flips, "how many bytes at random places to change");
  command->add_option("--seed", damage->seed, "seed of the random places")->capture_default_str();
  AddParsed(command, "--zero", "bytes to overwrite with zeros, the end not included; may be repeated", "BEGIN:END", tool::ParseRange,
            [=](auto range) { damage->zeros.push_back(range); });
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
  AddMake(app, &make);
  AddWrap(app, &wrap);
  AddDamage(app, &damage);
  AddDescribe(app, &describe);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? tool::kOk : tool::kUsage;
  }
  if (app.got_subcommand("make")) return tool::RunMake(make);
  if (app.got_subcommand("wrap")) return tool::RunWrap(wrap);
  if (app.got_subcommand("describe")) return tool::RunDescribe(describe);
  return tool::RunDamage(damage);
}
