// OpenGL through WGL, on a hidden window.
#if defined(_WIN32)

#include <windows.h>

#include <string>

#include "develop/gpu/context.h"
#include "develop/gpu/software_renderer.h"
#include "platform/win32/own_instance.h"

namespace qx {

namespace {

constexpr const wchar_t* kWindowName = L"qxpi_gl";
constexpr int kWindowSize = 16;
constexpr int kLeastColorBits = 24;

// Of WGL_ARB_create_context.
constexpr int kMajorVersion = 0x2091, kMinorVersion = 0x2092, kProfileMask = 0x9126;
using CreateContextAttribs = HGLRC(WINAPI*)(HDC, HGLRC, const int*);

void RegisterWindowClass() {
  WNDCLASSW description = {};
  description.lpfnWndProc = DefWindowProcW;
  description.hInstance = OwnInstance();
  description.lpszClassName = kWindowName;
  RegisterClassW(&description);  // fails when it is there already
}

bool CanDevelop(const PIXELFORMATDESCRIPTOR& format) {
  constexpr DWORD kNeeded = PFD_DOUBLEBUFFER | PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL;
  const bool isUnaccelerated = (format.dwFlags & PFD_GENERIC_FORMAT) != 0 && (format.dwFlags & PFD_GENERIC_ACCELERATED) == 0;
  return (format.dwFlags & kNeeded) == kNeeded && format.iPixelType == PFD_TYPE_RGBA && format.cColorBits >= kLeastColorBits &&
         !isUnaccelerated;
}

bool SetFirstHardwareFormat(HDC context) {
  PIXELFORMATDESCRIPTOR format = {};
  const int count = DescribePixelFormat(context, 1, sizeof(format), nullptr);
  for (int i = 1; i <= count; ++i) {
    if (DescribePixelFormat(context, i, sizeof(format), &format) != 0 && CanDevelop(format)) {
      return SetPixelFormat(context, i, &format) != FALSE;
    }
  }
  return false;
}

class WglDriver final : public GlDriver {
 public:
  ~WglDriver() override { ClosePlace(); }

  std::vector<GlPlace> Places() override {
    std::vector<GlPlace> places;
    const auto add = [](HMONITOR, HDC, RECT* bounds, LPARAM list) -> BOOL {
      reinterpret_cast<std::vector<GlPlace>*>(list)->push_back({int(bounds->left), int(bounds->top)});
      return TRUE;
    };
    EnumDisplayMonitors(nullptr, nullptr, add, reinterpret_cast<LPARAM>(&places));
    return places;
  }

  bool OpenPlace(GlPlace place) override {
    RegisterWindowClass();
    window_ = CreateWindowExW(0, kWindowName, kWindowName, WS_POPUP, place.x, place.y, kWindowSize, kWindowSize, nullptr, nullptr,
                              OwnInstance(), nullptr);
    device_ = window_ != nullptr ? GetDC(window_) : nullptr;
    if (device_ != nullptr && SetFirstHardwareFormat(device_)) return true;
    ClosePlace();
    return false;
  }

  void ClosePlace() override {
    wglMakeCurrent(nullptr, nullptr);
    Delete(&attempt_);
    Delete(&legacy_);
    if (device_ != nullptr) ReleaseDC(window_, device_);
    if (window_ != nullptr) DestroyWindow(window_);
    device_ = nullptr;
    window_ = nullptr;
  }

  bool CreateLegacy() override {
    legacy_ = wglCreateContext(device_);
    if (legacy_ == nullptr || wglMakeCurrent(device_, legacy_) == FALSE) {
      Delete(&legacy_);
      return false;
    }
    const auto getString = reinterpret_cast<PFNGLGETSTRINGPROC>(Function("glGetString"));
    const char* renderer = getString != nullptr ? reinterpret_cast<const char*>(getString(GL_RENDERER)) : nullptr;
    return !IsSoftwareRenderer(renderer) || MayUseSoftwareRenderer(renderer);
  }

  bool CanCreateAttempts() override { return CreateFunction() != nullptr; }

  bool CreateAttempt(const ContextAttempt& attempt) override {
    const int wishes[] = {kMajorVersion, attempt.major, kMinorVersion, attempt.minor, kProfileMask, attempt.profileMask, 0};
    attempt_ = CreateFunction()(device_, nullptr, wishes);
    if (attempt_ != nullptr && wglMakeCurrent(device_, attempt_) != FALSE) return true;
    DropAttempt();
    return false;
  }

  void KeepAttempt() override {
    Delete(&legacy_);
    std::swap(legacy_, attempt_);
  }

  void DropAttempt() override {
    wglMakeCurrent(device_, legacy_);
    Delete(&attempt_);
  }

  bool HasCurrentContext() override { return wglGetCurrentContext() != nullptr; }

  GlFunction Function(const char* name) override {
    // Drivers answer small numbers, too, for what they do not have; the functions of OpenGL 1.1 are the library's own.
    const auto found = reinterpret_cast<intptr_t>(wglGetProcAddress(name));
    if (found > 3 || found < -1) return reinterpret_cast<GlFunction>(found);
    return reinterpret_cast<GlFunction>(GetProcAddress(GetModuleHandleW(L"opengl32.dll"), name));
  }

  void Wait(Event& event, int milliseconds) override {
    HANDLE handle = event.nativeHandle();
    const DWORD limit = milliseconds < 0 ? INFINITE : DWORD(milliseconds);
    if (MsgWaitForMultipleObjectsEx(1, &handle, limit, QS_ALLINPUT, MWMO_INPUTAVAILABLE) == WAIT_OBJECT_0 + 1) DispatchMessages();
  }

  void DispatchMessages() override {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) DispatchMessageW(&message);
  }

 private:
  static CreateContextAttribs CreateFunction() {
    return reinterpret_cast<CreateContextAttribs>(reinterpret_cast<void*>(wglGetProcAddress("wglCreateContextAttribsARB")));
  }

  static void Delete(HGLRC* context) {
    if (*context != nullptr) wglDeleteContext(*context);
    *context = nullptr;
  }

  HWND window_ = nullptr;
  HDC device_ = nullptr;
  HGLRC legacy_ = nullptr, attempt_ = nullptr;
};

}  // namespace

std::unique_ptr<GlDriver> CreateSystemGlDriver() {
  return std::make_unique<WglDriver>();
}

}  // namespace qx

#endif
