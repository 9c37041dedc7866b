#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <functional>

#include "systems/frmViewOptions.h"

namespace korvane::systems {
namespace {

// What the dialog answers when this is done to it once it shows.
intake::ViewOption AnswerAfter(const std::function<void(QDialog&)>& act) {
  QTimer poll;
  bool acted = false;
  QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (dialog != nullptr && !acted) {
      acted = true;
      act(*dialog);
    }
  });
  poll.start(5);
  const intake::ViewOption answer = ViewOptionsDialog().AskViewOption(1234, 1000);
  EXPECT_TRUE(acted);
  return answer;
}

QRadioButton& OnlyNew(QDialog& dialog) {
  return *dialog.findChild<QRadioButton*>(QStringLiteral("optShowOnlyNewTraps"));
}

TEST(ViewOptions, ShowsItsTexts) {
  const frmViewOptions dialog(1234, 1000);
  EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Select View Option"));
  EXPECT_EQ(dialog.findChild<QLabel*>(QStringLiteral("lblMessage"))->text(),
            QStringLiteral("There are 1234 unacknowledged traps. Loading all may cause delay.\n"
                           "Please select a view option."));
  EXPECT_EQ(dialog.findChild<QRadioButton*>(QStringLiteral("optLoadRecentTraps"))->text(),
            QStringLiteral("Load Recent Traps (upto maximum traps view limit, currently: 1000)"));
  EXPECT_EQ(dialog.Choice(), intake::ViewOption::LoadRecentTraps);
}

TEST(ViewOptions, EveryWayOutTakesTheChoiceThatIsShown) {
  EXPECT_EQ(AnswerAfter([](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Return); }),
            intake::ViewOption::LoadRecentTraps);
  EXPECT_EQ(AnswerAfter([](QDialog& dialog) {
              OnlyNew(dialog).click();
              QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
            }),
            intake::ViewOption::ShowOnlyNewTraps);
  EXPECT_EQ(AnswerAfter([](QDialog& dialog) {
              OnlyNew(dialog).click();
              dialog.close();
            }),
            intake::ViewOption::ShowOnlyNewTraps);
  EXPECT_EQ(AnswerAfter([](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); }),
            intake::ViewOption::LoadRecentTraps);
}

}  // namespace
}  // namespace korvane::systems
