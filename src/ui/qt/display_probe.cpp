// A program of a few lines that connects to the display as the settings window would. It reports on its standard output and then holds the
// connection until it is killed.

#include <sys/resource.h>
#include <unistd.h>

#include <QGuiApplication>
#include <string>

#include "ui/qt/display_check.h"

namespace {

void Report(const std::string& line) {
  const std::string text = line + "\n";
  if (write(STDOUT_FILENO, text.data(), text.size()) < 0) _exit(1);
}

// Qt's last word before it gives up is long and general; what it warned of before says why.
void OnQtMessage(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type == QtDebugMsg || type == QtInfoMsg) return;
  Report(text.simplified().toStdString());
  if (type == QtFatalMsg) _exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  const rlimit noCoreFile{0, 0};
  setrlimit(RLIMIT_CORE, &noCoreFile);
  qInstallMessageHandler(OnQtMessage);
  const QGuiApplication application(argc, argv);
  Report(qx::kProbeSuccess);
  close(STDOUT_FILENO);
  sleep(qx::kProbeSeconds);
  _exit(0);
}
