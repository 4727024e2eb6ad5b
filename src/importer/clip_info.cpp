#include "importer/clip_info.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>

#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "importer/diagnostic_log.h"
#include "importer/importer_clip.h"
#include "importer/importer_settings.h"
#include "importer/open_clip_registry.h"
#include "platform/file.h"
#include "platform/path.h"

namespace qx {

namespace {

struct FileFormat {
  uint32_t fileType;
  const char* name;
  const char* extension;
};
constexpr FileFormat kFileFormats[] = {
    {host::kFileTypeQorix, ".qorix RAW", "qorix"},
    {host::kFileTypeRawZip, "qorixcam CinemaDNG", "zip"},
};

constexpr int32_t kFormatFlags = 0x4008;  // can import, is a movie
constexpr int16_t kDepth = 64;            // bits per pixel, informational
constexpr char kAlphaOpaque = 6;          // alpha is there and opaque: the host skips its own fill
constexpr int32_t kFloatSamples = 6;
constexpr int32_t kSmpteTimecode = 1;

// H.273 codes and the host's own, as its colour-space record takes them.
constexpr int32_t kColorSpaceSei = 3, kColorSpacePredefined = 5;
constexpr int32_t kPrimariesBt2020 = 9, kTransferLinear = 8;
constexpr int32_t kPrimariesSGamut3Cine = 1012, kTransferSLog3 = 1001;
constexpr char kSLog3Name[] = "Sony SGamut3.Cine/SLog3";
static_assert(sizeof(kSLog3Name) == 24);

void SetSeiColorSpace(host::ColorSpaceRec* record, int32_t primaries, int32_t transfer, uint8_t bitDepth, bool fullRange) {
  record->outColorSpaceType = kColorSpaceSei;
  record->colorPrimariesCode = primaries;
  record->transferCharacteristicCode = transfer;
  record->matrixEquationsCode = 0;
  record->bitDepth = bitDepth;
  std::memset(record->bitDepthPadding, 0, sizeof(record->bitDepthPadding));
  record->isFullRange = fullRange ? 1 : 0;
  record->isRGB = 1;
  record->isSceneReferred = 1;
}

int32_t SetPredefinedColorSpace(host::ColorSpaceRec* record) {
  record->outColorSpaceType = kColorSpacePredefined;
  if (record->inDestinationBuffer == nullptr) {
    record->ioBufferSize = int32_t(sizeof(kSLog3Name));
    return host::imNoErr;
  }
  if (record->ioBufferSize < int32_t(sizeof(kSLog3Name))) return host::imOtherErr;
  std::memcpy(record->inDestinationBuffer, kSLog3Name, sizeof(kSLog3Name));
  return host::imNoErr;
}

template <size_t N>
void CopyText(char (&out)[N], const char* text) {
  std::snprintf(out, N, "%s", text);
}

// Two 64-bit FNV-style accumulators, so that the text carries 128 bits.
class ContentHash {
 public:
  void Add(uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
      const uint64_t byte = value >> (8 * i) & 0xFF;
      a_ = (a_ ^ byte) * kPrime;
      b_ = (b_ ^ byte) * kPrime + 0x632be59bd9b4e019;
    }
  }
  uint64_t a() const { return a_; }
  uint64_t b() const { return b_; }

 private:
  static constexpr uint64_t kPrime = 0x100000001b3;
  uint64_t a_ = 0x14650fb0739d0383;
  uint64_t b_ = 0x9e3778b97f4a7da6;
};

}  // namespace

void FillImportInfo(host::ImportInfoRec* record) {
  record->canSave = 0;
  record->hasSetup = 1;
  record->setupOnDblClk = 0;
  record->keepLoaded = 1;
  record->canCalcSizes = 0;
  record->avoidAudioConform = 1;
}

int32_t DescribeFileFormat(size_t index, host::IndFormatRec* record) {
  if (index >= std::size(kFileFormats)) return host::imBadFormatIndex;
  const FileFormat& format = kFileFormats[index];
  record->filetype = int32_t(format.fileType);
  record->flags = kFormatFlags;
  record->canWriteTimecode = 0;
  CopyText(record->formatName, format.name);
  CopyText(record->formatShortName, format.name);
  CopyText(record->platformExtension, format.extension);
  record->platformExtension[std::strlen(format.extension) + 1] = '\0';  // the list of extensions ends with an empty one
  return host::imNoErr;
}

void FillFileInfo(const ClipInfo& info, int32_t fileType, host::FileInfoRec8* record) {
  const auto kind = OutputKind(info.outputKind);
  const bool declaresColorSpace = kind == OutputKind::kSLog3 || kind == OutputKind::kLinear;
  record->hasVideo = 1;
  record->hasAudio = info.hasAudio != 0 ? 1 : 0;
  record->imageWidth = info.fullWidth;
  record->imageHeight = info.fullHeight;
  record->depth = kDepth;
  record->subType = fileType;
  record->fieldType = 0;
  record->alphaType = kAlphaOpaque;
  record->pixelAspectNum = 1;
  record->pixelAspectDen = 1;
  record->supportsAsyncIO = Settings().asyncOffered ? 1 : 0;
  record->supportsGetSourceVideo = 1;
  record->hasPulldown = 0;
  record->colorSpaceSupport = declaresColorSpace ? 1 : 0;
  record->bitDepth = 16;
  record->vidScale = info.fpsNumerator;
  record->vidSampleSize = info.fpsDenominator;
  record->vidDuration = int32_t(uint32_t(uint64_t(info.fpsDenominator) * uint64_t(info.frameCount)));
  record->accessModes = 0;
  record->hasDataRate = 0;
  record->vidDurationInFrames = info.frameCount;
  if (info.hasAudio == 0) return;
  record->audioChannels = info.audioChannels;
  record->audioSampleRate = float(info.audioRate);
  record->audioSampleType = kFloatSamples;
  record->audioDuration = info.audioSamples;
}

int32_t PreferredFrameSize(const ClipInfo& info, host::PreferredFrameSizeRec* record) {
  const int32_t level = record->inIndex;
  if (level < kFullSize || level > kQuarterSize) return host::imOtherErr;
  const Size size = LevelSize(info, level);
  if (size.width == 0) return host::imOtherErr;
  record->outWidth = size.width;
  record->outHeight = size.height;
  return level < kQuarterSize && LevelSize(info, level + 1).width != 0 ? host::imIterateFrameSizes : host::imNoErr;
}

int32_t DescribeTimecode(const ClipInfo& info, host::TimeInfoRec8* record) {
  if (info.timecode[0] == '\0') return host::imUnsupported;
  CopyText(record->orgtime, info.timecode);
  record->orgScale = info.fpsNumerator;
  record->orgSampleSize = info.fpsDenominator;
  record->dataType = kSmpteTimecode;
  return host::imNoErr;
}

void FormatContentState(const char16_t* lowercasedPath, size_t length, uint64_t size, uint64_t lastWriteTime, char (&text)[37]) {
  ContentHash hash;
  for (size_t i = 0; i < length; ++i) hash.Add(lowercasedPath[i], 2);
  hash.Add(size >> 32, 4);
  hash.Add(size & 0xFFFFFFFF, 4);
  hash.Add(lastWriteTime, 8);
  std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%04x-%012llx", unsigned(hash.a() >> 32), unsigned(hash.a() >> 16 & 0xFFFF),
                unsigned(hash.a() & 0xFFFF), unsigned(hash.b() >> 48), static_cast<unsigned long long>(hash.b() & 0xFFFFFFFFFFFF));
}

int32_t DescribeContentState(host::QueryContentStateRec* record) {
  if (record == nullptr || record->inSourcePath == nullptr) return host::imOtherErr;
  FileState state;
  if (!ReadFileState(PathFromUtf16(record->inSourcePath), &state)) return host::imOtherErr;
  const std::u16string path = LowercaseUtf16(record->inSourcePath);
  FormatContentState(path.data(), path.size(), state.size, state.lastWriteTime, record->outContentStateID);
  return host::imNoErr;
}

int32_t DescribeColorSpace(size_t index, host::ColorSpaceRec* record) {
  const ImporterClip* clip = LookupImporterClip(record->inPrivateData);
  const OpenedClipPtr opened = clip != nullptr ? clip->Opened() : nullptr;
  const OutputKind kind = opened != nullptr ? opened->outputKind() : OutputKind::kSLog3;
  const bool narrow = opened != nullptr ? opened->info.slog3Narrow != 0 : Settings().slog3Narrow;
  LogLine("imGetIndColorSpace %zu (privatedata %p%s, curve %d, buffer %p, size %d)", index, static_cast<void*>(record->inPrivateData),
          opened != nullptr ? "" : " — not a clip handle", int(kind), record->inDestinationBuffer, record->ioBufferSize);
  if (index != 0) return host::imBadFormatIndex;
  if (kind == OutputKind::kLinear) {
    SetSeiColorSpace(record, kPrimariesBt2020, kTransferLinear, 32, true);
    return host::imNoErr;
  }
  if (Settings().predefinedColorSpace) return SetPredefinedColorSpace(record);
  SetSeiColorSpace(record, kPrimariesSGamut3Cine, kTransferSLog3, 16, !narrow);
  return host::imNoErr;
}

}  // namespace qx
