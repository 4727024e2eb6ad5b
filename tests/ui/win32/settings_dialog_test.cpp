// The settings window as the user meets it.
#include <gtest/gtest.h>
#include <windows.h>
// Beneath windows.h, whose types they use.
#include <commctrl.h>
#include <dlgs.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/ui/fake_preview.h"
#include "tests/ui/win32/open_dialog.h"
#include "ui/settings_layout.h"
#include "ui/win32/window_text.h"

namespace qx {
namespace {

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

TEST_F(SettingsWindow, IsClosedByAMachineFaultInIt) {
  OpenDialog dialog(request, options);
  const HWND window = dialog.window();
  SendMessageW(window, WM_DRAWITEM, kPreviewPicture, 8);  // no such address
  EXPECT_EQ(dialog.Finish(kOkButton), kSettingsWindowFaulted);
  EXPECT_FALSE(IsWindow(window));
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
  dialog.PressArrow(kExposureSpin, true, VK_CONTROL);
  EXPECT_EQ(dialog.Text(kExposureEdit), "+0.40");
  dialog.PressArrow(kExposureSpin, false, VK_SHIFT);
  EXPECT_EQ(dialog.Text(kExposureEdit), "+0.39");
  dialog.Type(kExposureEdit, L"-0.10");
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
  const HWND warning = dialog.WaitForPopup();
  EXPECT_EQ(WindowText(warning), "qorixcam");
  dialog.Answer(warning, IDOK);
  EXPECT_TRUE(IsWindow(dialog.window())) << "the window stays";
  dialog.Click(kLutOffButton);
  EXPECT_TRUE(IsWindowEnabled(dialog.Item(kCurveCombo)));
  EXPECT_EQ(dialog.Text(kLutNote), "");
  EXPECT_EQ(dialog.Finish(kOkButton), 1);
  EXPECT_FALSE(dialog.options().hasLut());
}

TEST_F(SettingsWindow, ChoosesALutWithTheSystemsDialog) {
  const std::filesystem::path lut = std::filesystem::temp_directory_path() / L"qx_chosen_\u6620.cube";
  std::ofstream(lut) << "LUT_3D_SIZE 2\n";
  OpenDialog dialog(request, options);
  for (const bool takesIt : {false, true}) {
    PostMessageW(dialog.window(), WM_COMMAND, kChooseLutButton, reinterpret_cast<LPARAM>(dialog.Item(kChooseLutButton)));
    const HWND chooser = dialog.WaitForPopup();
    EXPECT_EQ(WindowText(chooser), "LUT");
    SetDlgItemTextW(chooser, cmb13, lut.c_str());
    dialog.Answer(chooser, takesIt ? IDOK : IDCANCEL);
    EXPECT_EQ(dialog.Text(kLutName), takesIt ? "qx_chosen_\u6620.cube" : "No LUT");
  }
  EXPECT_EQ(dialog.Finish(kOkButton), 1);
  EXPECT_EQ(std::filesystem::path(options.lutPath), std::filesystem::path());
  EXPECT_EQ(std::filesystem::path(dialog.options().lutPath), lut);
  std::filesystem::remove(lut);
}

TEST_F(SettingsWindow, ShowsThePictureAndFollowsTheSlider) {
  preview.SetGate(true);
  OpenDialog dialog(request, options);
  EXPECT_EQ(dialog.Text(kPositionText), "51 / 100    00:00:02:00");
  SendMessageW(dialog.Item(kFrameSlider), TBM_SETPOS, TRUE, 10);
  SendMessageW(dialog.window(), WM_HSCROLL, TB_THUMBTRACK, reinterpret_cast<LPARAM>(dialog.Item(kFrameSlider)));
  EXPECT_EQ(dialog.Text(kPositionText), "11 / 100    00:00:00:10");
  while (preview.seen().empty() || preview.seen().back().second != 10) std::this_thread::yield();
  const RECT place = dialog.PlaceOf(kPreviewPicture);
  const int x = int(place.left + place.right) / 2, height = int(place.bottom - place.top);
  Pixels pixels = dialog.Capture();
  while (pixels.At(x, int(place.top) + height / 3) == RGB(0, 0, 0)) pixels = dialog.Capture();  // until a picture has arrived
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
  }
  request.languageIndex = 2;
  request.preview = nullptr;
  OpenDialog dialog(request, options);
  GetWindowRect(dialog.window(), &narrow);
  EXPECT_EQ(dialog.Item(kPreviewPicture), nullptr);
  EXPECT_EQ(dialog.Item(kFrameSlider), nullptr);
  EXPECT_LT(narrow.right - narrow.left, wide.right - wide.left);
}

}  // namespace
}  // namespace qx
