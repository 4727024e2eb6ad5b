// OpenGL through EGL, without windows and displays.
#if !defined(_WIN32)

#define EGL_NO_X11
#define EGL_NO_PLATFORM_SPECIFIC_TYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "develop/gpu/context.h"
#include "develop/gpu/software_renderer.h"
#include "platform/module.h"

namespace qx {

namespace {

constexpr EGLint kMostDevices = 16;

bool HasWord(const char* list, const char* word) {
  return list != nullptr && std::strstr(list, word) != nullptr;
}

// The functions of libEGL; all null on a machine without it.
struct EglFunctions {
  decltype(&eglGetProcAddress) getProcAddress = nullptr;
  decltype(&eglQueryString) queryString = nullptr;
  decltype(&eglInitialize) initialize = nullptr;
  decltype(&eglBindAPI) bindApi = nullptr;
  decltype(&eglCreateContext) createContext = nullptr;
  decltype(&eglDestroyContext) destroyContext = nullptr;
  decltype(&eglMakeCurrent) makeCurrent = nullptr;
  decltype(&eglGetCurrentContext) getCurrentContext = nullptr;
  decltype(&eglReleaseThread) releaseThread = nullptr;
  PFNEGLGETPLATFORMDISPLAYEXTPROC getPlatformDisplay = nullptr;
  PFNEGLQUERYDEVICESEXTPROC queryDevices = nullptr;
  PFNEGLQUERYDEVICESTRINGEXTPROC queryDeviceString = nullptr;

  EglFunctions() {
    void* library = LoadSharedModule("libEGL.so.1", Message());
    const auto load = [&](auto& function, const char* name) {
      function =
          library != nullptr ? reinterpret_cast<std::remove_reference_t<decltype(function)>>(FindModuleSymbol(library, name)) : nullptr;
      return function != nullptr;
    };
    complete = load(getProcAddress, "eglGetProcAddress") && load(queryString, "eglQueryString") && load(initialize, "eglInitialize") &&
               load(bindApi, "eglBindAPI") && load(createContext, "eglCreateContext") && load(destroyContext, "eglDestroyContext") &&
               load(makeCurrent, "eglMakeCurrent") && load(getCurrentContext, "eglGetCurrentContext") &&
               load(releaseThread, "eglReleaseThread");
    if (!complete) return;
    getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(getProcAddress("eglGetPlatformDisplayEXT"));
    queryDevices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(getProcAddress("eglQueryDevicesEXT"));
    queryDeviceString = reinterpret_cast<PFNEGLQUERYDEVICESTRINGEXTPROC>(getProcAddress("eglQueryDeviceStringEXT"));
    complete = getPlatformDisplay != nullptr;
  }

  bool complete = false;
};

// Contexts die with the driver object; displays belong to the whole process, which may use them elsewhere, and stay initialised.
class EglDriver final : public GlDriver {
 public:
  EglDriver() {
    if (egl_.complete) FindDevices();
  }
  ~EglDriver() override { ClosePlace(); }

  std::vector<GlPlace> Places() override {
    std::vector<GlPlace> places;
    for (int i = 0; i < int(displays_.size()); ++i) places.push_back({i, 0});
    return places;
  }

  bool OpenPlace(GlPlace place) override {
    if (place.y != 0 || place.x < 0 || size_t(place.x) >= displays_.size()) return false;
    const PlatformDisplay& wanted = displays_[size_t(place.x)];
    if (wanted.isSoftware && !MayUseSoftwareRenderer("device")) return false;  // known without loading its driver
    display_ = egl_.getPlatformDisplay(wanted.platform, wanted.native, nullptr);
    const bool isOpen = display_ != EGL_NO_DISPLAY && egl_.initialize(display_, nullptr, nullptr) && egl_.bindApi(EGL_OPENGL_API) &&
                        HasWord(egl_.queryString(display_, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context");
    if (!isOpen) display_ = EGL_NO_DISPLAY;
    return isOpen;
  }

  void ClosePlace() override {
    if (display_ == EGL_NO_DISPLAY) return;
    egl_.makeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    Destroy(&attempt_);
    Destroy(&legacy_);
    egl_.releaseThread();
    display_ = EGL_NO_DISPLAY;
  }

  bool CreateLegacy() override {
    const EGLint noWishes[] = {EGL_NONE};
    if (!Create(&legacy_, noWishes)) return false;
    const auto getString = reinterpret_cast<PFNGLGETSTRINGPROC>(Function("glGetString"));
    const char* renderer = getString != nullptr ? reinterpret_cast<const char*>(getString(GL_RENDERER)) : nullptr;
    return !IsSoftwareRenderer(renderer) || MayUseSoftwareRenderer(renderer);
  }

  bool CanCreateAttempts() override { return HasWord(egl_.queryString(display_, EGL_EXTENSIONS), "EGL_KHR_create_context"); }

  bool CreateAttempt(const ContextAttempt& attempt) override {
    const EGLint wishes[] = {
        EGL_CONTEXT_MAJOR_VERSION_KHR, attempt.major, EGL_CONTEXT_MINOR_VERSION_KHR, attempt.minor, EGL_CONTEXT_OPENGL_PROFILE_MASK_KHR,
        attempt.profileMask,           EGL_NONE};
    if (Create(&attempt_, wishes)) return true;
    MakeCurrent(legacy_);
    return false;
  }

  void KeepAttempt() override {
    Destroy(&legacy_);
    std::swap(legacy_, attempt_);
  }

  void DropAttempt() override {
    MakeCurrent(legacy_);
    Destroy(&attempt_);
  }

  bool HasCurrentContext() override { return egl_.complete && egl_.getCurrentContext() != EGL_NO_CONTEXT; }
  GlFunction Function(const char* name) override { return egl_.complete ? egl_.getProcAddress(name) : nullptr; }

 private:
  struct PlatformDisplay {
    EGLenum platform;
    void* native;
    bool isSoftware;
  };

  // Real devices before the ones that the processor plays.
  void FindDevices() {
    const char* client = egl_.queryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    EGLDeviceEXT devices[kMostDevices];
    EGLint count = 0;
    const bool hasDevices = HasWord(client, "EGL_EXT_platform_device") && egl_.queryDevices != nullptr &&
                            egl_.queryDeviceString != nullptr && egl_.queryDevices(kMostDevices, devices, &count);
    if (!hasDevices) count = 0;
    for (EGLint i = 0; i < count; ++i) {
      const bool isSoftware = HasWord(egl_.queryDeviceString(devices[i], EGL_EXTENSIONS), "EGL_MESA_device_software");
      displays_.push_back({EGL_PLATFORM_DEVICE_EXT, devices[i], isSoftware});
    }
    std::stable_partition(displays_.begin(), displays_.end(), [](const PlatformDisplay& display) { return !display.isSoftware; });
    if (count == 0 && HasWord(client, "EGL_MESA_platform_surfaceless"))
      displays_.push_back({EGL_PLATFORM_SURFACELESS_MESA, nullptr, false});
  }

  bool Create(EGLContext* context, const EGLint* wishes) {
    *context = egl_.createContext(display_, EGLConfig(nullptr), EGL_NO_CONTEXT, wishes);  // no config: there is no surface to fit
    if (*context != EGL_NO_CONTEXT && MakeCurrent(*context)) return true;
    Destroy(context);
    return false;
  }

  bool MakeCurrent(EGLContext context) { return egl_.makeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context) == EGL_TRUE; }

  void Destroy(EGLContext* context) {
    if (*context != EGL_NO_CONTEXT) egl_.destroyContext(display_, *context);
    *context = EGL_NO_CONTEXT;
  }

  const EglFunctions egl_;
  std::vector<PlatformDisplay> displays_;
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext legacy_ = EGL_NO_CONTEXT, attempt_ = EGL_NO_CONTEXT;
};

}  // namespace

std::unique_ptr<GlDriver> CreateSystemGlDriver() {
  return std::make_unique<EglDriver>();
}

}  // namespace qx

#endif
