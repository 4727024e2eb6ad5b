#include "ui/win32/settings_dialog.h"

#include <windowsx.h>
// Beneath windows.h, whose types they use.
#include <cderr.h>
#include <commctrl.h>
#include <commdlg.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include "platform/fault_guard.h"
#include "platform/path.h"
#include "platform/win32/own_instance.h"
#include "platform/win32/wide_text.h"
#include "ui/win32/dark_theme.h"
#include "ui/win32/window_text.h"

namespace qx {

namespace {

constexpr int kSpinRange = 1000;  // only the arrows' notifications are used
constexpr int kEndGap = 3;        // pixels that keep a text from touching the field behind it

// A dialog without controls: header, no menu, the standard class, no title, 9 point "Segoe UI".
struct alignas(4) DialogTemplate {
  DLGTEMPLATE header = {WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_SETFONT, 0, 0, 0, 0, 300, 200};
  WORD menu = 0, windowClass = 0, title = 0;
  WORD points = 9;
  wchar_t font[9] = L"Segoe UI";
};

struct ControlStyle {
  const wchar_t* windowClass;
  DWORD style;
  const wchar_t* theme;  // null: drawn by ourselves
};

DWORD AlignStyle(TextAlign align) {
  return align == TextAlign::kCenter ? SS_CENTER : align == TextAlign::kEnd ? SS_RIGHT : SS_LEFT;
}

ControlStyle StyleOf(const ControlSpec& control) {
  switch (control.kind) {
    case ControlKind::kLabel: {
      const bool clickable = control.id == kProcessorLabel || control.id == kNewClipsLabel;
      const DWORD shortened = control.id == kLutName ? SS_PATHELLIPSIS : 0;
      return {L"STATIC", SS_NOPREFIX | AlignStyle(control.align) | shortened | (clickable ? DWORD(SS_NOTIFY) : 0), nullptr};
    }
    case ControlKind::kHeading:
      return {L"STATIC", SS_NOPREFIX | SS_LEFT, nullptr};
    case ControlKind::kSeparator:
      return {L"STATIC", SS_LEFT, nullptr};
    case ControlKind::kCombo:
      return {L"COMBOBOX", CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP, L"DarkMode_CFD"};
    case ControlKind::kEdit:
      // Of several lines only because such an edit box lets its text be centred vertically.
      return {L"EDIT", ES_AUTOHSCROLL | ES_MULTILINE | WS_BORDER | WS_TABSTOP, L"DarkMode_CFD"};
    case ControlKind::kSpin:
      return {UPDOWN_CLASSW, UDS_ARROWKEYS, L"DarkMode_Explorer"};
    case ControlKind::kCheck:
      return {L"BUTTON", BS_AUTOCHECKBOX | WS_TABSTOP, L"DarkMode_Explorer"};
    case ControlKind::kButton:
      return {L"BUTTON", (control.id == kOkButton ? DWORD(BS_DEFPUSHBUTTON) : DWORD(BS_PUSHBUTTON)) | WS_TABSTOP, L"DarkMode_Explorer"};
    case ControlKind::kPreview:
      return {L"STATIC", SS_OWNERDRAW, nullptr};
    case ControlKind::kSlider:
      return {TRACKBAR_CLASSW, TBS_HORZ | TBS_NOTICKS | WS_TABSTOP, L"DarkMode_Explorer"};
  }
  return {L"STATIC", 0, nullptr};
}

COLORREF ToSystem(Color color) {
  return RGB(color.red, color.green, color.blue);
}

LPARAM SliderValue(int64_t position) {
  return LPARAM(std::clamp<int64_t>(position, 0, std::numeric_limits<int32_t>::max()));
}

void CentreTextVertically(HWND edit) {
  RECT inside;
  GetClientRect(edit, &inside);
  const HDC context = GetDC(edit);
  const HGDIOBJ before = SelectObject(context, reinterpret_cast<HGDIOBJ>(SendMessageW(edit, WM_GETFONT, 0, 0)));
  TEXTMETRICW metrics;
  GetTextMetricsW(context, &metrics);
  SelectObject(context, before);
  ReleaseDC(edit, context);
  const int margin = std::max(0, int(inside.bottom - metrics.tmHeight) / 2);
  const int side = metrics.tmAveCharWidth / 2;
  const RECT text = {inside.left + side, inside.top + margin, inside.right - side, inside.top + margin + metrics.tmHeight};
  SendMessageW(edit, EM_SETRECTNP, 0, reinterpret_cast<LPARAM>(&text));
}

}  // namespace

SettingsDialog::SettingsDialog(const SettingsDialogRequest& request, const DevelopOptions& options)
    : request_(request), model_(request, options, this) {}

SettingsDialog::~SettingsDialog() {
  if (boldFont_ != nullptr) DeleteObject(boldFont_);
  for (const auto& [color, brush] : brushes_) DeleteObject(brush);
}

int SettingsDialog::Run() {
  static const DialogTemplate kTemplate;
  return int(DialogBoxIndirectParamW(OwnInstance(), &kTemplate.header, static_cast<HWND>(request_.ownerWindow), Procedure,
                                     reinterpret_cast<LPARAM>(this)));
}

INT_PTR CALLBACK SettingsDialog::Procedure(HWND window, UINT message, WPARAM wide, LPARAM lng) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(window, DWLP_USER, lng);
    reinterpret_cast<SettingsDialog*>(lng)->window_ = window;
  }
  auto* const dialog = reinterpret_cast<SettingsDialog*>(GetWindowLongPtrW(window, DWLP_USER));
  if (dialog == nullptr) return FALSE;
  return dialog->HandleGuarded(message, wide, lng);
}

// A fault that left this window behind would leave it open, with its owner locked and its state gone: the window is closed first.
INT_PTR SettingsDialog::HandleGuarded(UINT message, WPARAM wide, LPARAM lng) {
  struct Call {
    SettingsDialog* dialog;
    UINT message;
    WPARAM wide;
    LPARAM lng;
    INT_PTR result;
  } call{this, message, wide, lng, FALSE};
  const auto handle = [](void* context) {
    auto& running = *static_cast<Call*>(context);
    running.result = running.dialog->Handle(running.message, running.wide, running.lng);
  };
  int failure = kOutOfMemory;
  try {
    if (CallGuarded(handle, &call, &fault_)) return call.result;
    failure = kFaulted;
  } catch (...) {  // out of memory; the system's code between here and Run lets no exception through
  }
  EndDialog(window_, failure);
  return TRUE;
}

INT_PTR SettingsDialog::Handle(UINT message, WPARAM wide, LPARAM lng) {
  switch (message) {
    case WM_INITDIALOG:
      CreateControls();
      return FALSE;  // the focus is set
    case WM_COMMAND:
      OnCommand(LOWORD(wide), HIWORD(wide));
      return TRUE;
    case WM_NOTIFY: {
      const auto& change = *reinterpret_cast<const NMUPDOWN*>(lng);
      return change.hdr.code == UDN_DELTAPOS && OnSpin(int(change.hdr.idFrom), change.iDelta);
    }
    case WM_HSCROLL:
      if (lng != 0) model_.SliderMoved(SendMessageW(reinterpret_cast<HWND>(lng), TBM_GETPOS, 0, 0));
      return TRUE;
    case WM_MOUSEWHEEL:
      // Systems that send the wheel to the focus instead of what is under the pointer.
      return OnWheel(GetDlgCtrlID(WindowFromPoint({GET_X_LPARAM(lng), GET_Y_LPARAM(lng)})), wide);
    case kFieldTurnedMessage:
      return OnWheel(int(lng), wide);
    case WM_DRAWITEM:
      if (wide == kPreviewPicture) DrawPicture(*reinterpret_cast<const DRAWITEMSTRUCT*>(lng));
      return wide == kPreviewPicture;
    case WM_CTLCOLORDLG:
      return reinterpret_cast<INT_PTR>(Brush(kWindowColor));
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLORBTN:
      return reinterpret_cast<INT_PTR>(OnControlColor(reinterpret_cast<HDC>(wide), reinterpret_cast<HWND>(lng)));
    case kPictureArrivedMessage:
      InvalidateRect(Item(kPreviewPicture), nullptr, FALSE);
      return TRUE;
    case WM_CLOSE:
      model_.Clicked(kCancelButton);
      return TRUE;
    default:
      return FALSE;
  }
}

LRESULT CALLBACK SettingsDialog::FieldProcedure(HWND control, UINT message, WPARAM wide, LPARAM lng) {
  const HWND window = GetParent(control);
  const int id = GetDlgCtrlID(control);
  if (message == WM_MOUSEWHEEL) return SendMessageW(window, kFieldTurnedMessage, wide, id);
  const auto* const dialog = reinterpret_cast<const SettingsDialog*>(GetWindowLongPtrW(window, DWLP_USER));
  return CallWindowProcW(dialog->fieldProcedures_.find(id)->second, control, message, wide, lng);
}

void SettingsDialog::CreateControls() {
  MakeFonts();
  DarkenTitleBar(window_);
  DarkenWindow(window_, nullptr);
  SetWindowTextW(window_, WideFromUtf8(model_.Title()).c_str());
  if (model_.rightToLeft()) SetWindowLongPtrW(window_, GWL_EXSTYLE, GetWindowLongPtrW(window_, GWL_EXSTYLE) | WS_EX_LAYOUTRTL);
  const SettingsLayout layout = model_.Layout([this](std::string_view text) { return TextWidth(text); });
  for (const ControlSpec& control : layout.controls) CreateControl(control);
  Place(layout);
  model_.Begin();
  SetFocus(Item(model_.Enabled(kCurveCombo) ? kCurveCombo : kExposureEdit));
}

void SettingsDialog::MakeFonts() {
  LOGFONTW font = {};
  GetObjectW(reinterpret_cast<HGDIOBJ>(SendMessageW(window_, WM_GETFONT, 0, 0)), sizeof(font), &font);
  font.lfWeight = FW_SEMIBOLD;
  boldFont_ = CreateFontIndirectW(&font);
}

int SettingsDialog::TextWidth(std::string_view text) const {
  const HDC context = GetDC(window_);
  const HGDIOBJ before = SelectObject(context, reinterpret_cast<HGDIOBJ>(SendMessageW(window_, WM_GETFONT, 0, 0)));
  const std::wstring wide = WideFromUtf8(text);
  SIZE size = {};
  GetTextExtentPoint32W(context, wide.c_str(), int(wide.size()), &size);
  SelectObject(context, before);
  ReleaseDC(window_, context);
  constexpr LONG kUnits = 1000;
  RECT measure = {0, 0, kUnits, kUnits};
  MapDialogRect(window_, &measure);
  return int((int64_t(size.cx) * kUnits + measure.right - 1) / measure.right);
}

void SettingsDialog::CreateControl(const ControlSpec& control) {
  RECT rect = {control.rect.x, control.rect.y, control.rect.x + control.rect.width, control.rect.y + control.rect.height};
  MapDialogRect(window_, &rect);
  const ControlStyle style = StyleOf(control);
  const int gap = control.align == TextAlign::kEnd ? kEndGap : 0;
  const int width = int(rect.right - rect.left) - gap, height = std::max(1, int(rect.bottom - rect.top));
  const HWND window =
      CreateWindowExW(0, style.windowClass, WideFromUtf8(control.text).c_str(), WS_CHILD | WS_VISIBLE | style.style, rect.left, rect.top,
                      width, height, window_, reinterpret_cast<HMENU>(intptr_t(control.id)), OwnInstance(), nullptr);
  if (control.id != kNoControl) kinds_[control.id] = control.kind;
  if (control.kind == ControlKind::kEdit || control.id == kPositionText) {
    // Numbers read from left to right in every language; a mirrored field would move their signs to the other end.
    SetWindowLongPtrW(window, GWL_EXSTYLE, GetWindowLongPtrW(window, GWL_EXSTYLE) & ~LONG_PTR(WS_EX_LAYOUTRTL));
  }
  const HFONT font = control.kind == ControlKind::kHeading ? boldFont_ : reinterpret_cast<HFONT>(SendMessageW(window_, WM_GETFONT, 0, 0));
  SendMessageW(window, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
  if (style.theme != nullptr) DarkenWindow(window, style.theme);
  PrepareControl(control, window);
}

void SettingsDialog::PrepareControl(const ControlSpec& control, HWND window) {
  switch (control.kind) {
    case ControlKind::kCombo:
      for (const std::string& choice : control.choices) {
        SendMessageW(window, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(WideFromUtf8(choice).c_str()));
      }
      break;
    case ControlKind::kEdit:
      CentreTextVertically(window);
      break;
    case ControlKind::kSpin:
      SendMessageW(window, UDM_SETRANGE32, WPARAM(-kSpinRange), kSpinRange);
      SendMessageW(window, UDM_SETBUDDY, reinterpret_cast<WPARAM>(Item(control.partner)), 0);
      // After the arrows have made the field their buddy: they would turn its wheel into steps of their own.
      for (const int id : {control.id, control.partner}) {
        fieldProcedures_[id] = reinterpret_cast<WNDPROC>(GetWindowLongPtrW(Item(id), GWLP_WNDPROC));
        SetWindowLongPtrW(Item(id), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(FieldProcedure));
      }
      break;
    case ControlKind::kSlider:
      SendMessageW(window, TBM_SETRANGEMIN, FALSE, 0);
      SendMessageW(window, TBM_SETRANGEMAX, FALSE, SliderValue(model_.frameCount() - 1));
      SendMessageW(window, TBM_SETPAGESIZE, 0, SliderValue(model_.sliderPage()));
      break;
    default:
      break;
  }
}

void SettingsDialog::Place(const SettingsLayout& layout) {
  RECT size = {0, 0, layout.width, layout.height};
  MapDialogRect(window_, &size);
  // The frame as it is: AdjustWindowRectEx does not know how large it is on a monitor with a scale of its own.
  RECT outside, inside;
  GetWindowRect(window_, &outside);
  GetClientRect(window_, &inside);
  const int width = int(size.right + outside.right - outside.left - inside.right);
  const int height = int(size.bottom + outside.bottom - outside.top - inside.bottom);
  const HWND owner = static_cast<HWND>(request_.ownerWindow);
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof(monitor);
  GetMonitorInfoW(MonitorFromWindow(owner != nullptr ? owner : window_, MONITOR_DEFAULTTONEAREST), &monitor);
  RECT around = {};
  if (owner == nullptr || GetWindowRect(owner, &around) == 0) around = monitor.rcWork;
  // The title bar stays within reach, whatever the owner's place is.
  const int x = std::max<int>((around.left + around.right - width) / 2, monitor.rcWork.left);
  const int y = std::max<int>((around.top + around.bottom - height) / 2, monitor.rcWork.top);
  SetWindowPos(window_, nullptr, x, y, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
}

void SettingsDialog::OnCommand(int id, int notification) {
  if (id == kCancelButton) return model_.Clicked(kCancelButton);  // also the escape key, which is no click
  const auto found = kinds_.find(id);
  if (found == kinds_.end()) return;
  switch (found->second) {
    case ControlKind::kEdit:
      if (notification == EN_CHANGE) model_.TextChanged(id, WindowText(Item(id)));
      break;
    case ControlKind::kCombo:
      if (notification == CBN_SELCHANGE) model_.SelectionChanged(id, int(SendMessageW(Item(id), CB_GETCURSEL, 0, 0)));
      break;
    case ControlKind::kCheck:
      if (notification == BN_CLICKED) model_.CheckChanged(id, IsDlgButtonChecked(window_, id) == BST_CHECKED);
      break;
    case ControlKind::kButton:
    case ControlKind::kLabel:
      if (notification == BN_CLICKED || notification == STN_DBLCLK) model_.Clicked(id);
      break;
    default:
      break;
  }
}

bool SettingsDialog::OnSpin(int spinId, int delta) {
  const StepKeys keys{GetKeyState(VK_SHIFT) < 0, GetKeyState(VK_CONTROL) < 0};
  model_.Stepped(spinId, delta > 0 ? 1 : -1, keys);
  SetWindowLongPtrW(window_, DWLP_MSGRESULT, TRUE);  // the arrows' own position stays where it is
  return true;
}

bool SettingsDialog::OnWheel(int controlId, WPARAM wide) {
  if (!NumericFieldOf(controlId)) return false;
  const WORD keys = GET_KEYSTATE_WPARAM(wide);
  model_.WheelTurned(controlId, GET_WHEEL_DELTA_WPARAM(wide), {(keys & MK_SHIFT) != 0, (keys & MK_CONTROL) != 0});
  return true;
}

HBRUSH SettingsDialog::OnControlColor(HDC context, HWND control) {
  const int id = GetDlgCtrlID(control);
  // The list of a combo box is no control of the layout.
  const bool isKnown = id == kNoControl || kinds_.contains(id);
  // A check box draws its own field; what is coloured here lies around it.
  const bool isCheck = id == kProcessorCheck || id == kNewClipsCheck;
  const Color background = isCheck ? kWindowColor : isKnown ? model_.BackgroundColor(id) : kFieldColor;
  SetTextColor(context, ToSystem(isKnown ? model_.TextColor(id) : kTextColor));
  SetBkColor(context, ToSystem(background));
  return Brush(background);
}

HBRUSH SettingsDialog::Brush(Color color) {
  HBRUSH& brush = brushes_[ToSystem(color)];
  if (brush == nullptr) brush = CreateSolidBrush(ToSystem(color));
  return brush;
}

void SettingsDialog::DrawPicture(const DRAWITEMSTRUCT& item) const {
  FillRect(item.hDC, &item.rcItem, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
  model_.WithPicture([&](const PreviewPicture& picture) {
    const RECT& area = item.rcItem;
    const DialogRect place = FitPicture(int(area.right - area.left), int(area.bottom - area.top), picture.width(), picture.height());
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof(format.bmiHeader);
    format.bmiHeader.biWidth = picture.width();
    format.bmiHeader.biHeight = picture.height();  // positive: rows from bottom to top
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 32;
    format.bmiHeader.biCompression = BI_RGB;
    const DWORD layout = SetLayout(item.hDC, 0);  // pictures are never mirrored
    const bool mirrored = layout != GDI_ERROR && (layout & LAYOUT_RTL) != 0;
    SetStretchBltMode(item.hDC, HALFTONE);
    SetBrushOrgEx(item.hDC, 0, 0, nullptr);
    StretchDIBits(item.hDC, area.left + place.x, area.top + place.y, place.width, place.height, 0, 0, picture.width(), picture.height(),
                  picture.pixels(), &format, DIB_RGB_COLORS, SRCCOPY);
    if (mirrored) SetLayout(item.hDC, layout);
  });
}

void SettingsDialog::Refresh(int controlId) {
  const HWND control = Item(controlId);
  switch (kinds_.at(controlId)) {
    case ControlKind::kCombo:
      SendMessageW(control, CB_SETCURSEL, WPARAM(model_.Selection(controlId)), 0);
      break;
    case ControlKind::kCheck:
      CheckDlgButton(window_, controlId, model_.Checked(controlId) ? BST_CHECKED : BST_UNCHECKED);
      break;
    case ControlKind::kSlider:
      SendMessageW(control, TBM_SETPOS, TRUE, SliderValue(model_.sliderPosition()));
      break;
    case ControlKind::kEdit:
    case ControlKind::kLabel:
      if (const std::string text = model_.Text(controlId); text != WindowText(control)) SetWindowTextW(control, WideFromUtf8(text).c_str());
      break;
    default:
      break;
  }
  EnableWindow(control, model_.Enabled(controlId));
  InvalidateRect(control, nullptr, TRUE);
}

void SettingsDialog::PictureArrived() {
  PostMessageW(window_, kPictureArrivedMessage, 0, 0);
}

std::optional<std::filesystem::path> SettingsDialog::ChooseFile(const FileChoice& choice) {
  std::wstring filter = WideFromUtf8(choice.filterName) + L'\0' + WideFromUtf8(choice.filterPattern) + L'\0';
  const std::wstring title = WideFromUtf8(choice.title);
  std::array<wchar_t, 32768> path = {};
  const std::wstring start = std::filesystem::path(choice.start).make_preferred().native();
  std::copy_n(start.begin(), std::min(start.size(), path.size() - 1), path.begin());
  OPENFILENAMEW open = {};
  open.lStructSize = sizeof(open);
  open.hwndOwner = window_;
  open.lpstrFilter = filter.c_str();
  open.lpstrFile = path.data();
  open.nMaxFile = DWORD(path.size());
  open.lpstrTitle = title.c_str();
  open.Flags = OFN_EXPLORER | OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST | OFN_NOCHANGEDIR | OFN_HIDEREADONLY;
  if (GetOpenFileNameW(&open) != 0) return std::filesystem::path(path.data());
  if (CommDlgExtendedError() != FNERR_INVALIDFILENAME) return std::nullopt;
  path.fill(L'\0');  // a stored path that this system cannot even name: start anywhere
  return GetOpenFileNameW(&open) != 0 ? std::optional(std::filesystem::path(path.data())) : std::nullopt;
}

void SettingsDialog::Warn(const std::string& caption, const std::string& text) {
  MessageBoxW(window_, WideFromUtf8(text).c_str(), WideFromUtf8(caption).c_str(), MB_OK | MB_ICONWARNING);
}

void SettingsDialog::Close() {
  EndDialog(window_, model_.result());
}

}  // namespace qx
