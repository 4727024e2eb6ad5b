#include "ui/qt/application.h"

#include <QFontMetrics>
#include <QString>
#include <QThread>
#include <clocale>
#include <memory>
#include <string>

#include "platform/module.h"
#include "ui/qt/display_check.h"
#include "ui/qt/settings_widgets.h"

namespace qx {

namespace {

constexpr const char* kProbeName = "qorix-settings-probe";
constexpr int kSettingsPoints = 9;

// Ours, when the host has none. Qt allows one in a process, ever, and does not like to see it go and come back.
QApplication* ownApplication = nullptr;

// Creating an application sets the process's locale, which would change how the host reads and prints numbers.
class LocaleKeeper {
 public:
  LocaleKeeper() : saved_(std::setlocale(LC_ALL, nullptr)) {}
  ~LocaleKeeper() { std::setlocale(LC_ALL, saved_.c_str()); }
  LocaleKeeper(const LocaleKeeper&) = delete;
  LocaleKeeper& operator=(const LocaleKeeper&) = delete;

 private:
  const std::string saved_;
};

int CreateOwnApplication(Message message) {
  DisplayProbe probe;
  if (probe.Connect(OwnModuleFolder() / kProbeName, message) != 0) return -1;
  const LocaleKeeper locale;
  static char name[] = "qorix";
  static char* arguments[] = {name, nullptr};
  static int argumentCount = 1;
  ownApplication = std::make_unique<QApplication>(argumentCount, arguments).release();
  // Nobody else shows windows in it, so its own message boxes and file choosers may look like ours.
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setPalette(DarkPalette());
  return 0;
}

}  // namespace

int RunWithApplication(const std::function<int()>& body, Message message) {
  if (QCoreApplication::instance() == nullptr && CreateOwnApplication(message) != 0) return -1;
  auto* const application = qobject_cast<QApplication*>(QCoreApplication::instance());
  if (application == nullptr) return message.Fail("the host's Qt application has no windows");
  if (application->thread() == QThread::currentThread()) return body();
  // The host's own application has an event loop that takes the call over; ours has one only while a window is open.
  if (application == ownApplication) return message.Fail("an earlier window was opened on another thread");
  int result = -1;
  QMetaObject::invokeMethod(
      application, [&] { result = body(); }, Qt::BlockingQueuedConnection);
  return result;
}

FontUnits::FontUnits(const QFont& unitFont) : font(unitFont) {
  const QFontMetrics metrics(font);
  const int alphabet = metrics.horizontalAdvance(QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"));
  averageWidth = std::max((alphabet / 26 + 1) / 2, 1);
  height = std::max(metrics.height(), 1);
}

int FontUnits::X(int units) const {
  return (units * averageWidth + 2) / 4;
}

int FontUnits::Y(int units) const {
  return (units * height + 4) / 8;
}

int FontUnits::TextWidth(std::string_view text) const {
  const int pixels = QFontMetrics(font).horizontalAdvance(QString::fromUtf8(text.data(), qsizetype(text.size())));
  return (pixels * 4 + averageWidth - 1) / averageWidth;
}

QFont SettingsFont() {
  QFont font = QApplication::font();
  font.setPointSize(kSettingsPoints);
  return font;
}

}  // namespace qx
