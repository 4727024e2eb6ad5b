#include "standin/host_clip.h"

#include <algorithm>
#include <filesystem>

#include "host/selectors.h"
#include "standin/guarded.h"
#include "standin/host_frames.h"
#include "standin/host_suites.h"

namespace standin {

namespace host = qx::host;

namespace {

constexpr int kMostEntries = 64;

std::string ColorSpaceText(const host::ColorSpaceRec& record) {
  return "type " + std::to_string(record.outColorSpaceType) + ", primaries " + std::to_string(record.colorPrimariesCode) + ", transfer " +
         std::to_string(record.transferCharacteristicCode) + ", matrix " + std::to_string(record.matrixEquationsCode) + ", " +
         std::to_string(int(record.bitDepth)) + " bit, " + (record.isFullRange != 0 ? "full range" : "narrow range");
}

}  // namespace

HostFrame::~HostFrame() {
  if (frame_ != nullptr) DisposeFrame(frame_);
}

std::unique_ptr<HostClip> HostClip::Open(const Plugin& plugin, const std::string& path, uint32_t fileType, int32_t* result) {
  const std::filesystem::path native = std::u8string(path.begin(), path.end());
  if (fileType == 0) fileType = plugin.FileTypeOf(path);
  std::unique_ptr<HostClip> clip(new HostClip(plugin, native.u16string(), fileType));
  *result = clip->Reopen();
  if (*result != host::imNoErr) return nullptr;
  ClipFacts facts;
  clip->DescribeInfo(&facts);
  if (facts.rateScale > 0) clip->ticksPerFrame_ = kTicksPerSecond / facts.rateScale * facts.rateSampleSize;
  return clip;
}

HostClip::~HostClip() {
  Close();
}

int32_t HostClip::Reopen() {
  GuardedRecord<host::FileOpenRec8> record("file open record");
  GuardedRecord<host::FileRef> place("file reference");
  record->fileinfo.filetype = int32_t(fileType_);
  record->fileinfo.filepath = path_.c_str();
  record->fileinfo.fileref = host::kNoFile;
  record->privatedata = privateData_;
  const int32_t result = plugin_.Call(host::imOpenFile8, place.get(), record.get());
  if (result != host::imNoErr) {
    if (record->privatedata != privateData_) ReportViolation("imOpenFile8: result %d with private data", result);
    return result;
  }
  privateData_ = record->privatedata;
  file_ = *place;
  extraMemoryBytes_ = record->outExtraMemoryUsage;
  if (privateData_ == nullptr || file_ == host::kNoFile || file_ != record->fileinfo.fileref)
    ReportViolation("imOpenFile8: no handle or file");
  return result;
}

int32_t HostClip::Flush() const {
  GuardedRecord<host::AsyncImporterCreationRec> creation("asynchronous creation record");
  creation->inPrivateData = privateData_;
  const int32_t created = plugin_.Call(host::imCreateAsyncImporter, creation.get(), nullptr);
  if (created != host::imNoErr) return created;
  const int32_t flushed = creation->outAsyncEntry(host::aiFlush, creation->outAsyncPrivateData);
  const int32_t closed = creation->outAsyncEntry(host::aiClose, creation->outAsyncPrivateData);
  return flushed != host::aiNoError ? flushed : closed;
}

int32_t HostClip::Quiet() {
  const int32_t result = plugin_.Call(host::imQuietFile, &file_, privateData_);
  if (file_ != host::kNoFile) ReportViolation("imQuietFile: file reference not cleared");
  return result;
}

int32_t HostClip::Close() {
  if (privateData_ == nullptr) return host::imNoErr;
  return plugin_.Call(host::imCloseFile, static_cast<void*>(nullptr), std::exchange(privateData_, nullptr));
}

ClipFacts HostClip::Describe() const {
  ClipFacts facts;
  DescribeInfo(&facts);
  DescribeSizesAndFormats(&facts);
  DescribeColorSpace(&facts);
  facts.extraMemoryBytes = extraMemoryBytes_;

  GuardedRecord<host::TimeInfoRec8> time("time info record");
  time->privatedata = privateData_;
  if (plugin_.Call(host::imGetTimeInfo8, static_cast<void*>(nullptr), time.get()) == host::imNoErr) facts.timecode = time->orgtime;

  GuardedRecord<host::QueryContentStateRec> state("content state record");
  state->inSourcePath = path_.c_str();
  if (plugin_.Call(host::imQueryContentState, state.get(), nullptr) == host::imNoErr) facts.contentState = state->outContentStateID;
  return facts;
}

void HostClip::DescribeInfo(ClipFacts* facts) const {
  GuardedRecord<host::FileAccessRec8> access("file access record");
  access->filetype = int32_t(fileType_);
  access->filepath = path_.c_str();
  GuardedRecord<host::FileInfoRec8> info("file info record");
  info->privatedata = privateData_;
  const PrefsBlock before = prefs_;
  info->prefs = prefsAddress();
  if (plugin_.Call(host::imGetInfo8, access.get(), info.get()) != host::imNoErr) {
    ReportViolation("imGetInfo8 refused an open clip");
    return;
  }
  if (prefs_ != before) ReportViolation("imGetInfo8: stored settings changed");
  facts->width = info->imageWidth;
  facts->height = info->imageHeight;
  facts->hasAudio = info->hasAudio != 0;
  if (facts->hasAudio) {
    facts->audioChannels = info->audioChannels;
    facts->audioRate = double(info->audioSampleRate);
    facts->audioFrames = info->audioDuration;
  }
  facts->rateScale = info->vidScale;
  facts->rateSampleSize = info->vidSampleSize;
  facts->frames = info->vidDurationInFrames;
  facts->bitDepth = info->bitDepth;
  facts->declaresColorSpace = info->colorSpaceSupport != 0;
  facts->asyncOffered = info->supportsAsyncIO != 0;
}

void HostClip::DescribeSizesAndFormats(ClipFacts* facts) const {
  for (uint64_t index = 0; index < kMostEntries; ++index) {
    GuardedRecord<host::IndPixelFormatRec> format("pixel format record");
    format->privatedata = privateData_;
    if (plugin_.Call(host::imGetIndPixelFormat, index, format.get()) != host::imNoErr) break;
    facts->pixelFormats.push_back(format->outPixelFormat);
  }
  for (int32_t index = 0, result = host::imIterateFrameSizes; result == host::imIterateFrameSizes && index < kMostEntries; ++index) {
    GuardedRecord<host::PreferredFrameSizeRec> size("frame size record");
    size->inPrivateData = privateData_;
    size->inPixelFormat = facts->pixelFormats.empty() ? 0 : facts->pixelFormats[0];
    size->inIndex = index;
    result = plugin_.Call(host::imGetPreferredFrameSize, size.get(), nullptr);
    if (result != host::imNoErr && result != host::imIterateFrameSizes) break;
    facts->sizes.push_back({size->outWidth, size->outHeight});
  }
}

void HostClip::DescribeColorSpace(ClipFacts* facts) const {
  if (!facts->declaresColorSpace) return;
  GuardedRecord<host::ColorSpaceRec> space("colour space record");
  space->inPrivateData = privateData_;
  if (plugin_.Call(host::imGetIndColorSpace, uint64_t(0), space.get()) != host::imNoErr) return;
  facts->colorSpace = ColorSpaceText(*space);
  constexpr int32_t kPredefined = 5;
  if (space->outColorSpaceType != kPredefined) return;
  std::string name(size_t(std::max(space->ioBufferSize, 1)), '\0');
  space->inDestinationBuffer = name.data();
  if (plugin_.Call(host::imGetIndColorSpace, uint64_t(0), space.get()) == host::imNoErr) facts->colorSpace = name.c_str();
}

void HostClip::FillRequest(const FrameRequest& request, host::SourceVideoRec* record, std::vector<host::FrameFormat>* formats,
                           host::PPix* place) const {
  formats->clear();
  for (const uint32_t format : request.formats) formats->push_back({request.width, request.height, format});
  record->inPrivateData = privateData_;
  record->inFrameTime = TimeOfFrame(request.frame);
  record->inFrameFormats = formats->data();
  record->inNumFrameFormats = int32_t(formats->size());
  record->outFrame = place;
  record->prefs = prefsAddress();
  record->prefsSize = int32_t(prefs_.size());
  record->inQuality = request.quality;
  record->inIntent = request.intent;
  record->inPlaybackRatio = request.playbackRatio;
  record->inPlaybackRate = request.playbackRate;
  if (request.withColorSpaceId) record->opaqueColorSpaceIdentifier = {{0x1234, 0x5678}};
}

HostFrame HostClip::GetFrame(const FrameRequest& request, int32_t* result) const {
  GuardedRecord<host::SourceVideoRec> record("source video record");
  std::vector<host::FrameFormat> formats;
  host::PPix place = nullptr;
  FillRequest(request, record.get(), &formats, &place);
  host::FileRef file = file_;
  *result = plugin_.Call(host::imGetSourceVideo, &file, record.get());
  if ((*result == host::imNoErr) != (place != nullptr))
    ReportViolation("imGetSourceVideo: result %d, frame %p", *result, static_cast<void*>(place));
  return HostFrame(place);
}

}  // namespace standin
