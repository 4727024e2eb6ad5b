// The settings window as the user meets it: on a thread of its own, driven through messages to its controls.
#include <gtest/gtest.h>
#include <windows.h>
// Beneath windows.h, whose types it uses.
#include <commctrl.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/ui/fake_preview.h"
#include "ui/settings_layout.h"
#include "ui/win32/settings_dialog.h"
#include "ui/win32/window_text.h"

namespace qx {
namespace {

struct Pixels {
  int width = 0, height = 0;
  std::vector<uint8_t> bgra;  // top row first
  COLORREF At(int x, int y) const {
    const uint8_t* const p = &bgra[size_t(y * width + x) * 4];
    return RGB(p[2], p[1], p[0]);
  }
};

/// A window that is open while this lives; ended by Finish or by the destructor, which cancels it.
class OpenDialog {
 public:
  OpenDialog(const SettingsDialogRequest& request, const DevelopOptions& options) : options_(options) {
    thread_ = std::thread([this, &request] { result_ = RunSourceSettingsDialog(request, &options_, &useForNewClips_, message_); });
    const DWORD thread = GetThreadId(reinterpret_cast<HANDLE>(pthread_gethandle(thread_.native_handle())));
    while (window_ == nullptr) {
      EnumThreadWindows(thread, FindVisibleDialog, reinterpret_cast<LPARAM>(&window_));
      std::this_thread::yield();
    }
    SendMessageW(window_, WM_NULL, 0, 0);  // answered once the window has been set up
  }
  ~OpenDialog() {
    if (thread_.joinable()) Finish(kCancelButton);
  }

  HWND window() const { return window_; }
  HWND Item(int id) const { return GetDlgItem(window_, id); }
  std::string Text(int id) const {
    wchar_t text[512] = {};
    SendMessageW(Item(id), WM_GETTEXT, 512, reinterpret_cast<LPARAM>(text));
    return Utf8FromUtf16(std::u16string(text, text + wcslen(text)));
  }
  void Type(int id, const wchar_t* text) const {
    SendMessageW(Item(id), EM_SETSEL, 0, -1);
    if (*text == L'\0') SendMessageW(Item(id), WM_CLEAR, 0, 0);
    for (; *text != L'\0'; ++text) SendMessageW(Item(id), WM_CHAR, WPARAM(*text), 0);
  }
  void Select(int id, int row) const {
    SendMessageW(Item(id), CB_SETCURSEL, WPARAM(row), 0);
    SendMessageW(window_, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE), reinterpret_cast<LPARAM>(Item(id)));
  }
  int Selection(int id) const { return int(SendMessageW(Item(id), CB_GETCURSEL, 0, 0)); }
  void Click(int id) const { SendMessageW(window_, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), reinterpret_cast<LPARAM>(Item(id))); }
  void PressArrow(int spinId, bool up) const {
    RECT area;
    GetClientRect(Item(spinId), &area);
    const LPARAM place = MAKELPARAM(area.right / 2, up ? 2 : area.bottom - 3);
    SendMessageW(Item(spinId), WM_LBUTTONDOWN, MK_LBUTTON, place);
    SendMessageW(Item(spinId), WM_LBUTTONUP, 0, place);
  }
  void Turn(int id, int delta, WORD keys) const { SendMessageW(Item(id), WM_MOUSEWHEEL, MAKEWPARAM(keys, WORD(short(delta))), 0); }

  /// The window's client area as it is on the screen.
  Pixels Capture() const {
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

  int Finish(int button) {
    PostMessageW(window_, WM_COMMAND, WPARAM(button), 0);
    thread_.join();
    return result_;
  }
  const DevelopOptions& options() const { return options_; }
  bool useForNewClips() const { return useForNewClips_; }

 private:
  static BOOL CALLBACK FindVisibleDialog(HWND window, LPARAM found) {
    wchar_t name[16] = {};
    GetClassNameW(window, name, 16);
    if (std::wstring_view(name) == L"#32770" && IsWindowVisible(window) != 0) *reinterpret_cast<HWND*>(found) = window;
    return TRUE;
  }

  DevelopOptions options_;
  bool useForNewClips_ = false;
  MessageBuffer<256> message_;
  int result_ = -2;
  HWND window_ = nullptr;
  std::thread thread_;
};

/// For looking at: QX_PICTURES names a folder for pictures of the windows.
void Keep(const Pixels& pixels, const std::string& name) {
  const char* const folder = std::getenv("QX_PICTURES");
  if (folder == nullptr) return;
  std::ofstream out(std::string(folder) + "/" + name + ".ppm", std::ios::binary);
  out << "P6\n" << pixels.width << " " << pixels.height << "\n255\n";
  for (size_t i = 0; i < pixels.bgra.size(); i += 4)
    out.put(char(pixels.bgra[i + 2])).put(char(pixels.bgra[i + 1])).put(char(pixels.bgra[i]));
}

class SettingsWindow : public testing::Test {
 protected:
  SettingsWindow() { SetDefaultDevelopOptions(&options); }
  FakePreview preview;
  SettingsDialogRequest request{nullptr, "C:\\clips\\clip.qorix", 0, &preview.description};
  DevelopOptions options;
};

TEST_F(SettingsWindow, TakesWhatTheUserChooses) {
  OpenDialog dialog(request, options);
  EXPECT_EQ(WindowText(dialog.window()), "clip.qorix \u2014 Source settings");
  dialog.Type(kExposureEdit, L"1,5");
  dialog.Select(kCurveCombo, 2);
  dialog.Select(kDebayerCombo, 1);
  EXPECT_FALSE(IsWindowEnabled(dialog.Item(kKelvinEdit)));
  dialog.Select(kWhiteBalanceCombo, 1);
  EXPECT_TRUE(IsWindowEnabled(dialog.Item(kKelvinEdit)));
  dialog.Type(kKelvinEdit, L"");
  dialog.Type(kVignettingEdit, L"");
  SendMessageW(dialog.Item(kProcessorCheck), BM_CLICK, 0, 0);
  dialog.Click(kNewClipsLabel);
  EXPECT_EQ(dialog.Finish(kOkButton), 1);
  EXPECT_EQ(dialog.options().exposureEv, 1.5f);
  EXPECT_EQ(dialog.options().outputCurve, 2);
  EXPECT_EQ(dialog.options().demosaic, 1);
  EXPECT_EQ(dialog.options().whiteBalanceOn, 1);
  EXPECT_EQ(dialog.options().kelvin, 5600);
  EXPECT_EQ(dialog.options().vignettePercent, 100);
  EXPECT_EQ(dialog.options().cpuOnly, 1);
  EXPECT_TRUE(dialog.useForNewClips());
}

TEST_F(SettingsWindow, CancelsAndCloses) {
  for (const bool byCross : {false, true}) {
    OpenDialog dialog(request, options);
    dialog.Type(kExposureEdit, L"2");
    if (byCross) PostMessageW(dialog.window(), WM_CLOSE, 0, 0);
    EXPECT_EQ(dialog.Finish(kCancelButton), 0);
    EXPECT_EQ(dialog.options().exposureEv, options.exposureEv);
  }
}

TEST_F(SettingsWindow, ArrowsAndWheelStepTheFields) {
  options.whiteBalanceOn = 1;
  options.kelvin = 5600;
  OpenDialog dialog(request, options);
  dialog.PressArrow(kExposureSpin, true);
  EXPECT_EQ(dialog.Text(kExposureEdit), "+0.10");
  dialog.PressArrow(kExposureSpin, false);
  dialog.PressArrow(kExposureSpin, false);
  EXPECT_EQ(dialog.Text(kExposureEdit), "-0.10");
  dialog.Turn(kExposureEdit, 120, MK_SHIFT);
  EXPECT_EQ(dialog.Text(kExposureEdit), "-0.09");
  dialog.Turn(kExposureSpin, 120, MK_CONTROL);
  EXPECT_EQ(dialog.Text(kExposureEdit), "+0.41");
  dialog.Turn(kKelvinSpin, 60, 0);
  EXPECT_EQ(dialog.Text(kKelvinEdit), "5600") << "half a notch";
  dialog.Turn(kKelvinEdit, -120, 0);
  EXPECT_EQ(dialog.Text(kKelvinEdit), "5550");
  EXPECT_EQ(SendMessageW(dialog.Item(kKelvinSpin), UDM_GETPOS32, 0, 0), 0) << "the arrows' own position is not used";
  EXPECT_EQ(dialog.Finish(kOkButton), 1);
  EXPECT_EQ(dialog.options().kelvin, 5550);
}

TEST_F(SettingsWindow, ALutTurnsTheCurveOffAndMustBeThere) {
  const std::filesystem::path lut = std::filesystem::temp_directory_path() / L"qx_window_\u6620.cube";
  std::ofstream(lut) << "LUT_3D_SIZE 2\n";
  const std::u16string text = lut.u16string();
  std::copy(text.begin(), text.end(), options.lutPath);
  OpenDialog dialog(request, options);
  EXPECT_FALSE(IsWindowEnabled(dialog.Item(kCurveCombo)));
  EXPECT_EQ(dialog.Text(kLutName), "qx_window_\u6620.cube");
  EXPECT_EQ(dialog.Text(kLutNote), "With a LUT, the output is Rec.709.");
  std::filesystem::remove(lut);
  PostMessageW(dialog.window(), WM_COMMAND, kOkButton, 0);
  HWND warning = nullptr;
  while (warning == nullptr) warning = FindWindowW(L"#32770", L"qorixcam");
  PostMessageW(warning, WM_COMMAND, IDOK, 0);
  while (IsWindow(warning) != 0) std::this_thread::yield();
  EXPECT_TRUE(IsWindow(dialog.window())) << "the window stays";
  dialog.Click(kLutOffButton);
  EXPECT_TRUE(IsWindowEnabled(dialog.Item(kCurveCombo)));
  EXPECT_EQ(dialog.Text(kLutNote), "");
  EXPECT_EQ(dialog.Finish(kOkButton), 1);
  EXPECT_FALSE(dialog.options().hasLut());
}

TEST_F(SettingsWindow, ShowsThePictureAndFollowsTheSlider) {
  preview.SetGate(true);
  OpenDialog dialog(request, options);
  EXPECT_EQ(dialog.Text(kPositionText), "51 / 100    00:00:02:00");
  SendMessageW(dialog.Item(kFrameSlider), TBM_SETPOS, TRUE, 10);
  SendMessageW(dialog.window(), WM_HSCROLL, TB_THUMBTRACK, reinterpret_cast<LPARAM>(dialog.Item(kFrameSlider)));
  EXPECT_EQ(dialog.Text(kPositionText), "11 / 100    00:00:00:10");
  while (preview.seen().empty() || preview.seen().back().second != 10) std::this_thread::yield();
  RECT place;
  GetWindowRect(dialog.Item(kPreviewPicture), &place);
  MapWindowPoints(nullptr, dialog.window(), reinterpret_cast<POINT*>(&place), 2);
  const int x = int(place.left + place.right) / 2, height = int(place.bottom - place.top);
  Pixels pixels = dialog.Capture();
  while (pixels.At(x, int(place.top) + height / 3) == RGB(0, 0, 0)) pixels = dialog.Capture();  // until a picture has arrived
  Keep(pixels, "english");
  const COLORREF top = pixels.At(x, int(place.top) + height / 10);
  EXPECT_GT(GetRValue(top), 200) << "the top row, which the picture holds last";
  EXPECT_LT(GetBValue(top), 60);
  EXPECT_EQ(pixels.At(x, int(place.bottom) - height / 4), RGB(0, 0, 255));
  EXPECT_EQ(pixels.At(2, 2), RGB(35, 35, 35));
  EXPECT_EQ(dialog.Finish(kCancelButton), 0);
}

TEST_F(SettingsWindow, IsMirroredForArabicAndNarrowWithoutAPicture) {
  RECT wide, narrow;
  {
    request.languageIndex = 1;
    OpenDialog dialog(request, options);
    GetWindowRect(dialog.window(), &wide);
    RECT heading, picture;
    GetWindowRect(dialog.Item(kCurveCombo), &heading);
    GetWindowRect(dialog.Item(kPreviewPicture), &picture);
    EXPECT_LT(picture.right, heading.left) << "the picture stands on the left";
    Keep(dialog.Capture(), "arabic");
  }
  request.languageIndex = 2;
  request.preview = nullptr;
  OpenDialog dialog(request, options);
  GetWindowRect(dialog.window(), &narrow);
  EXPECT_EQ(dialog.Item(kPreviewPicture), nullptr);
  EXPECT_EQ(dialog.Item(kFrameSlider), nullptr);
  EXPECT_LT(narrow.right - narrow.left, wide.right - wide.left);
  Keep(dialog.Capture(), "german_without_picture");
}

}  // namespace
}  // namespace qx
