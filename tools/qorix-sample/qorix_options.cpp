#include "qorix_options.h"

#include <map>
#include <string>

#include "option_helpers.h"

namespace tool {

namespace {

void AddCoding(CLI::App* command, qx::QorixRecordingOptions* recording) {
  qx::QorixFrameFormat* format = &recording->format;
  command->option_defaults()->group(".qorix: coding");
  using Coding = std::pair<uint8_t, uint8_t>;  // coder, layout
  const std::map<std::string, Coding> codings = {{"plain", {0, 0}}, {"interleaved", {0, 1}}, {"rice", {1, 0}}, {"two-part", {1, 2}}};
  AddChoice<Coding>(command, "--packing", "how residuals are stored [two-part]", codings, [format](Coding coding) {
    format->coder = coding.first;
    format->layout = coding.second;
  });
  command->add_option_function<uint16_t>(
      "--split",
      [format](uint16_t boundary) {
        format->boundary = boundary;
        format->parts = uint8_t(format->coder == 0 ? 1 : 2);
        format->layout = 3;
      },
      "slices below this one interleaved or two-part, the others plain or Rice; 1 to the last slice");
  command->add_option("--slice-predictor", format->predictor, "0 from the left, 1 median edge [1]");
  command->add_option("--flat", format->flatThreshold, "neighbours this close are averaged")->capture_default_str();
  command->add_option("--slice-rows", format->rowsPerSlice, "rows of a slice")->capture_default_str();
  AddSwitchOff(command, "--no-slice-crcs", "slices without CRCs", &format->sliceCrcs);
  AddNumbers(command, "--origin", "where the frame lies on the sensor", "X,Y", [format](const Numbers& place) {
    if (place.size() != 2 || place[0] > UINT16_MAX || place[1] > UINT16_MAX) return false;
    format->left = uint16_t(place[0]);
    format->top = uint16_t(place[1]);
    return true;
  });
  command->add_option("--shift", format->sampleShift, "low bits that samples lose [0]");
  const std::map<std::string, qx::QorixTable> tables = {
      {"noise", qx::QorixTable::kNoise}, {"linear", qx::QorixTable::kBitDepthLinear}, {"log", qx::QorixTable::kBitDepthLog}};
  AddChoice<qx::QorixTable>(command, "--table", "samples are codes of a table", tables,
                            [recording](qx::QorixTable table) { recording->table = table; });
  command->add_option("--level", recording->quantization, "table noise: steps in units of the noise")->capture_default_str();
  command->add_option("--code-bits", recording->codeBits, "tables linear and log: bits of a code")->capture_default_str();
  command->add_flag("--table-chunk", recording->tableChunk, "the table is in the file");
}

void AddLayout(CLI::App* command, qx::QorixRecordingOptions* recording) {
  qx::QorixFileOptions* file = &recording->file;
  command->option_defaults()->group(".qorix: file");
  command->add_option("--session", file->sessionId, "session id")->capture_default_str();
  command->add_option("--part", file->header.partNumber, "part number")->capture_default_str();
  command->add_option("--frames-before", file->framesBefore, "frames of the parts before")->capture_default_str();
  AddSwitchOff(command, "--not-last", "more parts follow", &file->lastPart);
  command->add_flag("--header-copy-first", file->headerCopyFirst, "a copy of the header comes first");
  command->add_flag_callback(
      "--no-copies", [file] { file->repeatHeader = file->repeatTables = false; }, "no copies of header and tables");
  command->add_option("--index-every", file->indexEvery, "chunks between periodic indexes, 0: none")->capture_default_str();
  AddSwitchOff(command, "--no-whole-index", "no index of the whole file", &file->wholeIndex);
  AddSwitchOff(command, "--no-trailer", "no trailer", &file->trailer);
  command->add_option("--keyframe-every", file->keyframeEvery, "frames between complete metadata")->capture_default_str();
  AddList(command, "--lost", "frames that have a number, but are not in the file", &recording->lostSlots);
  AddList(command, "--repeat", "frames written twice", &recording->repeatedSlots);
  AddList(command, "--stall", "frames with the timestamp of the one before", &recording->stalledSlots);
  command->add_option("--motion-every", recording->motionEvery, "frames between motion chunks, 0: none")->capture_default_str();
  command->add_option("--unknown-every", recording->unknownEvery, "frames between chunks of an unknown kind")->capture_default_str();
  command->add_option("--foreign-every", recording->foreignEvery, "frames between frame chunks of another session")->capture_default_str();
  command->add_flag("--hollow", recording->hollow, "slices are holes of a sparse file");
  command->add_option("--distinct", recording->distinctPictures, "the scene starts again after that many frames; 0: never")
      ->capture_default_str();
}

void AddItems(CLI::App* command, qx::QorixRecordingOptions* recording) {
  command->option_defaults()->group(".qorix: metadata");
  AddSwitchOff(command, "--no-static-items", "none of the recording", &recording->staticItems);
  AddSwitchOff(command, "--no-frame-items", "none of the frames", &recording->frameItems);
  using Balance = qx::QorixWhiteBalance;
  AddChoice<Balance>(command, "--white-balance", "as shot [neutral]",
                     {{"none", Balance::kNone}, {"neutral", Balance::kNeutral}, {"gains", Balance::kGains}},
                     [recording](Balance balance) { recording->whiteBalance = balance; });
  using Lens = qx::QorixLens;
  AddChoice<Lens>(command, "--lens", "lens items: radial, or a pair of the frame or the recording [none]",
                  {{"none", Lens::kNone}, {"radial", Lens::kRadial}, {"frame", Lens::kPairOfFrame}, {"recording", Lens::kPairOfRecording}},
                  [recording](Lens lens) { recording->lens = lens; });
  command->add_option("--distortion-corr", recording->distortionCorrection, "the lens was corrected: 0 no (no warp then), 1 yes");
  command->add_option("--dynamic-levels", recording->dynamicLevels, "black of each frame, in static blacks; 0: no such items");
  command->add_flag("--shading", recording->shadingMaps, "two shading maps; also --gain-map");
  command->add_flag("--resize", recording->resize, "the sensor is twice as large as the frame");
  command->add_flag("--gps", recording->gps, "the place of each frame");
  command->add_flag("--gps-start", recording->gpsStart, "the place of the recording");
  command->add_flag("--modules", recording->cameraModules, "two camera modules, each for half of the frames");
}

void AddTone(CLI::App* command, qx::QorixSoundOptions* sound) {
  command->option_defaults()->group(".qorix: sound");
  command->add_option("--tone-chunk", sound->chunkFrames, "sample frames a chunk")->capture_default_str();
  command->add_option("--tone-playback-rate", sound->playbackRate, "rate at which it plays in slow motion");
  command->add_flag_callback(
      "--tone-unsynced", [sound] { sound->clockSync = 0; }, "its clock is not that of the sensor");
  AddList(command, "--tone-gaps", "chunks that are not in the file", &sound->missingChunks);
  AddList(command, "--tone-foreign", "chunks of another rate", &sound->foreignChunks);
  AddList(command, "--tone-odd", "chunks without their last bytes", &sound->oddSizedChunks);
}

}  // namespace

void AddQorixMakeOptions(CLI::App* command, qx::QorixRecordingOptions* recording) {
  AddCoding(command, recording);
  AddLayout(command, recording);
  AddItems(command, recording);
  AddTone(command, &recording->sound);
}

void AddQorixDamageOptions(CLI::App* command, QorixDamageOptions* damage) {
  command->option_defaults()->group("Chunks of a .qorix recording (it is read whole; they come before the other damage, in this order)");
  command->add_option("--interleave-session", damage->interleaved, "chunks of that recording after every second one")
      ->check(CLI::ExistingFile);
  command->add_option("--foreign-session", damage->appended, "that recording behind this one")->check(CLI::ExistingFile);
  AddNumbers(command, "--swap", "two chunks, numbered as `describe` lists them", "A,B", [damage](const Numbers& pair) {
    if (pair.size() == 2) damage->swaps.emplace_back(size_t(pair[0]), size_t(pair[1]));
    return pair.size() == 2;
  });
  AddNumbers(command, "--corrupt-slice", "a bit of a slice", "FRAME,SLICE", [damage](const Numbers& pair) {
    if (pair.size() == 2) damage->slices.emplace_back(uint32_t(pair[0]), uint32_t(pair[1]));
    return pair.size() == 2;
  });
  command->add_flag("--overwrite-indexes", damage->overwriteIndexes, "noise inside all indexes");
  command->add_flag("--drop-trailer", damage->dropTrailer, "no trailer");
  command->add_flag("--drop-index", damage->dropIndex, "no trailer and no index of the whole file");
  AddNumbers(command, "--insert", "zeros, COUNT of them", "OFFSET,COUNT", [damage](const Numbers& pair) {
    if (pair.size() == 2) damage->inserts.emplace_back(uint64_t(pair[0]), uint64_t(pair[1]));
    return pair.size() == 2;
  });
}

}  // namespace tool
