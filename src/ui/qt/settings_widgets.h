// The few widgets of the settings window that Qt does not have as they are wanted. They report through functions, not signals, so that no
// generated code is needed.
#pragma once

#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QTimer>
#include <QWidget>
#include <functional>

#include "ui/settings_model.h"

namespace qx {

QColor ToQt(Color color);
QString ToQt(const std::string& utf8);
/// The window's colours, for every widget that sets none of its own.
QPalette DarkPalette();

/// What a number field and its arrows report.
struct StepHandlers {
  std::function<void(int count, StepKeys keys)> step;
  std::function<void(int delta, StepKeys keys)> wheel;
};

class NumberEdit final : public QLineEdit {
 public:
  NumberEdit(StepHandlers handlers, QWidget* parent);

 protected:
  void wheelEvent(QWheelEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  const StepHandlers handlers_;
};

/// An upward arrow over a downward one; held, they repeat.
class SpinArrows final : public QWidget {
 public:
  SpinArrows(StepHandlers handlers, QWidget* parent);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override { mousePressEvent(event); }
  void mouseReleaseEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void Repeat();
  void Release();

  const StepHandlers handlers_;
  QTimer repeat_;
  int pressed_ = 0;  // 1 up, -1 down
};

/// A text that can be clicked, and that is shortened in its middle where it does not fit.
class TextLabel final : public QLabel {
 public:
  explicit TextLabel(QWidget* parent) : QLabel(parent) {}
  void ShowShortened(const QString& text);
  std::function<void()> clicked;

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
};

/// The picture of the clip, as large as it fits, on black.
class PreviewPane final : public QWidget {
 public:
  PreviewPane(const SettingsModel& model, QWidget* parent);
  /// Any thread.
  void PostPictureArrived();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void customEvent(QEvent* event) override;

 private:
  const SettingsModel& model_;
};

}  // namespace qx
