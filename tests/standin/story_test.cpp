#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "host/suites.h"
#include "samples/recording_maker.h"
#include "standin/frame_image.h"
#include "standin/guarded.h"
#include "standin/host_frames.h"
#include "standin/host_memory.h"
#include "standin/host_suites.h"
#include "standin/process.h"
#include "tests/standin/story_support.h"

namespace standin {
namespace {

namespace host = qx::host;

TEST(Story, DescribesAClip) {
  const TemporaryClip file({});
  RunWithPlugin({{"QORIX_IMPORT_CURVE", "s-log3"}}, [&](const Plugin& plugin) {
    EXPECT_EQ(plugin.initResult(), host::imIsCacheable);
    EXPECT_EQ(int32_t(plugin.importInfo().hasSetup), 1);
    ASSERT_EQ(plugin.formats().size(), 2u);
    EXPECT_EQ(plugin.formats()[0].name, ".qorix RAW");
    EXPECT_EQ(plugin.formats()[1].name, "qorixcam CinemaDNG");
    EXPECT_EQ(plugin.formats()[1].extensions, std::vector<std::string>{"zip"});
    auto clip = OpenClip(plugin, file.path());
    const ClipFacts facts = clip->Describe();
    EXPECT_EQ(facts.width, 64);
    EXPECT_EQ(facts.height, 48);
    EXPECT_EQ(facts.frames, 5);
    EXPECT_EQ(facts.rateScale, 25);
    EXPECT_EQ(facts.rateSampleSize, 1);
    EXPECT_EQ(facts.timecode, "01:00:00:00");
    EXPECT_FALSE(facts.hasAudio);
    EXPECT_EQ(facts.sizes.size(), 1u);
    EXPECT_EQ(facts.pixelFormats.size(), 6u);
    EXPECT_EQ(facts.colorSpace, "type 3, primaries 1012, transfer 1001, matrix 0, 16 bit, full range");
    EXPECT_EQ(facts.contentState, clip->Describe().contentState);
    EXPECT_EQ(facts.contentState.size(), 36u);
  });
}

TEST(Story, RefusesWhatIsNotOurs) {
  const TemporaryClip file({});
  const std::string noArchive = testing::TempDir() + "qx_story_text.zip";
  std::ofstream(NativePath(noArchive)) << "This is no archive, only a text that is longer than thirty bytes.";
  RunWithPlugin({}, [&](const Plugin& plugin) {
    int32_t result = 0;
    EXPECT_EQ(HostClip::Open(plugin, file.path(), host::kFileTypeQorix, &result), nullptr);
    EXPECT_EQ(result, host::imBadFile) << "an archive announced as a recording";
    EXPECT_EQ(HostClip::Open(plugin, noArchive, 0, &result), nullptr);
    EXPECT_EQ(result, host::imBadFile) << "a text file";
    EXPECT_EQ(HostClip::Open(plugin, file.path() + ".gone.zip", 0, &result), nullptr);
    EXPECT_EQ(result, host::imBadFile) << "no such file";

    for (const char* suite : {host::kPPixCreatorSuiteName, host::kPPixSuiteName, host::kTimeSuiteName}) {
      RefuseSuite(suite);
      EXPECT_EQ(HostClip::Open(plugin, file.path(), 0, &result), nullptr);
      EXPECT_EQ(result, host::imOtherErr) << suite;
    }
    RefuseSuite(host::kPPixCreator2SuiteName);
    EXPECT_NE(HostClip::Open(plugin, file.path(), 0, &result), nullptr) << "the second creator suite is optional";
    RefuseSuite("");
    FailHandleAllocations(1);
    EXPECT_EQ(HostClip::Open(plugin, file.path(), 0, &result), nullptr);
    EXPECT_EQ(result, host::imMemErr);
    AtNextHandle([](host::Handle handle) { *handle = nullptr; });
    EXPECT_EQ(HostClip::Open(plugin, file.path(), 0, &result), nullptr);
    EXPECT_EQ(result, host::imMemErr) << "a handle without a block";
    std::error_code kept;  // some systems keep files that are open
    AtNextHandle([&](host::Handle) { std::filesystem::remove(NativePath(file.path()), kept); });
    const bool opened = HostClip::Open(plugin, file.path(), 0, &result) != nullptr;
    EXPECT_EQ(opened, bool(kept));
    EXPECT_EQ(result, kept ? host::imNoErr : host::imBadFile) << "gone between the clip's own opening and the host's";
  });
  std::filesystem::remove(NativePath(noArchive));
}

TEST(Story, QuietedClipKeepsItsPrivateData) {
  const TemporaryClip file({});
  RunWithPlugin({}, [&](const Plugin& plugin) {
    auto clip = OpenClip(plugin, file.path());
    const host::Handle handle = clip->privateData();
    EXPECT_EQ(clip->Quiet(), host::imNoErr);
    int32_t result = 0;
    EXPECT_TRUE(bool(clip->GetFrame(RequestFor(0, host::kBgra8), &result))) << "the frames have descriptors of their own";
    EXPECT_EQ(clip->Reopen(), host::imNoErr);
    EXPECT_EQ(clip->privateData(), handle);
    EXPECT_EQ(clip->Close(), host::imNoErr);
    EXPECT_EQ(plugin.Call(host::imCloseFile, static_cast<void*>(nullptr), nullptr), host::imNoErr) << "closing nothing";
  });
}

TEST(Story, InfoBeforeOpenOpensTheClip) {
  const TemporaryClip file({});
  RunWithPlugin({}, [&](const Plugin& plugin) {
    const std::u16string path(file.path().begin(), file.path().end());
    GuardedRecord<host::FileAccessRec8> access("access");
    access->filetype = int32_t(host::kFileTypeRawZip);
    access->filepath = path.c_str();
    GuardedRecord<host::FileInfoRec8> info("info");
    EXPECT_EQ(plugin.Call(host::imGetInfo8, access.get(), info.get()), host::imNoErr);
    ASSERT_NE(host::Handle(info->privatedata), nullptr);
    EXPECT_EQ(int64_t(info->vidDurationInFrames), 5);
    EXPECT_EQ(plugin.Call(host::imCloseFile, static_cast<void*>(nullptr), info->privatedata), host::imNoErr);
  });
}

TEST(Story, AsynchronousImporterOutlivesItsClip) {
  const TemporaryClip file({});
  RunWithPlugin({{"QORIX_IMPORT_ASYNC", "1"}}, [&](const Plugin& plugin) {
    auto clip = OpenClip(plugin, file.path());
    EXPECT_TRUE(clip->Describe().asyncOffered);
    const AsyncImporter importer(*clip);
    EXPECT_EQ(importer.Initiate(clip->TimeOfFrame(3)), host::aiNoError);
    GuardedRecord<host::SourceVideoRec> request("request");
    std::vector<host::FrameFormat> formats;
    host::PPix place = nullptr;
    clip->FillRequest(RequestFor(3, host::kBgra8), request.get(), &formats, &place);
    clip.reset();  // the clip goes first
    EXPECT_EQ(importer.GetFrame(request.get()), host::aiNoError);
    EXPECT_TRUE(bool(HostFrame(place)));
    request->outFrame = nullptr;
    EXPECT_EQ(importer.GetFrame(request.get()), host::aiUnknownError) << "no place for the frame";
    for (const int32_t selector : {5, 6, 15, 16, 1000}) EXPECT_EQ(importer.Call(selector, nullptr), host::aiUnsupported);
    EXPECT_EQ(importer.Flush(), host::aiNoError);
  });
}

TEST(Story, DamagedFramesShowTheirNeighbour) {
  const TemporaryClip file({.frames = 6, .damagedFrames = {2, 3}});
  RunWithClip({}, file.path(), [&](HostClip& clip) {
    std::vector<RgbImage> images;
    for (int64_t number = 0; number < 6; ++number) {
      int32_t result = 0;
      const HostFrame frame = clip.GetFrame(RequestFor(number, host::kBgra8), &result);
      ASSERT_TRUE(bool(frame)) << number;
      images.push_back(ImageOfFrame(ViewFrame(frame.get())));
    }
    EXPECT_EQ(LargestDifference(images[2], images[1]), 0);
    EXPECT_EQ(LargestDifference(images[3], images[1]), 0);
    EXPECT_GT(LargestDifference(images[4], images[1]), 0);
  });
}

TEST(Story, FrameThatNothingCanReplaceFailsAlone) {
  const TemporaryClip file({.frames = 10, .damagedFrames = {1, 2, 3, 4, 5, 6, 7, 8, 9}});
  const std::string log = testing::TempDir() + "qx_story_failure.log";
  RunWithClip({{"QORIX_IMPORT_LOG", log}}, file.path(), [&](HostClip& clip) {
    const AsyncImporter importer(clip);
    // A request gives up after its frame and three neighbours: this one after 9, 8, 7, 6 and the next after 5, 4, 3, 2.
    GuardedRecord<host::SourceVideoRec> request("request");
    std::vector<host::FrameFormat> formats;
    const host::PPix before = reinterpret_cast<host::PPix>(&formats);
    host::PPix place = before;
    clip.FillRequest(RequestFor(9, host::kBgra8), request.get(), &formats, &place);
    EXPECT_EQ(clip.plugin().Call(host::imGetSourceVideo, static_cast<void*>(nullptr), request.get()), host::imFrameNotFound);
    EXPECT_EQ(place, nullptr);
    place = before;
    EXPECT_EQ(importer.GetFrame(request.get()), host::aiFrameNotFound);
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(LiveFrames(), 0u);

    int32_t result = 0;
    for (const int64_t frame : {0, 1, 9}) EXPECT_TRUE(bool(clip.GetFrame(RequestFor(frame, host::kBgra8), &result))) << frame;
  });
  const std::vector<std::string> lines = TakeLog(log);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "frame 9 (64x48 bgra): FAIL"), 2);
}

TEST(Story, OpensRecordingsOfTheOtherKind) {
  const std::string path = testing::TempDir() + "qx_story_" + StoryProcess::This().name + ".qorix";
  {
    qx::QorixRecordingOptions options;
    options.format.width = 64;
    options.format.height = 48;
    options.frames = 6;
    options.droppedSlots = {3};
    options.timecodeStart = 2 * 3600 * 24 + 5;
    options.file.header.playback = options.file.header.capture = {24, 1};
    std::ofstream out(NativePath(path), std::ios::binary);
    ASSERT_TRUE(qx::MakeRecording(options, qx::QorixSinkTo(&out)));
  }
  const std::string log = testing::TempDir() + "qx_story_recording.log";
  RunWithPlugin({{"QORIX_IMPORT_LOG", log}}, [&](const Plugin& plugin) {
    int32_t result = 0;
    EXPECT_EQ(HostClip::Open(plugin, path, host::kFileTypeRawZip, &result), nullptr) << "announced as an archive";
    EXPECT_EQ(result, host::imBadFile);
    auto clip = OpenClip(plugin, path);
    EXPECT_EQ(clip->Describe().frames, 6);
    EXPECT_EQ(clip->Describe().timecode, "02:00:00:05");
    std::vector<RgbImage> images;
    for (int64_t number = 0; number < 6; ++number) {
      const HostFrame frame = clip->GetFrame(RequestFor(number, host::kBgra8), &result);
      ASSERT_TRUE(bool(frame)) << number;
      images.push_back(ImageOfFrame(ViewFrame(frame.get())));
    }
    EXPECT_EQ(LargestDifference(images[3], images[2]), 0) << "the dropped slot repeats the frame before";
    EXPECT_GT(LargestDifference(images[4], images[2]), 0);
  });
  const std::vector<std::string> lines = TakeLog(log);
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
    return line == "open " + path +
                       ": 64x48 (half 0x0, quarter 0x0), 6 frames, 24/1 fps, audio 0 (0 ch, 0 Hz, 0), tc 02:00:00:05, "
                       ".qorix RAW Lossless; curve 2, lut off, ev 0.00";
  }));
  std::filesystem::remove(NativePath(path));
}

TEST(Story, UnknownSelectorsAnswerUnsupported) {
  RunWithPlugin({}, [](const Plugin& plugin) {
    for (const int32_t selector : {-1, 2, 5, 28, 74, 81, 100, 127, 128, 200, 1000}) {
      EXPECT_EQ(plugin.Call(selector, static_cast<void*>(nullptr), nullptr), host::imUnsupported) << selector;
    }
    EXPECT_EQ(plugin.Call(host::imGetSupports8, static_cast<void*>(nullptr), nullptr), host::malSupports8);
    EXPECT_EQ(plugin.Call(host::imGetSupportsPerInstancePrefs, static_cast<void*>(nullptr), nullptr), host::malSupportsPerInstancePrefs);
    GuardedRecord<host::ImportAudioRec7> audio("audio");
    EXPECT_EQ(plugin.Call(host::imImportAudio7, static_cast<void*>(nullptr), audio.get()), host::imOtherErr);
  });
}

#if !defined(__SANITIZE_ADDRESS__)
TEST(Story, MachineFaultBecomesAnError) {
  const std::string log = testing::TempDir() + "qx_story_fault.log";
  RunWithPlugin({{"QORIX_IMPORT_LOG", log}}, [](const Plugin& plugin) {
    const auto fault = [&] { return plugin.Call(host::imGetTimeInfo8, static_cast<void*>(nullptr), nullptr); };
    EXPECT_EQ(fault(), host::imOtherErr) << "a null record";
    std::thread([&] { EXPECT_EQ(fault(), host::imOtherErr) << "on another thread of the host"; }).join();
    EXPECT_EQ(plugin.Call(host::imGetSupports8, static_cast<void*>(nullptr), nullptr), host::malSupports8) << "and life goes on";
  });
  const std::vector<std::string> lines = TakeLog(log);
  EXPECT_EQ(CountStarting(lines, "selector 52: exception "), 2);
}
#endif

TEST(Story, LogTellsWhatHappened) {
  const TemporaryClip file({});
  const std::string log = testing::TempDir() + "qx_story_\xC3\xA9.log";
  RunInChild({{"QORIX_IMPORT_LOG", log}, {"QORIX_IMPORT_FMTLIST", "bgra,uyv7"}}, [&] {
    auto plugin = LoadPlugin();
    plugin->Call(100, static_cast<void*>(nullptr), nullptr);
    plugin->Call(200, static_cast<void*>(nullptr), nullptr);
    auto clip = OpenClip(*plugin, file.path());
    int32_t result = 0;
    FrameRequest request = RequestFor(1, host::kBgra8);
    request.intent = host::kIntentScrubbing;
    request.quality = 3;
    request.playbackRatio = 0.5;
    request.playbackRate = -1.25;
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(bool(clip->GetFrame(request, &result)));
  });
  const std::vector<std::string> lines = TakeLog(log);
  const auto count = [&](const std::string& start) { return CountStarting(lines, start); };
  EXPECT_EQ(count("formats from QORIX_IMPORT_FMTLIST: 2 (first bgra)"), 1);
  EXPECT_EQ(count("settings: async off, tag on, cpu auto, slog3 range full, color space H.273, formats 3 (first Bgra)"), 1);
  EXPECT_EQ(count("selector 100 first call"), 1);
  EXPECT_EQ(count("selector 200 first call"), 0);
  EXPECT_EQ(count("open " + file.path() +
                  ": 64x48 (half 0x0, quarter 0x0), 5 frames, 25/1 fps, audio 0 (0 ch, 0 Hz, 0), tc 01:00:00:00, "
                  "CinemaDNG RAW-ZIP; curve 2, lut off, ev 0.00"),
            1);
  EXPECT_EQ(count("request formats: bgra"), 1) << "logged when it changes, not for every request";
  EXPECT_EQ(count("request: intent 2 (scrubbing), asked 0x0, quality 3 -> giving full"), 1);
  EXPECT_EQ(count("deliver 1 sync 64x48 bgra: ppix "), 2);
  EXPECT_EQ(
      std::count_if(lines.begin(), lines.end(),
                    [](const std::string& line) { return line.ends_with(" ms; parallel 1; intent 2 ratio 0.50 rate -1.25 quality 3"); }),
      2);
  EXPECT_EQ(count("frame 1: ok CPU, read "), 2);
  EXPECT_EQ(count("frame PPix: creator2 "), 1);
}

TEST(Story, SettingsReachTheClip) {
  const TemporaryClip file({.width = 64, .height = 2160, .frames = 4});
  const std::string log = testing::TempDir() + "qx_story_settings.log";
  const Environment environment = {
      {"QORIX_IMPORT_LOG", log}, {"QORIX_IMPORT_CPU", "1"}, {"QORIX_IMPORT_CURVE", "s-log3"}, {"QORIX_IMPORT_SLOG3_NARROW", "1"}};
  RunWithClip(environment, file.path(), [&](HostClip& clip) {
    const ClipFacts facts = clip.Describe();
    EXPECT_EQ(facts.colorSpace, "type 3, primaries 1012, transfer 1001, matrix 0, 16 bit, narrow range");
    EXPECT_EQ(facts.extraMemoryBytes, 64u * 2160 * 6 + 838860800);
    FrameRequest request = RequestFor(1, host::kBgra8);
    request.intent = host::kIntentPlaying, request.width = 32, request.height = 1080;
    int32_t result = 0;
    EXPECT_TRUE(bool(clip.GetFrame(request, &result)));
    EXPECT_EQ(AsyncImporter(clip).Initiate(clip.TimeOfFrame(3)), host::aiNoError);
    request.intent = host::kIntentExport;
    EXPECT_TRUE(bool(clip.GetFrame(request, &result)));
  });
  const std::vector<std::string> lines = TakeLog(log);
  const auto count = [&](const std::string& start) { return CountStarting(lines, start); };
  EXPECT_EQ(count("initiate 3 half"), 1) << "the size of the latest request";
  EXPECT_EQ(count("mode: export"), 1);
  EXPECT_EQ(count("GL: "), 0) << "the card is not even asked for";
}

TEST(Story, QuietClosesTheHostsFileAndASecondCloseIsHarmless) {
  const TemporaryClip file({});
  RunWithPlugin({}, [&](const Plugin& plugin) {
    auto clip = OpenClip(plugin, file.path());
    const int open = OpenHandlesOf(file.path());
    clip->Quiet();
    EXPECT_EQ(OpenHandlesOf(file.path()), open - 1);
    const host::Handle handle = clip->privateData();
    EXPECT_EQ(clip->Close(), host::imNoErr);
    EXPECT_EQ(plugin.Call(host::imCloseFile, static_cast<void*>(nullptr), handle), host::imNoErr) << "closed already";
    uintptr_t wild = 16;
    char* fake = reinterpret_cast<char*>(&wild);
    GuardedRecord<host::IndPixelFormatRec> format("pixel format record");
    format->privatedata = &fake;
    EXPECT_EQ(plugin.Call(host::imGetIndPixelFormat, uint64_t(0), format.get()), host::imNoErr) << "not a clip handle";
  });
}

TEST(StandIn, ReportsWhatAPluginDoesWrong) {
  RunInChild({}, [] {
    host::PPix frame = nullptr;
    const host::Rect bounds = {0, 0, 4, 2};
    ASSERT_EQ(PPixCreatorFunctions()->createPPix(&frame, host::kPPixReadWrite, host::kBgra8, &bounds), host::kSuiteNoError);
    char* pixels = nullptr;
    PPixFunctions()->getPixels(frame, host::kPPixReadWrite, &pixels);
    pixels[32] = 0;
    PPixFunctions()->dispose(frame);
    PPixFunctions()->dispose(frame);
    PPixCreator2Functions()->createColorManagedPPix(&frame, host::kPPixReadWrite, host::kBgra8, 4, 2, false, 0, 1, 1, {});
    const host::Handle handle = MemoryFunctions()->newHandle(8);
    (*handle)[-1] = 0;
    MemoryFunctions()->disposeHandle(handle);
    std::vector<std::string> lines = Violations();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "frame pixels: written past its 32 bytes");
    EXPECT_TRUE(lines[1].starts_with("PPix dispose: "));
    EXPECT_EQ(lines[2], "colour-managed frame without a colour-space id");
    EXPECT_EQ(lines[3], "memory handle: written before its 8 bytes");
    EXPECT_EQ(LiveFrames(), 1u);
  });
}

TEST(Story, InitiatedFramesAreReadAhead) {
  const TemporaryClip file({.damagedFrames = {3}, .rateNumerator = 30000, .rateDenominator = 1001});
  const std::string log = testing::TempDir() + "qx_story_ahead.log";
  RunInChild({{"QORIX_IMPORT_LOG", log}}, [&] {
    auto plugin = LoadPlugin();
    int32_t result = 0;
    EXPECT_EQ(HostClip::Open(*plugin, file.path() + ".gone.zip", 0, &result), nullptr);
    auto clip = OpenClip(*plugin, file.path());
    {
      const AsyncImporter importer(*clip);
      EXPECT_EQ(importer.Initiate(clip->TimeOfFrame(3)), host::aiNoError);
      for (int i = 0; i < 200; ++i) {
        std::ifstream in(NativePath(log));
        if (std::string(std::istreambuf_iterator<char>(in), {}).find("frame 3 unreadable") != std::string::npos) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    }
    clip.reset();
    ExpectClean(std::move(plugin));
    int readers = ThreadsNamed("qx reader");
    for (int i = 0; i < 200 && readers > 0; ++i, readers = ThreadsNamed("qx reader"))
      std::this_thread::sleep_for(std::chrono::milliseconds(10));  // ended threads leave a little later
    EXPECT_EQ(readers, 0);
  });
  const std::vector<std::string> lines = TakeLog(log);
  const auto count = [&](const std::string& start) { return CountStarting(lines, start); };
  EXPECT_EQ(count("initiate 3"), 1) << "the host's time at 30000/1001";
  EXPECT_EQ(count("frame 3 unreadable"), 1);
  EXPECT_EQ(count("open " + file.path() + ".gone.zip: not ours: cannot open the file"), 1);
}

}  // namespace
}  // namespace standin
