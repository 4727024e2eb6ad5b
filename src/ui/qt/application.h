// The Qt application that the settings window runs in.
#pragma once

#include <QApplication>
#include <QFont>
#include <functional>
#include <string_view>

#include "base/message.h"

namespace qx {

/// Runs `body` where widgets may be used: on the thread of the host's QApplication, or on this one, with an application of our own that is
/// then kept for the process. -1 with a message when there is no display, or when the windows belong to a thread that cannot be reached.
[[nodiscard]] int RunWithApplication(const std::function<int()>& body, Message message);

/// An average character and a line of the window's font: what dialog units are made of.
struct FontUnits {
  explicit FontUnits(const QFont& font);
  int X(int units) const;
  int Y(int units) const;
  /// Width of a text in dialog units, rounded up.
  int TextWidth(std::string_view text) const;

  QFont font;
  int averageWidth = 0, height = 0;
};

/// The font of the settings window: the system's, at 9 points.
QFont SettingsFont();

}  // namespace qx
