// The host's suites: tables of functions acquired by name and version through the basic suite.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/records.h"

namespace qx::host {

/// Negative = failure; 0 and positive = success. The basic suite itself answers 0 for success and anything else for failure.
using SuiteError = int32_t;
constexpr SuiteError kSuiteNoError = 0;
constexpr SuiteError kSuiteFailed = int32_t(0x80000000u);
constexpr SuiteError kSuiteInvalidParameter = int32_t(0x80000001u);
constexpr SuiteError kSuiteOutOfMemory = int32_t(0x80000002u);
constexpr SuiteError kSuiteInvalidCall = int32_t(0x80000003u);
constexpr SuiteError kSuiteNotImplemented = int32_t(0x80000004u);
constexpr SuiteError kSuiteIdNotValid = int32_t(0x80000005u);

enum PPixAccess : int32_t { kPPixReadOnly = 0, kPPixWriteOnly = 1, kPPixReadWrite = 2 };

constexpr char kBasicSuiteName[] = "SP Basic Suite";
constexpr int32_t kBasicSuiteVersion = 4;

struct SPBasicSuite {
  int32_t (*acquireSuite)(const char* name, int32_t version, const void** suite);
  int32_t (*releaseSuite)(const char* name, int32_t version);
  uint8_t (*isEqual)(const char* a, const char* b);
  int32_t (*allocateBlock)(size_t size, void** block);
  int32_t (*freeBlock)(void* block);
  int32_t (*reallocateBlock)(void* block, size_t newSize, void** newBlock);
  int32_t (*undefined)();
};

constexpr char kPPixCreatorSuiteName[] = "Premiere PPix Creator Suite";
constexpr int32_t kPPixCreatorSuiteVersion = 1;

struct PPixCreatorSuite {
  SuiteError (*createPPix)(PPix* out, int32_t access, uint32_t pixelFormat, const Rect* bounds);
  SuiteError (*clonePPix)(PPix in, PPix* out, int32_t access);
};

constexpr char kPPixCreator2SuiteName[] = "Premiere PPix Creator 2 Suite";
constexpr int32_t kPPixCreator2SuiteVersion = 4;

struct PPixCreator2Suite {
  SuiteError (*createPPix)(PPix* out, int32_t access, uint32_t pixelFormat, int32_t width, int32_t height, bool useFields,
                           int32_t fieldNumber, int32_t aspectNumerator, int32_t aspectDenominator);
  SuiteError (*createRawPPix)(PPix* out, int32_t access, int32_t size, int32_t alignment);
  SuiteError (*createCustomPPix)(PPix* out, int32_t access, uint32_t pixelFormat, int32_t width, int32_t height, int32_t aspectNumerator,
                                 int32_t aspectDenominator, int32_t bufferSize);
  SuiteError (*createDiskAlignedPPix)(PPix* out, uint32_t pixelFormat, int32_t width, int32_t height, int32_t aspectNumerator,
                                      int32_t aspectDenominator, int32_t memoryAlignment, int32_t sectorSize, int32_t pixelOffset);
  /// The colour-space id is passed by value.
  SuiteError (*createColorManagedPPix)(PPix* out, int32_t access, uint32_t pixelFormat, int32_t width, int32_t height, bool useFields,
                                       int32_t fieldNumber, int32_t aspectNumerator, int32_t aspectDenominator, ColorSpaceId colorSpace);
  SuiteError (*createColorManagedCustomPPix)(PPix* out, int32_t access, uint32_t pixelFormat, int32_t width, int32_t height,
                                             int32_t aspectNumerator, int32_t aspectDenominator, int32_t bufferSize,
                                             ColorSpaceId colorSpace);
  SuiteError (*createColorManagedDiskAlignedPPix)(PPix* out, uint32_t pixelFormat, int32_t width, int32_t height, int32_t aspectNumerator,
                                                  int32_t aspectDenominator, int32_t memoryAlignment, int32_t sectorSize,
                                                  int32_t pixelOffset, ColorSpaceId colorSpace);
};

constexpr char kPPixSuiteName[] = "Premiere PPix Suite";
constexpr int32_t kPPixSuiteVersion = 1;

struct PPixSuite {
  SuiteError (*dispose)(PPix frame);
  SuiteError (*getPixels)(PPix frame, int32_t access, char** pixels);
  SuiteError (*getBounds)(PPix frame, Rect* bounds);
  SuiteError (*getRowBytes)(PPix frame, int32_t* rowBytes);
  SuiteError (*getPixelAspectRatio)(PPix frame, uint32_t* numerator, uint32_t* denominator);
  SuiteError (*getPixelFormat)(PPix frame, uint32_t* pixelFormat);
  SuiteError (*getUniqueKey)(PPix frame, uint8_t* key, size_t size);
  SuiteError (*getUniqueKeySize)(size_t* size);
  SuiteError (*getRenderTime)(PPix frame, int32_t* milliseconds);
};

constexpr char kTimeSuiteName[] = "Premiere Time Suite";
constexpr int32_t kTimeSuiteVersion = 1;

struct TimeSuite {
  SuiteError (*getTicksPerSecond)(int64_t* ticks);
  SuiteError (*getTicksPerVideoFrame)(int32_t rateCode, int64_t* ticks);
  SuiteError (*getTicksPerAudioSample)(float sampleRate, int64_t* ticks);
};

constexpr char kImporterFileManagerSuiteName[] = "Importer File Manager Suite";
constexpr int32_t kImporterFileManagerSuiteVersion = 4;

struct ImporterFileManagerSuite {
  SuiteError (*setImporterStreamFileCount)(uint32_t importerId, int32_t stream, int32_t count);
  SuiteError (*refreshFileAsync)(const char16_t* path);
  SuiteError (*getGrowingFileRefreshInterval)(int32_t* seconds);
  SuiteError (*setImporterInstanceStreamFileCount)(void* importId, int32_t count);
};

constexpr char kAppInfoSuiteName[] = "MediaCore App Info Suite";
constexpr int32_t kAppInfoSuiteVersion = 3;
constexpr int32_t kAppInfoLanguage = 3;

struct AppInfoSuite {
  /// Selector 0 application FourCC (uint32), 1 version and 2 build (uint32), 3 language (char[6], such as "en_US").
  SuiteError (*getAppInfo)(int32_t selector, void* out);
};

}  // namespace qx::host
