// The widgets' tests run on Qt's platform without a display, in one application.

#include <gtest/gtest.h>

#include <QApplication>
#include <QTemporaryDir>

// Qt is not built for the thread sanitizer, which therefore does not see the locks inside it and takes what its threads do (the file
// chooser starts one) for races. This leaves out what Qt itself calls; our own accesses are all still watched.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
  return "called_from_lib:libQt6Core.so\ncalled_from_lib:libQt6Gui.so\ncalled_from_lib:libQt6Widgets.so\n";
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const QTemporaryDir runtimeFolder;
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("XDG_RUNTIME_DIR", runtimeFolder.path().toUtf8());
  QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  const QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
