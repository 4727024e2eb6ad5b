#include "develop/gpu/context.h"

#include <cstdio>
#include <cstring>

#include "base/log.h"

namespace qx {

namespace {

constexpr size_t kMostMonitors = 16;
constexpr int kNewestTooOld = 42;  // 4.2: compute shaders came with 4.3

constexpr ContextAttempt kAttempts[] = {{"4.3 compatibility", 4, 3, 2}, {"4.6 core", 4, 6, 1}, {"4.3 core", 4, 3, 1}};

// A string of the current context; null when there is none.
const char* ContextString(GlDriver& driver, GLenum name) {
  const auto getString = reinterpret_cast<PFNGLGETSTRINGPROC>(driver.Function("glGetString"));
  return getString != nullptr ? reinterpret_cast<const char*>(getString(name)) : nullptr;
}

const char* OrUnknown(const char* text) {
  return text != nullptr ? text : "?";
}

void Describe(GlDriver& driver, Message description) {
  description.Set("%s | %s", OrUnknown(ContextString(driver, GL_RENDERER)), OrUnknown(ContextString(driver, GL_VERSION)));
}

// "4.6.0 …" → 46; 0 when there is no number.
int VersionNumber(const char* version) {
  int major = 0, minor = 0;
  return version != nullptr && std::sscanf(version, "%d.%d", &major, &minor) == 2 ? major * 10 + minor : 0;
}

bool IsHardware(const char* renderer) {
  return renderer != nullptr && std::strstr(renderer, "GDI Generic") == nullptr && std::strstr(renderer, "Software") == nullptr;
}

// Replaces the legacy context by one of the attempts where that works; the name of the context that is current afterwards.
const char* ChooseContext(GlDriver& driver, GlPlace place) {
  if (!driver.CanCreateAttempts()) return "default";
  for (const ContextAttempt& attempt : kAttempts) {
    if (!driver.CreateAttempt(attempt)) {
      LogPipeline("GL at (%d,%d): %s not created", place.x, place.y, attempt.name);
      continue;
    }
    const char* version = ContextString(driver, GL_VERSION);
    LogPipeline("GL at (%d,%d): %s -> %s", place.x, place.y, attempt.name, OrUnknown(version));
    if (VersionNumber(version) > kNewestTooOld) {
      driver.KeepAttempt();
      return attempt.name;
    }
    driver.DropAttempt();
  }
  return "default";
}

bool TryPlace(GlDriver& driver, GlPlace place, Message description) {
  if (!driver.OpenPlace(place)) {
    LogPipeline("GL at (%d,%d): no hardware pixel format", place.x, place.y);
    return false;
  }
  if (!driver.CreateLegacy()) {
    LogPipeline("GL at (%d,%d): no legacy context", place.x, place.y);
    driver.ClosePlace();
    return false;
  }
  const char* renderer = ContextString(driver, GL_RENDERER);
  LogPipeline("GL at (%d,%d): legacy %s | %s | %s", place.x, place.y, OrUnknown(renderer), OrUnknown(ContextString(driver, GL_VERSION)),
              OrUnknown(ContextString(driver, GL_VENDOR)));
  if (!IsHardware(renderer)) {
    driver.ClosePlace();
    return false;
  }
  const char* name = ChooseContext(driver, place);
  Describe(driver, description);
  LogPipeline("GL at (%d,%d): %s context %s", place.x, place.y, name, description.text());
  return true;
}

}  // namespace

int CreateGpuContext(GlDriver& driver, Message description) {
  std::vector<GlPlace> places = driver.Places();
  if (places.size() > kMostMonitors) places.resize(kMostMonitors);
  constexpr GlPlace kOrigin;
  if (TryPlace(driver, kOrigin, description)) return 0;
  for (const GlPlace& place : places) {
    if (place != kOrigin && TryPlace(driver, place, description)) return 0;
  }
  return description.Fail("no hardware OpenGL context");
}

int UseCurrentContext(GlDriver& driver, Message description) {
  if (!driver.HasCurrentContext()) return description.Fail("no current OpenGL context");
  if (LoadGlFunctions([&](const char* name) { return driver.Function(name); }, description) != 0) return -1;
  Describe(driver, description);
  return 0;
}

}  // namespace qx
