// Every text in every language fits the control that shows it, in a real font, in the widgets themselves.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QFontMetrics>
#include <QGlyphRun>
#include <QPushButton>
#include <QRawFont>
#include <QStyleFactory>
#include <QStyleOptionComboBox>
#include <QTextLayout>

#include "tests/ui/fake_preview.h"
#include "ui/qt/settings_dialog.h"
#include "ui/qt/settings_widgets.h"

namespace qx {
namespace {

class LabelFit : public testing::TestWithParam<int> {
 protected:
  LabelFit() : style(QStyleFactory::create("Fusion")), dialog(request, {}, style.get()) {}

  static int Width(const QString& text, const QFont& font) { return QFontMetrics(font).horizontalAdvance(text); }
  QString Text(Label label) const { return LabelText(GetParam(), label); }

  FakePreview preview;
  const SettingsDialogRequest request{nullptr, "/clips/clip.qorix", GetParam(), &preview.description};
  const std::unique_ptr<QStyle> style;
  SettingsDialog dialog;
};

TEST_P(LabelFit, Labels) {
  int checked = 0;
  for (const QLabel* label : dialog.findChildren<QLabel*>()) {
    if (label->text().isEmpty()) continue;
    ++checked;
    EXPECT_LE(Width(label->text(), label->font()), label->width()) << label->text().toStdString();
  }
  EXPECT_GE(checked, 17);
  const auto* name = dialog.findChild<QLabel*>(QString::number(kLutName));
  EXPECT_EQ(name->text(), Text(Label::kNoLut)) << "shortened";
  const auto* note = dialog.findChild<QLabel*>(QString::number(kLutNote));
  EXPECT_LE(Width(Text(Label::kLutNote), note->font()), note->width());
}

TEST_P(LabelFit, Buttons) {
  for (const QPushButton* button : dialog.findChildren<QPushButton*>()) {
    // Four pixels of frame and air on each side.
    EXPECT_LE(Width(button->text(), button->font()) + 8, button->width()) << button->text().toStdString();
  }
}

TEST_P(LabelFit, Choices) {
  for (const QComboBox* combo : dialog.findChildren<QComboBox*>()) {
    QStyleOptionComboBox option;
    option.initFrom(combo);
    option.editable = false;
    const QRect field = combo->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, combo);
    for (int row = 0; row < combo->count(); ++row) {
      EXPECT_LE(Width(combo->itemText(row), combo->font()) + 2, field.width()) << combo->itemText(row).toStdString();
    }
  }
}

// Boxes in place of letters show as glyph 0 once the text is shaped. Fonts for every script come with "./run test".
TEST_P(LabelFit, NoBoxes) {
  for (int label = 0; label < kLabelCount; ++label) {
    QTextLayout layout(Text(Label(label)), SettingsFont());
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    for (const QGlyphRun& run : layout.glyphRuns()) {
      EXPECT_FALSE(run.glyphIndexes().contains(0)) << layout.text().toStdString() << " in " << run.rawFont().familyName().toStdString();
    }
  }
}

std::string CodeOf(const testing::TestParamInfo<int>& info) {
  return kLanguageCodes[info.param];
}

INSTANTIATE_TEST_SUITE_P(Languages, LabelFit, testing::Range(0, kLanguageCount), CodeOf);

}  // namespace
}  // namespace qx
