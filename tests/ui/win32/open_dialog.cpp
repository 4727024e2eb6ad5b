#include "tests/ui/win32/open_dialog.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include "base/utf.h"
#include "ui/settings_layout.h"

namespace qx {

namespace {

struct Search {
  HWND notThis = nullptr, found = nullptr;
};

BOOL CALLBACK FindVisibleDialog(HWND window, LPARAM context) {
  auto& search = *reinterpret_cast<Search*>(context);
  wchar_t name[16] = {};
  GetClassNameW(window, name, 16);
  if (window != search.notThis && std::wstring_view(name) == L"#32770" && IsWindowVisible(window) != 0) search.found = window;
  return TRUE;
}

// Waits for a dialog of that thread; answered messages mean that it has been set up.
HWND WaitForDialog(DWORD thread, HWND notThis) {
  Search search{notThis};
  while (search.found == nullptr) {
    EnumThreadWindows(thread, FindVisibleDialog, reinterpret_cast<LPARAM>(&search));
    std::this_thread::yield();
  }
  SendMessageW(search.found, WM_NULL, 0, 0);
  return search.found;
}

/// While it lives, this thread and the window's share their keyboard, and a key of it is down.
class HeldKey {
 public:
  HeldKey(HWND window, int key) : thread_(GetWindowThreadProcessId(window, nullptr)), key_(key) { Set(true); }
  ~HeldKey() { Set(false); }
  HeldKey(const HeldKey&) = delete;
  HeldKey& operator=(const HeldKey&) = delete;

 private:
  void Set(bool down) const {
    if (key_ == 0) return;
    if (down) AttachThreadInput(GetCurrentThreadId(), thread_, TRUE);
    BYTE keys[256] = {};
    keys[key_] = down ? 0x80 : 0;
    SetKeyboardState(keys);
    if (!down) AttachThreadInput(GetCurrentThreadId(), thread_, FALSE);
  }

  const DWORD thread_;
  const int key_;
};

}  // namespace

OpenDialog::OpenDialog(const SettingsDialogRequest& request, const DevelopOptions& options) : options_(options) {
  thread_ = std::thread([this, &request] { result_ = RunSourceSettingsDialog(request, &options_, &useForNewClips_, message_); });
  window_ = WaitForDialog(GetThreadId(reinterpret_cast<HANDLE>(pthread_gethandle(thread_.native_handle()))), nullptr);
}

OpenDialog::~OpenDialog() {
  if (thread_.joinable()) Finish(kCancelButton);
}

RECT OpenDialog::PlaceOf(int id) const {
  RECT place, area;
  GetWindowRect(Item(id), &place);
  GetClientRect(window_, &area);
  MapWindowPoints(window_, nullptr, reinterpret_cast<POINT*>(&area), 2);  // as a rectangle, which a mirrored window turns round
  OffsetRect(&place, -int(area.left), -int(area.top));
  return place;
}

std::string OpenDialog::Text(int id) const {
  wchar_t text[512] = {};
  SendMessageW(Item(id), WM_GETTEXT, 512, reinterpret_cast<LPARAM>(text));
  return Utf8FromUtf16(std::u16string(text, text + wcslen(text)));
}

void OpenDialog::Type(int id, const wchar_t* text) const {
  SendMessageW(Item(id), EM_SETSEL, 0, -1);
  if (*text == L'\0') SendMessageW(Item(id), WM_CLEAR, 0, 0);
  for (; *text != L'\0'; ++text) SendMessageW(Item(id), WM_CHAR, WPARAM(*text), 0);
}

void OpenDialog::Select(int comboId, int row) const {
  SendMessageW(Item(comboId), CB_SETCURSEL, WPARAM(row), 0);
  SendMessageW(window_, WM_COMMAND, MAKEWPARAM(comboId, CBN_SELCHANGE), reinterpret_cast<LPARAM>(Item(comboId)));
}

void OpenDialog::Click(int id) const {
  SendMessageW(window_, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(Item(id)));
}

void OpenDialog::PressArrow(int spinId, bool up, int heldKey) const {
  const HeldKey held(window_, heldKey);
  RECT area;
  GetClientRect(Item(spinId), &area);
  const LPARAM place = MAKELPARAM(area.right / 2, up ? 2 : area.bottom - 3);
  SendMessageW(Item(spinId), WM_LBUTTONDOWN, MK_LBUTTON, place);
  SendMessageW(Item(spinId), WM_LBUTTONUP, 0, place);
}

void OpenDialog::Turn(int id, int delta, WORD keys) const {
  SendMessageW(Item(id), WM_MOUSEWHEEL, MAKEWPARAM(keys, WORD(short(delta))), 0);
}

HWND OpenDialog::WaitForPopup() const {
  return WaitForDialog(GetWindowThreadProcessId(window_, nullptr), window_);
}

void OpenDialog::Answer(HWND popup, int button) const {
  while (IsWindow(popup) != 0) {
    PostMessageW(popup, WM_COMMAND, WPARAM(button), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  SendMessageW(window_, WM_NULL, 0, 0);
}

Pixels OpenDialog::Capture() const {
  RedrawWindow(window_, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN | RDW_UPDATENOW);
  RECT area;
  GetClientRect(window_, &area);
  Pixels pixels{int(area.right), int(area.bottom), {}};
  pixels.bgra.resize(size_t(area.right) * size_t(area.bottom) * 4);
  const HDC source = GetDC(window_), copy = CreateCompatibleDC(source);
  SetLayout(source, 0);  // a mirrored window would come mirror-written
  BITMAPINFO format = {{sizeof(BITMAPINFOHEADER), area.right, -area.bottom, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, {}};
  void* bits = nullptr;
  const HBITMAP bitmap = CreateDIBSection(copy, &format, DIB_RGB_COLORS, &bits, nullptr, 0);
  const HGDIOBJ before = SelectObject(copy, bitmap);
  BitBlt(copy, 0, 0, area.right, area.bottom, source, 0, 0, SRCCOPY);
  GdiFlush();
  std::copy_n(static_cast<const uint8_t*>(bits), pixels.bgra.size(), pixels.bgra.begin());
  SelectObject(copy, before);
  DeleteObject(bitmap);
  DeleteDC(copy);
  ReleaseDC(window_, source);
  return pixels;
}

int OpenDialog::Finish(int button) {
  PostMessageW(window_, WM_COMMAND, WPARAM(button), 0);
  thread_.join();
  return result_;
}

}  // namespace qx
