#include "ui/qt/settings_widgets.h"

#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>

namespace qx {

namespace {

constexpr int kRepeatDelayMs = 400, kRepeatIntervalMs = 60;
constexpr QEvent::Type kPictureArrived = QEvent::Type(QEvent::User + 1);

// What Qt's own drawing needs beside the told colours: raised surfaces and the marked choice.
constexpr Color kButtonColor{56, 56, 56}, kHighlightColor{42, 102, 170}, kBrightColor{255, 255, 255};

StepKeys KeysOf(Qt::KeyboardModifiers modifiers) {
  return {modifiers.testFlag(Qt::ShiftModifier), modifiers.testFlag(Qt::ControlModifier)};
}

void ReportWheel(const StepHandlers& handlers, QWheelEvent* event) {
  handlers.wheel(event->angleDelta().y(), KeysOf(event->modifiers()));
  event->accept();
}

QPainterPath Triangle(const QRectF& area, bool up) {
  const double half = area.width() * 0.22, tip = (up ? -1 : 1) * half * 0.55;
  const QPointF center = area.center();
  QPainterPath path(center + QPointF(0, tip));
  path.lineTo(center + QPointF(half, -tip));
  path.lineTo(center + QPointF(-half, -tip));
  path.closeSubpath();
  return path;
}

}  // namespace

QColor ToQt(Color color) {
  return QColor(color.red, color.green, color.blue);
}

QString ToQt(const std::string& utf8) {
  return QString::fromStdString(utf8);
}

QPalette DarkPalette() {
  QPalette palette(ToQt(kButtonColor), ToQt(kWindowColor));
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText, QPalette::PlaceholderText}) {
    palette.setColor(role, ToQt(kTextColor));
    palette.setColor(QPalette::Disabled, role, ToQt(kDisabledTextColor));
  }
  palette.setColor(QPalette::Window, ToQt(kWindowColor));
  for (const auto role : {QPalette::Base, QPalette::AlternateBase, QPalette::ToolTipBase}) palette.setColor(role, ToQt(kFieldColor));
  palette.setColor(QPalette::Highlight, ToQt(kHighlightColor));
  palette.setColor(QPalette::HighlightedText, ToQt(kBrightColor));
  return palette;
}

NumberEdit::NumberEdit(StepHandlers handlers, QWidget* parent) : QLineEdit(parent), handlers_(std::move(handlers)) {
  // Numbers keep their reading order, also in a mirrored window.
  setLayoutDirection(Qt::LeftToRight);
}

void NumberEdit::wheelEvent(QWheelEvent* event) {
  ReportWheel(handlers_, event);
}

void NumberEdit::keyPressEvent(QKeyEvent* event) {
  if (event->key() != Qt::Key_Up && event->key() != Qt::Key_Down) return QLineEdit::keyPressEvent(event);
  handlers_.step(event->key() == Qt::Key_Up ? 1 : -1, KeysOf(event->modifiers()));
}

SpinArrows::SpinArrows(StepHandlers handlers, QWidget* parent) : QWidget(parent), handlers_(std::move(handlers)), repeat_(this) {
  QObject::connect(&repeat_, &QTimer::timeout, this, [this] { Repeat(); });
}

void SpinArrows::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
  painter.setPen(ToQt(kSeparatorColor));
  painter.setBrush(palette().button());
  painter.drawRect(frame);
  const QRectF upper(0, 0, width(), height() / 2.0), lower(0, height() / 2.0, width(), height() / 2.0);
  if (pressed_ != 0) painter.fillRect((pressed_ > 0 ? upper : lower).adjusted(1, 1, -1, -1), palette().highlight());
  const QColor arrow = ToQt(isEnabled() ? kTextColor : kDisabledTextColor);
  painter.fillPath(Triangle(upper, true), arrow);
  painter.fillPath(Triangle(lower, false), arrow);
}

void SpinArrows::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  pressed_ = event->position().y() < height() / 2.0 ? 1 : -1;
  update();
  repeat_.start(kRepeatDelayMs);
  handlers_.step(pressed_, KeysOf(event->modifiers()));
}

void SpinArrows::mouseReleaseEvent(QMouseEvent*) {
  Release();
}

void SpinArrows::wheelEvent(QWheelEvent* event) {
  ReportWheel(handlers_, event);
}

void SpinArrows::changeEvent(QEvent* event) {
  if (event->type() == QEvent::EnabledChange && !isEnabled()) Release();
  QWidget::changeEvent(event);
}

void SpinArrows::Repeat() {
  repeat_.start(kRepeatIntervalMs);
  handlers_.step(pressed_, KeysOf(QGuiApplication::keyboardModifiers()));
}

void SpinArrows::Release() {
  repeat_.stop();
  pressed_ = 0;
  update();
}

void TextLabel::ShowShortened(const QString& text) {
  setText(fontMetrics().elidedText(text, Qt::ElideMiddle, width()));
}

void TextLabel::mousePressEvent(QMouseEvent* event) {
  event->setAccepted(clicked != nullptr);  // accepted, so that the release comes here too
}

void TextLabel::mouseReleaseEvent(QMouseEvent* event) {
  if (clicked != nullptr && event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) clicked();
}

PreviewPane::PreviewPane(const SettingsModel& model, QWidget* parent) : QWidget(parent), model_(model) {
  setAttribute(Qt::WA_OpaquePaintEvent);
}

void PreviewPane::PostPictureArrived() {
  QCoreApplication::postEvent(this, std::make_unique<QEvent>(kPictureArrived).release());  // Qt owns posted events
}

// The only event of our own is the arrival.
void PreviewPane::customEvent(QEvent*) {
  update();
}

void PreviewPane::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), ToQt(kPictureBackground));
  model_.WithPicture([&](const PreviewPicture& picture) {
    const double ratio = devicePixelRatioF();
    const DialogRect place = FitPicture(qRound(width() * ratio), qRound(height() * ratio), picture.width(), picture.height());
    const QImage bottomFirst(picture.pixels(), picture.width(), picture.height(), qsizetype(picture.width()) * 4, QImage::Format_RGB32);
    const QImage scaled = bottomFirst.scaled(place.width, place.height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    painter.drawImage(QRectF(place.x / ratio, place.y / ratio, place.width / ratio, place.height / ratio), scaled.mirrored());
  });
}

}  // namespace qx
