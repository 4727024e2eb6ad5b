#include "ui/win32/dark_theme.h"

#include <string>

namespace qx {

namespace {

// uxtheme exports these two by number only.
constexpr WORD kAllowDarkForWindow = 133, kSetPreferredAppMode = 135;
constexpr int kAllowDark = 1;

// The attribute's number changed with Windows 10 version 2004.
constexpr DWORD kDarkModeAttribute = 20, kEarlyDarkModeAttribute = 19;

// The manifest inside shell32 that asks for version 6 of the common controls.
constexpr WORD kCommonControlsManifest = 124;

std::wstring SystemFile(const wchar_t* name) {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetSystemDirectoryW(path.data(), UINT(path.size())));
  return path + L'\\' + name;
}

/// A function of a system library that stays loaded; null where there is none.
template <typename Function>
Function Find(const wchar_t* library, const char* name) {
  const HMODULE module = LoadLibraryW(SystemFile(library).c_str());
  return module != nullptr ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name))) : nullptr;
}

struct ThemeFunctions {
  using AllowForWindow = bool(WINAPI*)(HWND, bool);
  using SetAppMode = int(WINAPI*)(int);
  using SetTheme = HRESULT(WINAPI*)(HWND, LPCWSTR, LPCWSTR);
  using SetAttribute = HRESULT(WINAPI*)(HWND, DWORD, LPCVOID, DWORD);

  AllowForWindow allowForWindow = Find<AllowForWindow>(L"uxtheme.dll", MAKEINTRESOURCEA(kAllowDarkForWindow));
  SetAppMode setAppMode = Find<SetAppMode>(L"uxtheme.dll", MAKEINTRESOURCEA(kSetPreferredAppMode));
  SetTheme setTheme = Find<SetTheme>(L"uxtheme.dll", "SetWindowTheme");
  SetAttribute setAttribute = Find<SetAttribute>(L"dwmapi.dll", "DwmSetWindowAttribute");
};

const ThemeFunctions& Functions() {
  static const ThemeFunctions functions;
  return functions;
}

HANDLE CommonControlsContext() {
  static const HANDLE context = [] {
    const std::wstring shell = SystemFile(L"shell32.dll");
    ACTCTXW description = {};
    description.cbSize = sizeof(description);
    description.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
    description.lpSource = shell.c_str();
    description.lpResourceName = MAKEINTRESOURCEW(kCommonControlsManifest);
    return CreateActCtxW(&description);
  }();
  return context;
}

}  // namespace

void AllowDarkApplication() {
  static const int once = Functions().setAppMode != nullptr ? Functions().setAppMode(kAllowDark) : 0;
  (void)once;
}

void DarkenTitleBar(HWND dialog) {
  if (Functions().setAttribute == nullptr) return;
  const BOOL dark = TRUE;
  if (Functions().setAttribute(dialog, kDarkModeAttribute, &dark, sizeof(dark)) < 0) {
    Functions().setAttribute(dialog, kEarlyDarkModeAttribute, &dark, sizeof(dark));
  }
}

void DarkenWindow(HWND window, const wchar_t* theme) {
  if (Functions().allowForWindow != nullptr) Functions().allowForWindow(window, true);
  if (theme != nullptr && Functions().setTheme != nullptr) Functions().setTheme(window, theme, nullptr);
}

NewCommonControls::NewCommonControls() {
  const HANDLE context = CommonControlsContext();
  active_ = context != INVALID_HANDLE_VALUE && ActivateActCtx(context, &cookie_) != 0;
}

NewCommonControls::~NewCommonControls() {
  if (active_) DeactivateActCtx(0, cookie_);
}

}  // namespace qx
