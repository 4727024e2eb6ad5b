#include "ui/qt/settings_dialog.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QEventLoop>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSlider>
#include <QStyleFactory>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>
#include <algorithm>
#include <clocale>
#include <fstream>
#include <random>
#include <thread>

#include "platform/path.h"
#include "tests/ui/fake_preview.h"
#include "ui/module/settings_module.h"
#include "ui/qt/settings_widgets.h"

namespace qx {
namespace {

class SettingsDialogTest : public testing::Test {
 protected:
  void SetUp() override { Open({}); }

  void Open(const DevelopOptions& options) {
    dialog.reset();
    dialog = std::make_unique<SettingsDialog>(request, options, style.get());
    dialog->show();
  }

  template <typename Widget>
  Widget* Find(int id) const {
    return dialog->findChild<Widget*>(QString::number(id));
  }
  void Type(int id, const char* text) const {
    auto* const edit = Find<QLineEdit>(id);
    edit->selectAll();
    QTest::keyClicks(edit, text);
  }
  void Click(int id) const { QTest::mouseClick(Find<QWidget>(id), Qt::LeftButton); }
  void ClickArrow(int id, bool up, Qt::KeyboardModifiers keys) const {
    auto* const arrows = Find<QWidget>(id);
    QTest::mouseClick(arrows, Qt::LeftButton, keys, QPoint(arrows->width() / 2, up ? 3 : arrows->height() - 3));
  }
  void Turn(int id, int delta, Qt::KeyboardModifiers keys = {}) const {
    auto* const widget = Find<QWidget>(id);
    const QPointF middle = QRectF(widget->rect()).center();
    QWheelEvent event(middle, widget->mapToGlobal(middle), {}, {0, delta}, Qt::NoButton, keys, Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &event);
  }
  QString Shown(int id) const { return Find<QLineEdit>(id)->text(); }

  // Runs `act` when the next window over the dialog is up.
  template <typename Window>
  static void OnNextWindow(std::function<void(Window*)> act) {
    QTimer::singleShot(0, [act] {
      auto* const window = qobject_cast<Window*>(QApplication::activeModalWidget());
      ASSERT_NE(window, nullptr);
      act(window);
    });
  }

  FakePreview preview;
  SettingsDialogRequest request{nullptr, "/clips/clip.qorix", 0, &preview.description};
  const std::unique_ptr<QStyle> style{QStyleFactory::create("Fusion")};
  std::unique_ptr<SettingsDialog> dialog;
};

TEST_F(SettingsDialogTest, TakesWhatIsTyped) {
  Type(kExposureEdit, "1,5");
  EXPECT_EQ(Shown(kExposureEdit), "1,5") << "left as typed";
  Type(kDistortionEdit, "40");
  Click(kOkButton);
  EXPECT_EQ(dialog->result(), 1);
  EXPECT_FALSE(dialog->isVisible());
  EXPECT_EQ(dialog->model().options().exposureEv, 1.5f);
  EXPECT_EQ(dialog->model().options().warpPercent, 40);
}

TEST_F(SettingsDialogTest, StepsWithArrowsKeysAndWheel) {
  Type(kExposureEdit, "1,5");
  ClickArrow(kExposureSpin, true, Qt::ShiftModifier);
  EXPECT_EQ(Shown(kExposureEdit), "+1.51");
  ClickArrow(kExposureSpin, false, Qt::ControlModifier);
  EXPECT_EQ(Shown(kExposureEdit), "+1.01");
  QTest::keyClick(Find<QLineEdit>(kExposureEdit), Qt::Key_Up);
  EXPECT_EQ(Shown(kExposureEdit), "+1.11");
  Turn(kVignettingEdit, -60);
  EXPECT_EQ(Shown(kVignettingEdit), "100");
  Turn(kVignettingSpin, -60);
  EXPECT_EQ(Shown(kVignettingEdit), "99");
  Turn(kVignettingEdit, -119);
  Turn(kVignettingEdit, 119);
  EXPECT_EQ(Shown(kVignettingEdit), "99") << "turning back forgets the fraction";
  Turn(kVignettingEdit, 1, Qt::ControlModifier);
  EXPECT_EQ(Shown(kVignettingEdit), "100");
}

TEST_F(SettingsDialogTest, EnablesTemperatureAndTintWithTheirWhiteBalance) {
  const QColor disabled(105, 105, 105), text(225, 225, 225), field(27, 27, 27);
  auto* const kelvin = Find<QLineEdit>(kKelvinEdit);
  EXPECT_FALSE(kelvin->isEnabled());
  EXPECT_EQ(kelvin->palette().color(QPalette::Text), disabled);
  EXPECT_EQ(kelvin->palette().color(QPalette::Base), field);
  ClickArrow(kKelvinSpin, true, {});
  EXPECT_EQ(Shown(kKelvinEdit), "5600");
  Find<QComboBox>(kWhiteBalanceCombo)->setCurrentIndex(1);
  EXPECT_TRUE(kelvin->isEnabled());
  EXPECT_EQ(kelvin->palette().color(QPalette::Text), text);
  ClickArrow(kKelvinSpin, true, Qt::ControlModifier);
  EXPECT_EQ(Shown(kKelvinEdit), "6100");
}

TEST_F(SettingsDialogTest, ChecksByLabelAndCancelsByEscape) {
  Click(kProcessorLabel);
  EXPECT_TRUE(Find<QCheckBox>(kProcessorCheck)->isChecked());
  Click(kProcessorLabel);
  EXPECT_FALSE(Find<QCheckBox>(kProcessorCheck)->isChecked());
  QTest::mouseClick(Find<QWidget>(kNewClipsCheck), Qt::LeftButton, {}, QPoint(5, Find<QWidget>(kNewClipsCheck)->height() / 2));
  EXPECT_TRUE(dialog->model().useForNewClips());
  QTest::keyClick(dialog.get(), Qt::Key_Escape);
  EXPECT_FALSE(dialog->isVisible());
  EXPECT_EQ(dialog->result(), 0);
}

TEST_F(SettingsDialogTest, ResetFillsEveryControlAgain) {
  DevelopOptions options;
  options.outputCurve = 2;
  options.exposureEv = -1;
  options.demosaic = 3;
  options.cpuOnly = 1;
  ASSERT_TRUE(SetLutPath("/looks/look.cube", &options));
  Open(options);
  EXPECT_FALSE(Find<QComboBox>(kCurveCombo)->isEnabled());
  EXPECT_EQ(Find<QLabel>(kLutName)->text(), "look.cube");
  EXPECT_EQ(Find<QLabel>(kLutNote)->text(), "With a LUT, the output is Rec.709.");
  Click(kResetButton);
  EXPECT_EQ(Shown(kExposureEdit), "+0.00");
  EXPECT_EQ(Find<QComboBox>(kCurveCombo)->currentIndex(), 0);
  EXPECT_EQ(Find<QComboBox>(kDebayerCombo)->currentIndex(), 0);
  EXPECT_FALSE(Find<QCheckBox>(kProcessorCheck)->isChecked());
  EXPECT_TRUE(Find<QComboBox>(kCurveCombo)->isEnabled());
  EXPECT_EQ(Find<QLabel>(kLutName)->text(), "No LUT");
  EXPECT_FALSE(Find<QPushButton>(kLutOffButton)->isEnabled());
}

TEST_F(SettingsDialogTest, ChoosesALutAndMissesItWhenItIsGone) {
  const std::filesystem::path lut = std::filesystem::temp_directory_path() / PathFromUtf16(u"qx_dialog_\u00E9\u6620.cube");
  std::ofstream(lut) << "LUT_3D_SIZE 2\n";
  OnNextWindow<QFileDialog>([&](QFileDialog* chooser) {
    EXPECT_EQ(chooser->windowTitle(), "LUT");
    EXPECT_EQ(chooser->nameFilters(), QStringList{"LUT (*.cube)"});
    chooser->selectFile(QString::fromStdString(Utf8FromPath(lut)));
    static_cast<QDialog*>(chooser)->done(QDialog::Accepted);
  });
  Click(kChooseLutButton);
  EXPECT_EQ(Find<QLabel>(kLutName)->text().toStdString(), Utf8FromPath(lut.filename()));
  std::filesystem::remove(lut);

  QString warning;
  OnNextWindow<QMessageBox>([&](QMessageBox* box) {
    warning = box->text();
    box->accept();
  });
  Click(kOkButton);
  EXPECT_EQ(warning.toStdString(), "Cannot read the LUT: " + Utf8FromPath(lut));
  EXPECT_TRUE(dialog->isVisible());
  Click(kLutOffButton);
  Click(kOkButton);
  EXPECT_EQ(dialog->result(), 1);
}

TEST_F(SettingsDialogTest, ShortensALongLutName) {
  DevelopOptions options;
  const std::string name = std::string(120, 'w') + ".cube";
  ASSERT_TRUE(SetLutPath("/looks/" + name, &options));
  Open(options);
  const auto* label = Find<QLabel>(kLutName);
  EXPECT_TRUE(label->text().contains(QChar(0x2026)));
  EXPECT_TRUE(label->text().endsWith("cube"));
  EXPECT_LE(label->fontMetrics().horizontalAdvance(label->text()), label->width());
}

TEST_F(SettingsDialogTest, ShowsThePictureTheRightWayUp) {
  auto* const slider = Find<QSlider>(kFrameSlider);
  EXPECT_EQ(slider->maximum(), 99);
  EXPECT_EQ(slider->value(), 50);
  slider->setValue(0);
  EXPECT_EQ(Find<QLabel>(kPositionText)->text(), "1 / 100    00:00:00:00");

  bool arrived = false;
  while (!arrived) {
    QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    dialog->model().WithPicture([&](const PreviewPicture&) { arrived = true; });
  }
  const QImage image = Find<QWidget>(kPreviewPicture)->grab().toImage();
  // 4 × 2 in an area that is a little narrower: black bars above and below at most.
  EXPECT_EQ(image.pixelColor(image.width() / 2, image.height() / 4), QColor(255, 0, 0));
  EXPECT_EQ(image.pixelColor(image.width() / 2, image.height() * 3 / 4), QColor(0, 0, 255));
  EXPECT_EQ(image.pixelColor(0, 0), QColor(0, 0, 0));
}

TEST_F(SettingsDialogTest, IsMirroredForArabic) {
  const int width = dialog->width();
  EXPECT_GT(Find<QWidget>(kOkButton)->x(), width / 2);
  request.languageIndex = 1;
  Open({});
  EXPECT_LT(Find<QWidget>(kOkButton)->x(), dialog->width() / 2);
  EXPECT_LT(Find<QWidget>(kCancelButton)->x(), Find<QWidget>(kOkButton)->x());
  EXPECT_LT(Find<QWidget>(kPreviewPicture)->x(), Find<QWidget>(kCurveCombo)->x());
  Type(kExposureEdit, "1,5");
  EXPECT_EQ(Shown(kExposureEdit), "1,5");
}

TEST_F(SettingsDialogTest, StandsWithoutPicture) {
  const int width = dialog->width();
  request.preview = nullptr;
  Open({});
  EXPECT_LT(dialog->width(), width);
  for (const int id : {kPreviewPicture, kFrameSlider, kPositionText}) EXPECT_EQ(Find<QWidget>(id), nullptr);
  Click(kOkButton);
  EXPECT_EQ(dialog->result(), 1);
}

TEST_F(SettingsDialogTest, NamesItsControlsForScreenReaders) {
  EXPECT_EQ(Find<QWidget>(kExposureEdit)->accessibleName(), "Exposure");
  EXPECT_EQ(Find<QWidget>(kTintEdit)->accessibleName(), "Tint");
  EXPECT_EQ(Find<QWidget>(kProcessorCheck)->accessibleName(), "Develop on the processor, without the graphics card");
}

// The module as the plug-in loads it, in the application that is here already.
TEST(QtSettingsModule, RunsInTheHostsApplication) {
  const std::string locale = setlocale(LC_ALL, nullptr);
  for (const bool confirmed : {true, false}) {
    QTimer::singleShot(0, [confirmed] {
      auto* const window = QApplication::activeModalWidget();
      ASSERT_NE(window, nullptr);
      EXPECT_EQ(window->windowTitle(), "a b.zip — Quelleinstellungen");
      window->findChild<QLineEdit*>(QString::number(kExposureEdit))->selectAll();
      QTest::keyClicks(window->findChild<QLineEdit*>(QString::number(kExposureEdit)), "-2");
      window->findChild<QCheckBox*>(QString::number(kNewClipsCheck))->setChecked(true);
      QTest::mouseClick(window->findChild<QWidget*>(QString::number(confirmed ? kOkButton : kCancelButton)), Qt::LeftButton);
    });
    DevelopOptions options;
    options.exposureEv = 1;
    bool useForNewClips = false;
    MessageBuffer<256> message;
    const int result = RunSettingsModule(std::filesystem::path(QX_BINARY_DIR) / kSettingsModuleName,
                                         {nullptr, "C:\\clips\\a b.zip", 2, nullptr}, &options, &useForNewClips, message);
    EXPECT_EQ(result, confirmed ? 1 : 0) << message.text();
    EXPECT_EQ(options.exposureEv, confirmed ? -2 : 1);
    EXPECT_EQ(useForNewClips, confirmed);
  }
  EXPECT_EQ(setlocale(LC_ALL, nullptr), locale);
}

// A host may open the window from a thread of its own while its event loop runs on another.
TEST(QtSettingsModule, ComesToTheApplicationsThread) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the hand-over is Qt's, which is not built for the sanitizer: every access behind it looks like a race";
#endif
  QTimer clicker;
  QObject::connect(&clicker, &QTimer::timeout, [] {
    if (QWidget* const window = QApplication::activeModalWidget()) {
      EXPECT_EQ(window->thread(), qApp->thread());
      window->findChild<QPushButton*>(QString::number(kOkButton))->click();
    }
  });
  clicker.start(0);
  QEventLoop hostLoop;
  int result = -1;
  std::thread host([&] {
    DevelopOptions options;
    bool useForNewClips = false;
    result = RunSettingsModule(std::filesystem::path(QX_BINARY_DIR) / kSettingsModuleName, {nullptr, "a.zip", 0, nullptr}, &options,
                               &useForNewClips, {});
    QMetaObject::invokeMethod(&hostLoop, &QEventLoop::quit, Qt::QueuedConnection);
  });
  hostLoop.exec();
  host.join();
  EXPECT_EQ(result, 1);
}

// QX_STRESS multiplies the 200 cycles.
TEST_F(SettingsDialogTest, OpensAndClosesManyTimes) {
  const int cycles = 200 * std::max(qEnvironmentVariableIntValue("QX_STRESS"), 1);
  std::mt19937 random(11);
  for (int cycle = 0; cycle < cycles; ++cycle) {
    request.languageIndex = cycle % kLanguageCount;
    Open({});
    for (unsigned edits = random() % 8; edits > 0; --edits) {
      switch (random() % 6) {
        case 0:
          Type(kExposureEdit, "-1,25");
          break;
        case 1:
          ClickArrow(kVignettingSpin, random() % 2 == 0, random() % 2 == 0 ? Qt::ShiftModifier : Qt::NoModifier);
          break;
        case 2:
          Turn(kDistortionEdit, int(random() % 400) - 200);
          break;
        case 3:
          Find<QSlider>(kFrameSlider)->setValue(int(random() % 100));
          break;
        case 4:
          Find<QComboBox>(kWhiteBalanceCombo)->setCurrentIndex(int(random() % 2));
          break;
        default:
          Click(random() % 2 == 0 ? kResetButton : kProcessorLabel);
      }
    }
    if (cycle % 4 == 0) QApplication::processEvents();
    Click(cycle % 2 == 0 ? kOkButton : kCancelButton);
    EXPECT_EQ(dialog->result(), cycle % 2 == 0 ? 1 : 0);
    dialog.reset();
    ASSERT_EQ(FakePreview::livePictures, 0) << "cycle " << cycle;
  }
}

}  // namespace
}  // namespace qx
