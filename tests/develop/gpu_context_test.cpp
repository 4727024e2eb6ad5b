#include "develop/gpu/context.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>

#include "tests/support/log_capture.h"

namespace qx {

namespace {

/// What a made-up machine says at one place.
struct FakePlace {
  GlPlace at;
  bool opens = true, hasLegacy = true;
  const char* renderer = "Card 9";
  const char* legacyVersion = "4.6.0 Legacy";
  bool hasAttempts = true;
  std::map<std::string, const char*> attempts = {};  // by name: the version of the context, absent: not created
};

const GLubyte* FakeString(GLenum name);

/// Answers from a table and fails the test when contexts are left over or used wrongly.
class FakeDriver final : public GlDriver {
 public:
  explicit FakeDriver(std::vector<FakePlace> places) : places_(std::move(places)) { current_ = this; }
  ~FakeDriver() override { current_ = nullptr; }

  std::vector<GlPlace> Places() override {
    std::vector<GlPlace> result;
    for (const FakePlace& place : places_) result.push_back(place.at);
    return result;
  }
  bool OpenPlace(GlPlace at) override {
    EXPECT_EQ(place_, nullptr) << "a place is still open";
    tried.push_back(at);
    for (const FakePlace& place : places_) {
      if (place.at == at && place.opens) place_ = &place;
    }
    return place_ != nullptr;
  }
  void ClosePlace() override {
    place_ = nullptr;
    version_ = nullptr;
  }
  bool CreateLegacy() override {
    if (place_->hasLegacy) version_ = place_->legacyVersion;
    return place_->hasLegacy;
  }
  bool CanCreateAttempts() override { return place_->hasAttempts; }
  bool CreateAttempt(const ContextAttempt& attempt) override {
    const auto found = place_->attempts.find(attempt.name);
    if (found == place_->attempts.end()) return false;
    asked.push_back({attempt.major, attempt.minor, attempt.profileMask});
    version_ = found->second;
    return true;
  }
  void KeepAttempt() override {}
  void DropAttempt() override { version_ = place_->legacyVersion; }
  bool HasCurrentContext() override { return version_ != nullptr; }
  GlFunction Function(const char* name) override {
    if (missing.count(name) != 0) return nullptr;
    if (std::string(name) == "glGetString") return reinterpret_cast<GlFunction>(&FakeString);
    return [] {};
  }

  const char* String(GLenum name) const {
    return name == GL_RENDERER ? place_->renderer : name == GL_VERSION ? version_ : name == GL_VENDOR ? "Maker" : "";
  }
  static FakeDriver* current_;

  std::vector<GlPlace> tried;
  std::vector<std::array<int, 3>> asked;
  std::set<std::string> missing;

 private:
  const std::vector<FakePlace> places_;
  const FakePlace* place_ = nullptr;
  const char* version_ = nullptr;
};

FakeDriver* FakeDriver::current_ = nullptr;

const GLubyte* FakeString(GLenum name) {
  return reinterpret_cast<const GLubyte*>(FakeDriver::current_->String(name));
}

}  // namespace

TEST(GpuContext, IsSearchedPlaceByPlaceAndVersionByVersion) {
  struct Row {
    const char* name;
    std::vector<FakePlace> places;
    std::vector<std::string> log;
    std::string description;  // "" when the search fails
  };
  const Row rows[] = {
      {"the first attempt is newer than asked for",
       {{{0, 0}, true, true, "Card 9", "4.6.0 Legacy", true, {{"4.3 compatibility", "4.6.0 Compat"}}}},
       {"GL at (0,0): legacy Card 9 | 4.6.0 Legacy | Maker", "GL at (0,0): 4.3 compatibility -> 4.6.0 Compat",
        "GL at (0,0): 4.3 compatibility context Card 9 | 4.6.0 Compat"},
       "Card 9 | 4.6.0 Compat"},
      {"only the last attempt is made",
       {{{0, 0}, true, true, "Card 9", "4.6.0 Legacy", true, {{"4.3 core", "4.3.1 Core"}}}},
       {"GL at (0,0): legacy Card 9 | 4.6.0 Legacy | Maker", "GL at (0,0): 4.3 compatibility not created",
        "GL at (0,0): 4.6 core not created", "GL at (0,0): 4.3 core -> 4.3.1 Core", "GL at (0,0): 4.3 core context Card 9 | 4.3.1 Core"},
       "Card 9 | 4.3.1 Core"},
      {"a driver of 4.2: the legacy context stays",
       {{{0, 0},
         true,
         true,
         "Old card",
         "4.2 Legacy",
         true,
         {{"4.3 compatibility", "4.2 A"}, {"4.6 core", "4.2 B"}, {"4.3 core", "no number"}}}},
       {"GL at (0,0): legacy Old card | 4.2 Legacy | Maker", "GL at (0,0): 4.3 compatibility -> 4.2 A", "GL at (0,0): 4.6 core -> 4.2 B",
        "GL at (0,0): 4.3 core -> no number", "GL at (0,0): default context Old card | 4.2 Legacy"},
       "Old card | 4.2 Legacy"},
      {"no attempts possible",
       {{{0, 0}, true, true, "Card 9", "4.6.0 Legacy", false}},
       {"GL at (0,0): legacy Card 9 | 4.6.0 Legacy | Maker", "GL at (0,0): default context Card 9 | 4.6.0 Legacy"},
       "Card 9 | 4.6.0 Legacy"},
      {"refused renderers on every monitor",
       {{{0, 0}, true, true, "GDI Generic"}, {{1920, 0}, true, true, "A Software Rasterizer"}, {{3840, 0}, true, true, nullptr}},
       {"GL at (0,0): legacy GDI Generic | 4.6.0 Legacy | Maker", "GL at (1920,0): legacy A Software Rasterizer | 4.6.0 Legacy | Maker",
        "GL at (3840,0): legacy ? | 4.6.0 Legacy | Maker"},
       ""},
      {"the primary monitor is not at the origin: the origin still comes first, and only once",
       {{{-1920, 0}, true, true, "Left card", "4.6.0 Legacy", false}, {{0, 0}, true, false}},
       {"GL at (0,0): no legacy context", "GL at (-1920,0): legacy Left card | 4.6.0 Legacy | Maker",
        "GL at (-1920,0): default context Left card | 4.6.0 Legacy"},
       "Left card | 4.6.0 Legacy"},
      {"no monitor at all", {}, {"GL at (0,0): no hardware pixel format"}, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    FakeDriver driver(row.places);
    const LogCapture log;
    MessageBuffer<256> description;
    EXPECT_EQ(CreateGpuContext(driver, description), row.description.empty() ? -1 : 0);
    EXPECT_EQ(description.text(), row.description.empty() ? "no hardware OpenGL context" : row.description);
    EXPECT_EQ(log.lines(), row.log);
    if (row.description.empty()) {
      EXPECT_FALSE(driver.HasCurrentContext());
    }
  }
}

TEST(GpuContext, AsksForTheVersionsInOrder) {
  FakeDriver driver(
      {{{0, 0}, true, true, "Card 9", "4.6.0", true, {{"4.3 compatibility", "4.2"}, {"4.6 core", "4.2"}, {"4.3 core", "4.2"}}}});
  MessageBuffer<256> description;
  EXPECT_EQ(CreateGpuContext(driver, description), 0);
  EXPECT_EQ(driver.asked, (std::vector<std::array<int, 3>>{{4, 3, 2}, {4, 6, 1}, {4, 3, 1}}));
}

TEST(GpuContext, TriesSixteenMonitors) {
  std::vector<FakePlace> places;
  for (int i = 1; i <= 20; ++i) places.push_back({{i * 100, 0}, false});
  FakeDriver driver(places);
  MessageBuffer<256> description;
  EXPECT_EQ(CreateGpuContext(driver, description), -1);
  ASSERT_EQ(driver.tried.size(), 17u);
  EXPECT_EQ(driver.tried.front(), (GlPlace{0, 0}));
  EXPECT_EQ(driver.tried.back(), (GlPlace{1600, 0}));
}

TEST(GpuFunctions, AreLoadedOnceForACurrentContext) {
  FakeDriver driver({{{0, 0}, true, true, "Card 9", "4.6.0 Legacy", false}});
  MessageBuffer<256> message;
  EXPECT_EQ(UseCurrentContext(driver, message), -1);
  EXPECT_STREQ(message.text(), "no current OpenGL context");
  ASSERT_EQ(CreateGpuContext(driver, message), 0);
  EXPECT_EQ(UseCurrentContext(driver, message), 0);
  EXPECT_STREQ(message.text(), "Card 9 | 4.6.0 Legacy");
  driver.missing = {"glDispatchCompute", "glWaitSync"};
  EXPECT_EQ(UseCurrentContext(driver, message), -1);
  EXPECT_STREQ(message.text(), "missing function glDispatchCompute");
}

}  // namespace qx
