// The host's records, as it lays them out: packed to 1 byte except the colour-space record. Pointers and handles are 8 bytes, everything
// little-endian. Only members with a name that says something are read or written by the importer; the rest must stay as the host left it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qx::host {

/// Memory handle: a pointer to a master pointer to the block.
using Handle = char**;
/// Operating-system file handle; all bits set means "no file".
using FileRef = int64_t;
constexpr FileRef kNoFile = -1;

/// A frame of the host; opaque.
struct PPixTag;
using PPix = PPixTag*;

struct PiSuites;

#pragma pack(push, 1)

struct StdParms {
  int32_t interfaceVersion;
  void* callbacks;
  const PiSuites* piSuites;
};

struct ImportInfoRec {
  int32_t importerType;
  int32_t unused1;
  int32_t canSave;
  int32_t canDelete;
  int32_t canResize;
  int32_t canDoSubsize;
  int32_t canDoContinuousTime;
  int32_t noFile;
  int32_t addToMenu;
  int32_t hasSetup;
  int32_t dontCache;
  int32_t setupOnDblClk;
  int32_t keepLoaded;
  int32_t priority;
  int32_t canAsync;
  int32_t canCreate;
  int32_t canCalcSizes;
  int32_t canTrim;
  int32_t avoidAudioConform;
  char16_t* acceleratorFileExt;
  int32_t canCopy;
  int32_t canSupplyMetadataClipName;
  int32_t canValidatePrefs;
  int32_t canProvidePeakAudio;
  int32_t canProvideFileList;
  int32_t canProvideClosedCaptions;
  char fileInfoVersion[37];
  int32_t hasSourceSettingsEffect;
  int32_t hasPersistentData;
  char reserved[40];
};

struct IndFormatRec {
  int32_t filetype;
  int32_t flags;
  int32_t canWriteTimecode;
  char formatName[256];
  char formatShortName[32];
  char platformExtension[256];
  int32_t hasAlternateTypes;
  int32_t alternateTypes[50];
  int32_t canWriteMetaData;
};

struct FileAccessRec8 {
  void* importID;
  int32_t filetype;
  const char16_t* filepath;
  FileRef fileref;
  char16_t* newfilename;
};

struct FileOpenRec8 {
  FileAccessRec8 fileinfo;
  Handle privatedata;
  int32_t delegatetype;
  int32_t inReadWrite;
  int32_t inImporterID;
  uint64_t outExtraMemoryUsage;
  int32_t inStreamIdx;
};

struct FileInfoRec8 {
  char hasVideo;
  char hasAudio;
  int32_t imageWidth;
  int32_t imageHeight;
  int16_t pixelAspectV1;
  int16_t depth;
  int32_t subType;
  char fieldType;
  char fieldsStacked[3];
  char alphaType;
  char matteColor[3];
  char imageFlags[8];
  int32_t pixelAspectNum;
  int32_t pixelAspectDen;
  char isRollCrawl[4];
  int32_t importerID;
  int32_t supportsAsyncIO;
  int32_t supportsGetSourceVideo;
  int32_t hasPulldown;
  int32_t pulldownCadence;
  int32_t posterFrame;
  int32_t canTransform;
  int32_t interpretationUncertain;
  int32_t colorProfileSupport;
  char codecDescription[16];
  int32_t colorSpaceSupport;
  int64_t frameRate;
  int32_t hasEmbeddedLut;
  int32_t bitDepth;
  char reserved1[44];
  int32_t vidScale;
  int32_t vidSampleSize;
  int32_t vidDuration;
  int32_t audioChannels;
  float audioSampleRate;
  int32_t audioSampleType;
  int64_t audioDuration;
  int32_t accessModes;
  Handle privatedata;
  void* prefs;
  char hasDataRate;
  int32_t streamIdx;
  char streamsAsComp;
  char16_t streamName[256];
  int32_t sessionPluginID;
  char alwaysUnquiet;
  char hasDataStreams;
  char16_t filePath[2048];
  char growingFlags[3];
  char16_t sourceSettingsMatchName[256];
  int64_t vidDurationInFrames;
  int32_t immersiveVideo[4];
  char captions[3];
};

struct GetPrefsRec {
  void* prefs;
  int32_t prefsLength;
  char firstTime;
  int32_t timelineData;
  int32_t unused;
  char timelineLocation[12];
  int32_t sessionPluginID;
  int32_t imageWidth;
  int32_t imageHeight;
  int32_t pixelAspectNum;
  int32_t pixelAspectDen;
  int32_t vidScale;
  int32_t vidSampleSize;
  float sampleRate;
};

struct GetInstancePrefsRec {
  Handle privatedata;
  GetPrefsRec prefs;
};

struct PreferredFrameSizeRec {
  Handle inPrivateData;
  void* inPrefs;
  uint32_t inPixelFormat;
  int32_t inIndex;
  int32_t outWidth;
  int32_t outHeight;
};

struct IndPixelFormatRec {
  Handle privatedata;
  uint32_t outPixelFormat;
  void* prefs;
};

/// An accepted frame format; any member may be 0 = anything.
struct FrameFormat {
  int32_t width;
  int32_t height;
  uint32_t pixelFormat;
};

struct ColorSpaceId {
  int64_t parts[2];
};

struct SourceVideoRec {
  void* inPrivateData;  // the handle; for an asynchronous importer its own private data
  int32_t currentStreamIdx;
  int64_t inFrameTime;  // ticks
  const FrameFormat* inFrameFormats;
  int32_t inNumFrameFormats;
  char removePulldown[4];
  PPix* outFrame;
  void* prefs;
  int32_t prefsSize;
  char selectedColorProfileName[16];
  int32_t inQuality;
  int32_t inIntent;
  double inPlaybackRatio;
  double inPlaybackRate;
  ColorSpaceId opaqueColorSpaceIdentifier;
};

struct AsyncRequestRec {
  void* inPrivateData;
  int32_t unused;
  SourceVideoRec sourceVideo;
};

using AsyncEntry = int32_t (*)(int32_t selector, void* param);

struct AsyncImporterCreationRec {
  Handle inPrivateData;
  void* inPrefs;
  AsyncEntry outAsyncEntry;
  void* outAsyncPrivateData;
};

struct ImportAudioRec7 {
  int64_t position;  // sample frames
  uint32_t size;     // sample frames
  float** buffer;    // one per channel
  Handle privateData;
  void* prefs;
};

struct TimeInfoRec8 {
  Handle privatedata;
  void* prefs;
  char orgtime[18];
  int32_t orgScale;
  int32_t orgSampleSize;
  char alttime[18];
  int32_t altScale;
  int32_t altSampleSize;
  char orgreel[40];
  char altreel[40];
  char logcomment[256];
  int32_t dataType;
};

struct QueryContentStateRec {
  const char16_t* inSourcePath;
  char outContentStateID[37];
};

#pragma pack(pop)

/// Naturally aligned, unlike the others.
struct ColorSpaceRec {
  Handle inPrivateData;
  int32_t outColorSpaceType;
  int32_t padding1;
  int32_t ioBufferSize;
  int32_t padding2;
  void* inDestinationBuffer;
  char outName[16];
  int32_t colorPrimariesCode;
  int32_t transferCharacteristicCode;
  int32_t matrixEquationsCode;
  uint8_t bitDepth;
  uint8_t bitDepthPadding[3];
  int32_t isFullRange;
  int32_t isRGB;
  int32_t isSceneReferred;
  int32_t padding3;
};

#pragma pack(push, 1)
struct Rect {
  int32_t left, top, right, bottom;
};

using NewHandleFunction = Handle (*)(uint32_t size);
using DisposeHandleFunction = void (*)(Handle handle);

/// Entries that the importer does not use are plain addresses.
struct MemFuncs {
  char* (*newPtr)(uint32_t size);
  void (*setPtrSize)(char** ptr, uint32_t newSize);
  int32_t (*getPtrSize)(char* ptr);
  void (*disposePtr)(char* ptr);
  NewHandleFunction newHandle;
  int16_t (*setHandleSize)(Handle handle, uint32_t newSize);
  int32_t (*getHandleSize)(Handle handle);
  DisposeHandleFunction disposeHandle;
  char* (*newPtrClear)(uint32_t size);
  Handle (*newHandleClear)(uint32_t size);
  void (*lockHandle)(Handle handle);
  void (*unlockHandle)(Handle handle);
};

struct SPBasicSuite;

struct UtilFuncs {
  void* getSettings;
  void* getSerialNumber;
  void* getFileTimebase;
  void* getFileVideo;
  void* getFileAudioSecond;
  void* getPlugInResFile;
  void* getFileVideoBounds;
  const SPBasicSuite* (*getSPBasicSuite)();
  void* getFileExtString;
};

struct PiSuites {
  int32_t interfaceVersion;  // 9
  const MemFuncs* memFuncs;
  void* windFuncs;
  void* ppixFuncs;
  const UtilFuncs* utilFuncs;
  void* timelineFuncs;
};
#pragma pack(pop)

#define QX_HOST_SIZE(type, size) static_assert(sizeof(type) == (size), #type)
#define QX_HOST_AT(type, member, offset) static_assert(offsetof(type, member) == (offset), #type "." #member)

QX_HOST_SIZE(StdParms, 20);
QX_HOST_AT(StdParms, piSuites, 12);
QX_HOST_SIZE(PiSuites, 44);
QX_HOST_AT(PiSuites, utilFuncs, 28);
QX_HOST_AT(MemFuncs, newHandle, 32);
QX_HOST_AT(MemFuncs, disposeHandle, 56);
QX_HOST_AT(UtilFuncs, getSPBasicSuite, 56);
QX_HOST_SIZE(ImportInfoRec, 193);
QX_HOST_AT(ImportInfoRec, canSave, 8);
QX_HOST_AT(ImportInfoRec, hasSetup, 36);
QX_HOST_AT(ImportInfoRec, setupOnDblClk, 44);
QX_HOST_AT(ImportInfoRec, keepLoaded, 48);
QX_HOST_AT(ImportInfoRec, canCalcSizes, 64);
QX_HOST_AT(ImportInfoRec, avoidAudioConform, 72);
QX_HOST_AT(ImportInfoRec, fileInfoVersion, 108);
QX_HOST_SIZE(IndFormatRec, 764);
QX_HOST_AT(IndFormatRec, formatName, 12);
QX_HOST_AT(IndFormatRec, formatShortName, 268);
QX_HOST_AT(IndFormatRec, platformExtension, 300);
QX_HOST_SIZE(FileAccessRec8, 36);
QX_HOST_AT(FileAccessRec8, filetype, 8);
QX_HOST_AT(FileAccessRec8, filepath, 12);
QX_HOST_AT(FileAccessRec8, fileref, 20);
QX_HOST_SIZE(FileOpenRec8, 68);
QX_HOST_AT(FileOpenRec8, privatedata, 36);
QX_HOST_AT(FileOpenRec8, outExtraMemoryUsage, 56);
QX_HOST_SIZE(FileInfoRec8, 5376);
QX_HOST_AT(FileInfoRec8, imageWidth, 2);
QX_HOST_AT(FileInfoRec8, imageHeight, 6);
QX_HOST_AT(FileInfoRec8, depth, 12);
QX_HOST_AT(FileInfoRec8, subType, 14);
QX_HOST_AT(FileInfoRec8, fieldType, 18);
QX_HOST_AT(FileInfoRec8, alphaType, 22);
QX_HOST_AT(FileInfoRec8, pixelAspectNum, 34);
QX_HOST_AT(FileInfoRec8, pixelAspectDen, 38);
QX_HOST_AT(FileInfoRec8, importerID, 46);
QX_HOST_AT(FileInfoRec8, supportsAsyncIO, 50);
QX_HOST_AT(FileInfoRec8, supportsGetSourceVideo, 54);
QX_HOST_AT(FileInfoRec8, hasPulldown, 58);
QX_HOST_AT(FileInfoRec8, codecDescription, 82);
QX_HOST_AT(FileInfoRec8, colorSpaceSupport, 98);
QX_HOST_AT(FileInfoRec8, frameRate, 102);
QX_HOST_AT(FileInfoRec8, bitDepth, 114);
QX_HOST_AT(FileInfoRec8, vidScale, 162);
QX_HOST_AT(FileInfoRec8, vidSampleSize, 166);
QX_HOST_AT(FileInfoRec8, vidDuration, 170);
QX_HOST_AT(FileInfoRec8, audioChannels, 174);
QX_HOST_AT(FileInfoRec8, audioSampleRate, 178);
QX_HOST_AT(FileInfoRec8, audioSampleType, 182);
QX_HOST_AT(FileInfoRec8, audioDuration, 186);
QX_HOST_AT(FileInfoRec8, accessModes, 194);
QX_HOST_AT(FileInfoRec8, privatedata, 198);
QX_HOST_AT(FileInfoRec8, prefs, 206);
QX_HOST_AT(FileInfoRec8, hasDataRate, 214);
QX_HOST_AT(FileInfoRec8, streamName, 220);
QX_HOST_AT(FileInfoRec8, filePath, 738);
QX_HOST_AT(FileInfoRec8, sourceSettingsMatchName, 4837);
QX_HOST_AT(FileInfoRec8, vidDurationInFrames, 5349);
QX_HOST_SIZE(GetPrefsRec, 65);
QX_HOST_AT(GetPrefsRec, prefsLength, 8);
QX_HOST_AT(GetPrefsRec, firstTime, 12);
QX_HOST_SIZE(GetInstancePrefsRec, 73);
QX_HOST_AT(GetInstancePrefsRec, prefs, 8);
QX_HOST_SIZE(PreferredFrameSizeRec, 32);
QX_HOST_AT(PreferredFrameSizeRec, inIndex, 20);
QX_HOST_AT(PreferredFrameSizeRec, outWidth, 24);
QX_HOST_AT(PreferredFrameSizeRec, outHeight, 28);
QX_HOST_SIZE(IndPixelFormatRec, 20);
QX_HOST_AT(IndPixelFormatRec, outPixelFormat, 8);
QX_HOST_SIZE(FrameFormat, 12);
QX_HOST_SIZE(SourceVideoRec, 112);
QX_HOST_AT(SourceVideoRec, inFrameTime, 12);
QX_HOST_AT(SourceVideoRec, inFrameFormats, 20);
QX_HOST_AT(SourceVideoRec, inNumFrameFormats, 28);
QX_HOST_AT(SourceVideoRec, outFrame, 36);
QX_HOST_AT(SourceVideoRec, inQuality, 72);
QX_HOST_AT(SourceVideoRec, inIntent, 76);
QX_HOST_AT(SourceVideoRec, inPlaybackRatio, 80);
QX_HOST_AT(SourceVideoRec, inPlaybackRate, 88);
QX_HOST_AT(SourceVideoRec, opaqueColorSpaceIdentifier, 96);
QX_HOST_SIZE(AsyncRequestRec, 124);
QX_HOST_AT(AsyncRequestRec, sourceVideo, 12);
QX_HOST_SIZE(AsyncImporterCreationRec, 32);
QX_HOST_AT(AsyncImporterCreationRec, outAsyncEntry, 16);
QX_HOST_AT(AsyncImporterCreationRec, outAsyncPrivateData, 24);
QX_HOST_SIZE(ImportAudioRec7, 36);
QX_HOST_AT(ImportAudioRec7, size, 8);
QX_HOST_AT(ImportAudioRec7, buffer, 12);
QX_HOST_AT(ImportAudioRec7, privateData, 20);
QX_HOST_SIZE(TimeInfoRec8, 408);
QX_HOST_AT(TimeInfoRec8, orgtime, 16);
QX_HOST_AT(TimeInfoRec8, orgScale, 34);
QX_HOST_AT(TimeInfoRec8, orgSampleSize, 38);
QX_HOST_AT(TimeInfoRec8, dataType, 404);
QX_HOST_SIZE(QueryContentStateRec, 45);
QX_HOST_AT(QueryContentStateRec, outContentStateID, 8);
QX_HOST_SIZE(ColorSpaceRec, 80);
QX_HOST_AT(ColorSpaceRec, outColorSpaceType, 8);
QX_HOST_AT(ColorSpaceRec, ioBufferSize, 16);
QX_HOST_AT(ColorSpaceRec, inDestinationBuffer, 24);
QX_HOST_AT(ColorSpaceRec, outName, 32);
QX_HOST_AT(ColorSpaceRec, colorPrimariesCode, 48);
QX_HOST_AT(ColorSpaceRec, bitDepth, 60);
QX_HOST_AT(ColorSpaceRec, isFullRange, 64);
QX_HOST_AT(ColorSpaceRec, isRGB, 68);
QX_HOST_AT(ColorSpaceRec, isSceneReferred, 72);

#undef QX_HOST_SIZE
#undef QX_HOST_AT

}  // namespace qx::host
