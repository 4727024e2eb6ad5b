// The pictures that reach the host: formats, sizes, colour spaces.
#include <algorithm>

#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "standin/frame_image.h"
#include "standin/guarded.h"
#include "standin/host_frames.h"
#include "tests/standin/story_support.h"

namespace standin {
namespace {

namespace host = qx::host;

// 4:2:2 formats share colour between neighbours: only luma can be compared. Pixels where a channel was clamped are left out.
int LargestLumaDifference(const RgbImage& a, const RgbImage& b) {
  const auto luma = [](const uint16_t* p) { return 0.2126 * p[0] + 0.7152 * p[1] + 0.0722 * p[2]; };
  const auto clamped = [](const uint16_t* p) { return std::any_of(p, p + 3, [](uint16_t v) { return v == 0 || v == 65535; }); };
  double largest = 0;
  for (size_t i = 0; i < a.rgb.size(); i += 3) {
    if (!clamped(&a.rgb[i])) largest = std::max(largest, std::abs(luma(&a.rgb[i]) - luma(&b.rgb[i])));
  }
  return int(largest);
}

RgbImage Reduced(const RgbImage& image, int32_t factor) {
  RgbImage reduced{image.width / factor, image.height / factor, {}};
  for (int32_t y = 0; y < reduced.height; ++y) {
    for (int32_t i = 0; i < reduced.width * 3; ++i) {
      uint32_t sum = 0;
      for (int32_t k = 0; k < factor * factor; ++k) {
        sum += image.rgb[size_t((y * factor + k / factor) * image.width + i / 3 * factor + k % factor) * 3 + size_t(i % 3)];
      }
      reduced.rgb.push_back(uint16_t(sum / uint32_t(factor * factor)));
    }
  }
  return reduced;
}

TEST(Story, DeliversTheSamePictureInEveryFormat) {
  const TemporaryClip file({});
  struct Row {
    uint32_t format;
    int tolerance;  // of 65535
  };
  RunWithPlugin({{"QORIX_IMPORT_CURVE", "rec709"}}, [&](const Plugin& plugin) {
    for (const int padding : {0, 16, 4096}) {
      SetRowPadding(padding);
      const auto clip = OpenClip(plugin, file.path());
      int32_t result = 0;
      const HostFrame reference = clip->GetFrame(RequestFor(2, host::kBgra16), &result);
      ASSERT_TRUE(bool(reference));
      const RgbImage expected = ImageOfFrame(ViewFrame(reference.get()));
      for (const Row& row : {Row{host::kBgra8, 140}, Row{host::kBgraFloat, 4}, Row{host::kVuyaFloat709, 8}}) {
        const HostFrame frame = clip->GetFrame(RequestFor(2, row.format), &result);
        ASSERT_TRUE(bool(frame)) << std::hex << row.format;
        EXPECT_LE(LargestDifference(ImageOfFrame(ViewFrame(frame.get())), expected), row.tolerance) << std::hex << row.format;
      }
      for (const uint32_t format : {host::kUyvy709, host::kV210_709}) {
        const HostFrame frame = clip->GetFrame(RequestFor(2, format), &result);
        ASSERT_TRUE(bool(frame)) << std::hex << format;
        EXPECT_LE(LargestLumaDifference(ImageOfFrame(ViewFrame(frame.get())), expected), 700) << std::hex << format;
      }
    }
  });
}

TEST(Story, GivesSmallerSizesToPlaybackAndFullSizeToExport) {
  const TemporaryClip file({.width = 64, .height = 2160, .frames = 2, .smooth = true});  // half 32 × 1080, quarter 16 × 540
  RunWithClip({}, file.path(), [&](HostClip& clip) {
    EXPECT_EQ(clip.Describe().sizes.size(), 3u);
    int32_t result = 0;
    HostFrame whole = clip.GetFrame(RequestFor(1, host::kBgra16), &result);
    ASSERT_TRUE(bool(whole));
    const RgbImage full = ImageOfFrame(ViewFrame(whole.get()));
    whole = HostFrame();
    struct Row {
      int32_t intent, width, height, expectedWidth, expectedHeight;
    };
    for (const Row& row : {Row{host::kIntentPlaying, 16, 540, 16, 540}, Row{host::kIntentPlaying, 32, 1080, 32, 1080},
                           Row{host::kIntentPlaying, 33, 1080, 64, 2160}, Row{host::kIntentExport, 16, 540, 64, 2160}}) {
      FrameRequest request = RequestFor(1, host::kBgra16);
      request.intent = row.intent;
      request.width = row.width;
      request.height = row.height;
      const HostFrame frame = clip.GetFrame(request, &result);
      ASSERT_TRUE(bool(frame));
      const RgbImage image = ImageOfFrame(ViewFrame(frame.get()));
      ASSERT_EQ(image.width, row.expectedWidth);
      ASSERT_EQ(image.height, row.expectedHeight);
      EXPECT_LE(LargestDifference(image, Reduced(full, 64 / image.width)), 16) << image.width;
    }
  });
}

TEST(Story, LinearClipsComeAsBgraOnly) {
  const TemporaryClip file({});
  RunWithClip({{"QORIX_IMPORT_CURVE", "linear"}}, file.path(), [&](HostClip& clip) {
    struct Row {
      std::vector<uint32_t> accepted;
      uint32_t expected;
    };
    for (const Row& row : {Row{{host::kV210_709, host::kBgra16}, host::kBgra16}, Row{{host::kV210_709}, host::kBgraLinear},
                           Row{{host::kBgraFloat}, host::kBgraFloat}}) {
      FrameRequest request;
      request.formats = row.accepted;
      int32_t result = 0;
      const HostFrame frame = clip.GetFrame(request, &result);
      ASSERT_TRUE(bool(frame));
      EXPECT_EQ(ViewFrame(frame.get()).pixelFormat, row.expected);
    }
    EXPECT_EQ(clip.Describe().colorSpace, "type 3, primaries 9, transfer 8, matrix 0, 32 bit, full range");
  });
}

TEST(Story, TagsFramesWithTheHostsColorSpaceId) {
  const TemporaryClip file({});
  for (const bool tagged : {true, false}) {
    RunInChild({{"QORIX_IMPORT_TAG", tagged ? "1" : "0"}}, [&] {
      auto plugin = LoadPlugin();
      auto clip = OpenClip(*plugin, file.path());
      FrameRequest request = RequestFor(0, host::kBgra8);
      int32_t result = 0;
      const HostFrame plain = clip->GetFrame(request, &result);
      ASSERT_TRUE(bool(plain));
      EXPECT_FALSE(ViewFrame(plain.get()).colorManaged) << "no id given";
      request.withColorSpaceId = true;
      const HostFrame frame = clip->GetFrame(request, &result);
      ASSERT_TRUE(bool(frame));
      EXPECT_EQ(ViewFrame(frame.get()).colorManaged, tagged);
    });
  }
}

TEST(Story, ColorSpaceComesByNameWhereThatIsSet) {
  const TemporaryClip file({});
  RunWithClip({{"QORIX_IMPORT_CURVE", "s-log3"}, {"QORIX_IMPORT_CS", "predef"}}, file.path(), [&](HostClip& clip) {
    EXPECT_EQ(clip.Describe().colorSpace, "Sony SGamut3.Cine/SLog3") << "asked for its size first";
    char name[24] = "as it was";
    GuardedRecord<host::ColorSpaceRec> space("colour space record");
    space->inPrivateData = clip.privateData();
    space->inDestinationBuffer = name;
    space->ioBufferSize = 23;
    EXPECT_EQ(clip.plugin().Call(host::imGetIndColorSpace, uint64_t(0), space.get()), host::imOtherErr) << "one byte short";
    EXPECT_STREQ(name, "as it was");
    space->ioBufferSize = 24;
    EXPECT_EQ(clip.plugin().Call(host::imGetIndColorSpace, uint64_t(0), space.get()), host::imNoErr);
    EXPECT_STREQ(name, "Sony SGamut3.Cine/SLog3");
    EXPECT_EQ(clip.plugin().Call(host::imGetIndColorSpace, uint64_t(1), space.get()), host::imBadFormatIndex);
  });
}

TEST(Story, ColorSpaceOfAnUnknownHandleIsSLog3) {
  const TemporaryClip file({});
  RunWithClip({{"QORIX_IMPORT_CURVE", "linear"}, {"QORIX_IMPORT_SLOG3_NARROW", "1"}}, file.path(), [&](HostClip& clip) {
    char block[8] = {};
    char* stray = block;
    for (const host::Handle handle : {clip.privateData(), &stray, host::Handle(nullptr)}) {
      const bool known = handle == clip.privateData();
      GuardedRecord<host::ColorSpaceRec> space("colour space record");
      space->inPrivateData = handle;
      EXPECT_EQ(clip.plugin().Call(host::imGetIndColorSpace, uint64_t(0), space.get()), host::imNoErr);
      EXPECT_EQ(space->colorPrimariesCode, known ? 9 : 1012);
      EXPECT_EQ(space->isFullRange, known ? 1 : 0);
    }
  });
}

}  // namespace
}  // namespace standin
