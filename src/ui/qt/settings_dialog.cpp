#include "ui/qt/settings_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSignalBlocker>
#include <QSlider>
#include <QStyleFactory>
#include <algorithm>
#include <limits>
#include <memory>

#include "platform/path.h"
#include "ui/qt/settings_widgets.h"

namespace qx {

namespace {

// Qt darkens the window colour for the frames around fields and check boxes; on a dark window they would be lost.
constexpr Color kFrameBaseColor{112, 112, 112};

// Pixels that keep a text from touching the field behind it.
constexpr int kEndIndent = 3;

int SliderValue(int64_t position) {
  return int(std::clamp<int64_t>(position, 0, std::numeric_limits<int>::max()));
}

// Absolute, as Qt would else align each text by the direction of its own script, and Latin texts of a mirrored window would stand apart.
Qt::Alignment SideOf(TextAlign align, bool rightToLeft) {
  if (align == TextAlign::kCenter) return Qt::AlignHCenter;
  return ((align == TextAlign::kEnd) != rightToLeft ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute;
}

// Buttons draw their text from left to right whatever their window's direction is, so the direction goes with the text.
QString ButtonText(const std::string& text, bool rightToLeft) {
  return rightToLeft ? QChar(0x202B) + ToQt(text) + QChar(0x202C) : ToQt(text);
}

std::filesystem::path ToPath(const QString& text) {
  const QByteArray utf8 = text.toUtf8();
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

}  // namespace

SettingsDialog::SettingsDialog(const SettingsDialogRequest& request, const DevelopOptions& options, QStyle* style)
    : QDialog(nullptr, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint),
      style_(style),
      units_(SettingsFont()),
      model_(request, options, this) {
  setAttribute(Qt::WA_QuitOnClose, false);  // closing it must not end a host whose last window it happens to be
  setStyle(style_);
  setFont(units_.font);
  setPalette(DarkPalette());
  setLayoutDirection(model_.rightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
  setWindowTitle(ToQt(model_.Title()));
  CreateControls();
  model_.Begin();
  // Not a button: the enter key would press it in place of OK.
  controls_.at(model_.Enabled(kCurveCombo) ? kCurveCombo : kExposureEdit)->setFocus();
}

SettingsDialog::~SettingsDialog() = default;

void SettingsDialog::CreateControls() {
  const SettingsLayout layout = model_.Layout([this](std::string_view text) { return units_.TextWidth(text); });
  layoutWidth_ = layout.width;
  setFixedSize(units_.X(layout.width), units_.Y(layout.height));
  for (const ControlSpec& control : layout.controls) {
    QWidget* const widget = CreateControl(control);
    widget->setStyle(style_);
    widget->setGeometry(Place(control));
    if (control.id == kNoControl) continue;
    widget->setObjectName(QString::number(control.id));
    controls_[control.id] = widget;
    ShowColors(control.id);
  }
  NameForScreenReaders(layout);
  // The owner is a window of another toolkit, if there is one: the screen's middle is what can be had for sure.
  const QRect screenArea = screen()->availableGeometry();
  move(screenArea.center() - QPoint(width() / 2, height() / 2));
}

QRect SettingsDialog::Place(const ControlSpec& control) const {
  DialogRect rect = control.rect;
  if (control.kind == ControlKind::kCombo) rect.height = kClosedComboHeight;
  if (model_.rightToLeft()) rect = Mirrored(rect, layoutWidth_);
  const QPoint topLeft(units_.X(rect.x), units_.Y(rect.y));
  const QPoint end(units_.X(rect.x + rect.width), units_.Y(rect.y + rect.height));
  return QRect(topLeft, QSize(std::max(end.x() - topLeft.x(), 1), std::max(end.y() - topLeft.y(), 1)));
}

QWidget* SettingsDialog::CreateControl(const ControlSpec& control) {
  switch (control.kind) {
    case ControlKind::kLabel:
    case ControlKind::kHeading:
      return CreateLabel(control);
    case ControlKind::kSeparator: {
      auto* const line = new QWidget(this);
      line->setAutoFillBackground(true);
      return line;
    }
    case ControlKind::kCombo:
      return CreateCombo(control);
    case ControlKind::kEdit:
      return CreateEdit(control);
    case ControlKind::kSpin:
      return CreateSpin(control);
    case ControlKind::kCheck:
      return CreateCheck(control);
    case ControlKind::kButton:
      return CreateButton(control);
    case ControlKind::kPreview:
      return previewPane_ = new PreviewPane(model_, this);
    case ControlKind::kSlider:
      return CreateSlider();
  }
  return nullptr;
}

QWidget* SettingsDialog::CreateLabel(const ControlSpec& control) {
  auto* const label = new TextLabel(this);
  label->setTextFormat(Qt::PlainText);
  label->setText(ToQt(control.text));
  label->setAlignment(SideOf(control.align, model_.rightToLeft()) | Qt::AlignVCenter);
  if (control.align == TextAlign::kEnd) label->setIndent(kEndIndent);
  if (control.kind == ControlKind::kHeading) {
    QFont bold = units_.font;
    bold.setBold(true);
    label->setFont(bold);
  }
  if (control.id == kPositionText) label->setLayoutDirection(Qt::LeftToRight);  // numbers only
  if (control.id == kProcessorLabel || control.id == kNewClipsLabel) {
    label->clicked = [this, id = control.id] { model_.Clicked(id); };
  }
  return label;
}

QWidget* SettingsDialog::CreateCombo(const ControlSpec& control) {
  auto* const combo = new QComboBox(this);
  for (const std::string& choice : control.choices) combo->addItem(ToQt(choice));
  connect(combo, &QComboBox::currentIndexChanged, this, [this, id = control.id](int row) { model_.SelectionChanged(id, row); });
  return combo;
}

QWidget* SettingsDialog::CreateEdit(const ControlSpec& control) {
  const int id = control.id;
  const StepHandlers handlers{[this, id](int count, StepKeys keys) { model_.Stepped(id, count, keys); },
                              [this, id](int delta, StepKeys keys) { model_.WheelTurned(id, delta, keys); }};
  auto* const edit = new NumberEdit(handlers, this);
  connect(edit, &QLineEdit::textEdited, this, [this, id](const QString& text) { model_.TextChanged(id, text.toStdString()); });
  return edit;
}

QWidget* SettingsDialog::CreateSpin(const ControlSpec& control) {
  const int id = control.id;
  return new SpinArrows({[this, id](int count, StepKeys keys) { model_.Stepped(id, count, keys); },
                         [this, id](int delta, StepKeys keys) { model_.WheelTurned(id, delta, keys); }},
                        this);
}

QWidget* SettingsDialog::CreateCheck(const ControlSpec& control) {
  auto* const check = new QCheckBox(this);
  connect(check, &QCheckBox::toggled, this, [this, id = control.id](bool checked) { model_.CheckChanged(id, checked); });
  return check;
}

QWidget* SettingsDialog::CreateButton(const ControlSpec& control) {
  auto* const button = new QPushButton(ButtonText(control.text, model_.rightToLeft()), this);
  button->setDefault(control.id == kOkButton);
  connect(button, &QPushButton::clicked, this, [this, id = control.id] { model_.Clicked(id); });
  return button;
}

QWidget* SettingsDialog::CreateSlider() {
  auto* const slider = new QSlider(Qt::Horizontal, this);
  slider->setRange(0, SliderValue(model_.frameCount() - 1));
  slider->setPageStep(SliderValue(model_.sliderPage()));
  slider->setValue(SliderValue(model_.sliderPosition()));
  connect(slider, &QSlider::valueChanged, this, [this](int position) { model_.SliderMoved(position); });
  return slider;
}

void SettingsDialog::NameForScreenReaders(const SettingsLayout& layout) {
  for (const ControlSpec& control : layout.controls) {
    if (control.kind != ControlKind::kLabel || control.partner == kNoControl) continue;
    controls_.at(control.partner)->setAccessibleName(ToQt(control.text));
  }
}

void SettingsDialog::ShowColors(int controlId) {
  QWidget* const widget = controls_.at(controlId);
  const QColor text = ToQt(model_.TextColor(controlId)), background = ToQt(model_.BackgroundColor(controlId));
  QPalette palette = widget->palette();
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) palette.setColor(role, text);
  palette.setColor(QPalette::Base, background);
  const bool isFramed = qobject_cast<QLineEdit*>(widget) != nullptr || qobject_cast<QCheckBox*>(widget) != nullptr;
  palette.setColor(QPalette::Window, isFramed ? ToQt(kFrameBaseColor) : background);
  widget->setPalette(palette);
}

void SettingsDialog::Refresh(int controlId) {
  QWidget* const widget = controls_.at(controlId);
  if (auto* const edit = qobject_cast<QLineEdit*>(widget)) {
    const QString text = ToQt(model_.Text(controlId));
    if (edit->text() != text) edit->setText(text);
  } else if (auto* const combo = qobject_cast<QComboBox*>(widget)) {
    combo->setCurrentIndex(model_.Selection(controlId));
  } else if (auto* const check = qobject_cast<QCheckBox*>(widget)) {
    check->setChecked(model_.Checked(controlId));
  } else if (auto* const label = dynamic_cast<TextLabel*>(widget)) {
    label->ShowShortened(ToQt(model_.Text(controlId)));
  } else if (auto* const slider = qobject_cast<QSlider*>(widget)) {
    slider->setValue(SliderValue(model_.sliderPosition()));
  }
  widget->setEnabled(model_.Enabled(controlId));
  ShowColors(controlId);
}

void SettingsDialog::PictureArrived() {
  previewPane_->PostPictureArrived();
}

std::optional<std::filesystem::path> SettingsDialog::ChooseFile(const FileChoice& choice) {
  QFileDialog chooser(this, ToQt(choice.title), ToQt(Utf8FromPath(choice.start.parent_path())), ToQt(choice.filterName));
  chooser.setAttribute(Qt::WA_WindowPropagation);
  chooser.setFileMode(QFileDialog::ExistingFile);
  if (!choice.start.empty()) chooser.selectFile(ToQt(Utf8FromPath(choice.start)));
  if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty()) return std::nullopt;
  return ToPath(chooser.selectedFiles().first());
}

void SettingsDialog::Warn(const std::string& caption, const std::string& text) {
  QMessageBox box(QMessageBox::Warning, ToQt(caption), ToQt(text), QMessageBox::Ok, this);
  box.setAttribute(Qt::WA_WindowPropagation);
  box.setTextFormat(Qt::PlainText);
  box.exec();
}

void SettingsDialog::Close() {
  done(model_.result());
}

// The escape key and the window's close button come here.
void SettingsDialog::reject() {
  model_.Clicked(kCancelButton);
}

int RunSettingsDialog(const SettingsDialogRequest& request, DevelopOptions* options, bool* useForNewClips) {
  const std::unique_ptr<QStyle> style(QStyleFactory::create(QStringLiteral("Fusion")));
  SettingsDialog dialog(request, *options, style.get());
  if (dialog.exec() != 1) return 0;
  *options = dialog.model().options();
  *useForNewClips = dialog.model().useForNewClips();
  return 1;
}

}  // namespace qx
