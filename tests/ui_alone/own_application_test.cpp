// The settings module in a host that has no Qt application: the module makes one and keeps it. A program of its own, as there is one in a
// process for good. The test is inside the window through the preview, which is the only part of the host that runs meanwhile.
#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>
#include <QTemporaryDir>
#include <clocale>
#include <cstdlib>
#include <thread>

#include "ui/module/settings_module.h"
#include "ui/settings_layout.h"

// The application is kept, and with it the font library's settings, which only its end would free.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

namespace qx {
namespace {

int ConfirmInsteadOfRendering(void*, const DevelopOptions&, int64_t, uint8_t**, int32_t*, int32_t*) {
  QMetaObject::invokeMethod(
      qApp, [] { QApplication::activeModalWidget()->findChild<QPushButton*>(QString::number(kOkButton))->click(); }, Qt::QueuedConnection);
  return -1;
}

int RunModule(Message message) {
  const SettingsPreview preview{nullptr, 10, 25, 1, ConfirmInsteadOfRendering, nullptr};
  DevelopOptions options;
  bool useForNewClips = false;
  return RunSettingsModule(std::filesystem::path(QX_BINARY_DIR) / kSettingsModuleName, {nullptr, "/clips/a.zip", 0, &preview}, &options,
                           &useForNewClips, message);
}

TEST(OwnApplication, IsMadeOnceAndLeavesTheHostAsItWas) {
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  const QTemporaryDir runtimeFolder;
  setenv("XDG_RUNTIME_DIR", runtimeFolder.path().toUtf8().constData(), 1);
  setenv("LC_ALL", "C.UTF-8", 1);
  const std::string locale = setlocale(LC_ALL, nullptr);
  ASSERT_EQ(locale, "C") << "the host's choice, which is not the environment's";
  ASSERT_EQ(QCoreApplication::instance(), nullptr);

  MessageBuffer<256> message;
  EXPECT_EQ(RunModule(message), 1) << message.text();
  EXPECT_EQ(setlocale(LC_ALL, nullptr), locale);
  const QCoreApplication* const application = QCoreApplication::instance();
  ASSERT_NE(application, nullptr);

  // Nothing is tried again once there is an application.
  setenv("QT_QPA_PLATFORM", "nosuchplatform", 1);
  EXPECT_EQ(RunModule(message), 1) << message.text();
  EXPECT_EQ(QCoreApplication::instance(), application);

  int elsewhere = 0;
  std::thread([&] { elsewhere = RunModule(message); }).join();
  EXPECT_EQ(elsewhere, -1);
  EXPECT_STREQ(message.text(), "no settings window: an earlier window was opened on another thread");
}

}  // namespace
}  // namespace qx
