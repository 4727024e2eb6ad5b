#include "media/dng_opcodes.h"

#include <gtest/gtest.h>

#include <limits>

#include "media/dng_parser.h"
#include "samples/dng_writer.h"

namespace qx {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

DngGainMap TwoByThree() {
  DngGainMap map;
  map.top = 1;
  map.left = 2;
  map.bottom = 1000;
  map.right = 2000;
  map.pointsV = 2;
  map.pointsH = 3;
  map.spacingV = 1;
  map.spacingH = 0.5;
  map.originV = 0.25;
  map.originH = -0.125;
  map.gains = {1, 1.5f, 2, 2.5f, 3, 3.5f};
  return map;
}

struct ParsedMaps {
  OpcodeListInfo list;
  std::vector<GainMap> maps;
};
ParsedMaps ParseMaps(Bytes bytes) {
  ParsedMaps result;
  ParseGainMapList(bytes, &result.list, &result.maps);
  return result;
}

TEST(OpcodeList, CountsNamesAndValidates) {
  // One TrimBounds opcode (6) of four parameter bytes, DNG 1.3.
  const std::vector<uint8_t> one = {0, 0, 0, 1, 0, 0, 0, 6, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 1, 2, 3, 4};
  const auto changed = [&one](size_t at, uint8_t value) {
    std::vector<uint8_t> bytes = one;
    bytes[at] = value;
    return bytes;
  };
  std::vector<uint8_t> longer = one;
  longer.push_back(0);
  struct Row {
    std::vector<uint8_t> bytes;
    uint32_t count;
    bool valid;
    const char* summary;
    const char* why;
  };
  for (const Row& row : {
           Row{one, 1, true, "TrimBounds(4 bytes)", "whole"},
           Row{{0, 0, 0, 0}, 0, true, "", "no opcodes"},
           Row{changed(7, 99), 1, true, "?(4 bytes)", "unknown opcode"},
           Row{changed(7, 14), 1, true, "WarpRectilinear2(4 bytes)", "the last name"},
           Row{changed(19, 5), 1, false, "", "parameters run past the list"},
           Row{changed(16, 0xFF), 1, false, "", "four billion parameter bytes"},
           Row{changed(0, 0xFF), 0xFF000001, false, "TrimBounds(4 bytes)", "four billion opcodes"},
           Row{longer, 1, false, "TrimBounds(4 bytes)", "a byte is left over"},
           Row{{0, 0, 0}, 0, false, "", "shorter than its count"},
           Row{{}, 0, false, "", "empty"},
       }) {
    OpcodeListInfo info;
    ParseOpcodeList(row.bytes, &info);
    EXPECT_EQ(info.count, row.count) << row.why;
    EXPECT_EQ(info.valid, row.valid) << row.why;
    EXPECT_EQ(info.summary, row.summary) << row.why;
  }
}

TEST(OpcodeList, LimitsTheSummary) {
  DngOpcodeList list;
  for (int i = 0; i < 12; ++i) list.Add(10, 0, {});
  OpcodeListInfo info;
  ParseOpcodeList(list.Bytes(), &info);
  EXPECT_EQ(info.summary.size(), 159u);
  EXPECT_TRUE(info.summary.starts_with("DeltaPerRow(0 bytes), DeltaPerRow(0 bytes), "));
  EXPECT_TRUE(info.valid);
}

TEST(GainMapList, HashesEveryOpcode) {
  // FNV-1a, 32 bits: the empty string gives the offset basis; the other value comes from a separate implementation, over the twenty bytes
  // of one TrimBounds opcode with the parameters 01 02 03 04.
  DngOpcodeList list;
  EXPECT_EQ(ParseMaps(list.Bytes()).list.hash, 0x811c9dc5);
  list.Add(6, 0, std::array<uint8_t, 4>{1, 2, 3, 4});
  EXPECT_EQ(ParseMaps(list.Bytes()).list.hash, 0x26229b03);
}

TEST(GainMapList, ReadsTheMaps) {
  DngOpcodeList list;
  list.Add(6, 0, std::array<uint8_t, 4>{1, 2, 3, 4});
  for (uint32_t i = 0; i < 6; ++i) {
    DngGainMap map = TwoByThree();
    map.top = i;
    list.Add(map);
  }
  const ParsedMaps parsed = ParseMaps(list.Bytes());
  EXPECT_TRUE(parsed.list.valid);
  EXPECT_EQ(parsed.list.count, 7u);
  ASSERT_EQ(parsed.maps.size(), 4u) << "the first four";
  for (uint32_t i = 0; i < 4; ++i) {
    const GainMap& map = parsed.maps[i];
    EXPECT_EQ(std::tuple(map.top, map.left, map.bottom, map.right), std::tuple(i, 2u, 1000u, 2000u));
    EXPECT_EQ(std::tuple(map.plane, map.planes, map.rowPitch, map.colPitch), std::tuple(0u, 1u, 2u, 2u));
    EXPECT_EQ(std::tuple(map.pointsV, map.pointsH, map.mapPlanes), std::tuple(2u, 3u, 1u));
    EXPECT_EQ(std::tuple(map.spacingV, map.spacingH, map.originV, map.originH), std::tuple(1.0, 0.5, 0.25, -0.125));
    EXPECT_EQ(map.gains, (std::vector<float>{1, 1.5f, 2, 2.5f, 3, 3.5f}));
  }
}

TEST(GainMapList, LeavesOutUnusableMaps) {
  struct Row {
    const char* why;
    void (*change)(DngGainMap&);
  };
  for (const Row& row : {
           Row{"no rows of points", [](DngGainMap& m) { m.pointsV = 0; }},
           Row{"no columns of points", [](DngGainMap& m) { m.pointsH = 0; }},
           Row{"no map planes", [](DngGainMap& m) { m.mapPlanes = 0; }},
           Row{"applies to no plane", [](DngGainMap& m) { m.planes = 0; }},
           Row{"row pitch 0", [](DngGainMap& m) { m.rowPitch = 0; }},
           Row{"column pitch 0", [](DngGainMap& m) { m.colPitch = 0; }},
           Row{"one gain short", [](DngGainMap& m) { m.gains.pop_back(); }},
           Row{"2^64 gains, 0 in 64 bits", [](DngGainMap& m) { m.pointsV = 0x20000, m.pointsH = 0x10000, m.mapPlanes = 0x80000000; }},
           Row{"nearly 2^96 gains", [](DngGainMap& m) { m.pointsV = m.pointsH = 0xFFFFFFFF, m.mapPlanes = 0xFFFFFFFF; }},
       }) {
    DngGainMap bad = TwoByThree();
    row.change(bad);
    DngOpcodeList list;
    list.Add(bad);
    list.Add(TwoByThree());
    const ParsedMaps parsed = ParseMaps(list.Bytes());
    EXPECT_TRUE(parsed.list.valid) << row.why;
    ASSERT_EQ(parsed.maps.size(), 1u) << row.why;
    EXPECT_EQ(parsed.maps[0].gains.size(), 6u) << row.why;
  }
}

TEST(GainMapList, KeepsTheMapsBeforeDamage) {
  DngOpcodeList list;
  list.Add(TwoByThree());
  list.Add(TwoByThree());
  std::vector<uint8_t> bytes = list.Bytes();
  bytes.pop_back();
  const ParsedMaps parsed = ParseMaps(bytes);
  EXPECT_FALSE(parsed.list.valid);
  EXPECT_EQ(parsed.list.count, 2u);
  EXPECT_EQ(parsed.maps.size(), 1u);
}

TEST(WarpList, ReadsTheFirstValidWarp) {
  DngWarp wrong, full, other;
  wrong.planes[0][0] = kNan;
  full.planes = {{1.01, -0.02, 0.003, 0.0004, 1e-5, -2e-5}, {1.02, 0, 0, 0, 0, 0}, {1.03, 0, 0, 0, 0, 0}};
  full.centreX = 0.25;
  full.centreY = 1;
  DngOpcodeList list;
  list.Add(4, 1, std::array<uint8_t, 4>{});
  list.Add(wrong, 3);
  list.Add(full, 2);
  list.Add(other, 1);
  RectilinearWarp warp;
  EXPECT_TRUE(dng_parse_warp_list(list.Bytes(), &warp));
  EXPECT_TRUE(warp.valid);
  EXPECT_FALSE(warp.radialOnly);
  EXPECT_EQ(std::tuple(warp.planes, warp.flags, warp.centreX, warp.centreY), std::tuple(3u, 2u, 0.25, 1.0));
  for (size_t p = 0; p < 3; ++p) {
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(warp.plane[p].kr[i], full.planes[p][i]);
    for (size_t i = 0; i < 2; ++i) EXPECT_EQ(warp.plane[p].kt[i], full.planes[p][4 + i]);
  }
}

TEST(WarpList, JudgesCoefficientsAndCentre) {
  struct Row {
    const char* why;
    bool valid, radialOnly;
    void (*change)(DngWarp&);
  };
  for (const Row& row : {
           Row{"radial", true, true, [](DngWarp& w) { w.planes[0] = {1, 0.1, 0.2, 0, -0.0, 0}; }},
           Row{"kr3", true, false, [](DngWarp& w) { w.planes[0][3] = 1e-9; }},
           Row{"kt0", true, false, [](DngWarp& w) { w.planes[0][4] = 1e-9; }},
           Row{"kt1", true, false, [](DngWarp& w) { w.planes[0][5] = -1e-9; }},
           Row{"only the second plane is tangential", true, true,
               [](DngWarp& w) {
                 w.planes.push_back({1, 0, 0, 1, 1, 1});
               }},
           Row{"four planes", true, true,
               [](DngWarp& w) {
                 w.planes.resize(4, {1, 0, 0, 0, 0, 0});
               }},
           Row{"no plane", false, false, [](DngWarp& w) { w.planes.clear(); }},
           Row{"five planes", false, false,
               [](DngWarp& w) {
                 w.planes.resize(5, {1, 0, 0, 0, 0, 0});
               }},
           Row{"limit itself", false, false, [](DngWarp& w) { w.planes[0][1] = 1e6; }},
           Row{"below the limit", true, true, [](DngWarp& w) { w.planes[0][1] = -999999.9; }},
           Row{"infinite", false, false, [](DngWarp& w) { w.planes[0][2] = -kInfinity; }},
           Row{"not a number in the second plane", false, false,
               [](DngWarp& w) {
                 w.planes.push_back({1, 0, 0, 0, 0, kNan});
               }},
           Row{"centre on the corner", true, true, [](DngWarp& w) { w.centreX = 0, w.centreY = 1; }},
           Row{"centre outside", false, false, [](DngWarp& w) { w.centreX = 1.0001; }},
           Row{"centre not a number", false, false, [](DngWarp& w) { w.centreY = kNan; }},
       }) {
    DngWarp written;
    row.change(written);
    DngOpcodeList list;
    list.Add(written);
    RectilinearWarp warp;
    EXPECT_TRUE(dng_parse_warp_list(list.Bytes(), &warp)) << row.why;
    EXPECT_EQ(warp.valid, row.valid) << row.why;
    EXPECT_EQ(warp.radialOnly, row.radialOnly) << row.why;
  }
}

TEST(WarpList, ReportsDamageButKeepsAWarpReadBefore) {
  DngOpcodeList list;
  list.Add(DngWarp{});
  list.Add(DngWarp{});
  std::vector<uint8_t> bytes = list.Bytes();
  RectilinearWarp warp;
  EXPECT_TRUE(dng_parse_warp_list(bytes, &warp));
  bytes.pop_back();
  EXPECT_FALSE(dng_parse_warp_list(bytes, &warp));
  EXPECT_TRUE(warp.valid);
  bytes.resize(40);
  EXPECT_FALSE(dng_parse_warp_list(bytes, &warp));
  EXPECT_FALSE(warp.valid) << "nothing is left of the list before";
}

TEST(DngParser, FindsTheListsOfTheRawImage) {
  for (const bool bigEndian : {false, true}) {
    DngDescription d;
    d.width = d.height = 8;
    d.bigEndian = bigEndian;
    d.preview = true;
    d.opcodeList1.Add(6, 0, std::array<uint8_t, 16>{});
    d.opcodeList2.Add(TwoByThree());
    d.opcodeList3.Add(DngWarp{});
    const std::vector<uint8_t> record = WriteDng(d, std::vector<uint16_t>(64));
    DngInfo info;
    ASSERT_EQ(dng_parse(record, &info, Message()), 0);
    const DngOpcodeList* written[] = {&d.opcodeList1, &d.opcodeList2, &d.opcodeList3};
    for (size_t i = 0; i < 3; ++i) {
      const OpcodeListInfo& list = info.opcodeLists[i];
      EXPECT_TRUE(list.present && list.valid);
      const auto at = record.begin() + ptrdiff_t(list.offset);
      EXPECT_EQ(std::vector<uint8_t>(at, at + ptrdiff_t(list.size)), written[i]->Bytes());
    }
    EXPECT_EQ(info.opcodeLists[0].summary, "TrimBounds(16 bytes)");
    EXPECT_EQ(info.gainMaps.size(), 1u);
    EXPECT_TRUE(info.warp.valid);
  }
}

}  // namespace
}  // namespace qx
