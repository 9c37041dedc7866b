#include "common/qt/QtPrompts.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <functional>
#include <optional>
#include <string>

namespace korvane {
namespace {

// Runs ask with the work for the dialog that it opens, which is closed if it is still open afterwards.
template <typename Dialog>
void With(const std::function<void(Dialog&)>& work, const std::function<void()>& ask) {
  QTimer poll;
  bool seen = false;
  QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
    if (auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
        dialog && dialog->isVisible()) {
      poll.stop();
      seen = true;
      work(*dialog);
      dialog->close();
    }
  });
  poll.start(5);
  ask();
  EXPECT_TRUE(seen) << "no dialog was shown";
}

TEST(QtPromptsTest, ShowsExactPlainTextWithItsIcon) {
  for (const auto& [icon, shown] : {std::pair{PromptIcon::None, QMessageBox::NoIcon},
                                    {PromptIcon::Information, QMessageBox::Information},
                                    {PromptIcon::Question, QMessageBox::Question},
                                    {PromptIcon::Exclamation, QMessageBox::Warning},
                                    {PromptIcon::Critical, QMessageBox::Critical}}) {
    for (const char* text : {"<b>bold</b> & <img src='file:///etc/passwd'>",
                             "acknowledge all traps for 'a&b %1 %s \\n'?", "two\nlines", " blanks "}) {
      With<QMessageBox>(
          [&, expected = shown](QMessageBox& box) {
            EXPECT_EQ(box.text(), QString::fromLatin1(text));
            EXPECT_EQ(box.textFormat(), Qt::PlainText);
            EXPECT_EQ(box.icon(), expected);
            EXPECT_EQ(box.windowTitle(), QStringLiteral("Korvane Manager Console"));
            EXPECT_EQ(box.standardButtons(), QMessageBox::Ok);
            EXPECT_TRUE(box.detailedText().isEmpty());
          },
          [&, given = icon] { QtPrompts().Show(text, given); });
    }
  }
  // One that fits no screen is offered as details.
  for (const QString& text : {QStringLiteral("line\n").repeated(500), QString(70000, QLatin1Char('x'))}) {
    With<QMessageBox>(
        [&](QMessageBox& box) {
          EXPECT_LT(box.text().size(), 1300);
          EXPECT_EQ(box.detailedText(), text);
          EXPECT_LE(box.height(), 700);
        },
        [&] { QtPrompts().Show(text.toStdString(), PromptIcon::Critical); });
  }
}

TEST(QtPromptsTest, AnswersAreTheButtonsPressed) {
  struct Row {
    PromptButtons Buttons;
    QMessageBox::StandardButton Pressed;  // NoButton: the Escape key
    PromptAnswer Answer;
  };
  for (const Row& row : {Row{PromptButtons::Ok, QMessageBox::Ok, PromptAnswer::Ok},
                         Row{PromptButtons::Ok, QMessageBox::NoButton, PromptAnswer::Ok},
                         Row{PromptButtons::YesNo, QMessageBox::Yes, PromptAnswer::Yes},
                         Row{PromptButtons::YesNo, QMessageBox::No, PromptAnswer::No},
                         Row{PromptButtons::YesNo, QMessageBox::NoButton, PromptAnswer::No},
                         Row{PromptButtons::YesNoCancel, QMessageBox::Yes, PromptAnswer::Yes},
                         Row{PromptButtons::YesNoCancel, QMessageBox::Cancel, PromptAnswer::Cancel},
                         Row{PromptButtons::YesNoCancel, QMessageBox::NoButton, PromptAnswer::Cancel}}) {
    With<QMessageBox>(
        [&row](QMessageBox& box) {
          if (row.Pressed == QMessageBox::NoButton) {
            QTest::keyClick(&box, Qt::Key_Escape);
          } else {
            QTest::mouseClick(box.button(row.Pressed), Qt::LeftButton);
          }
        },
        [&row] { EXPECT_EQ(QtPrompts().Ask("Really?", row.Buttons, PromptIcon::Question), row.Answer); });
  }
}

TEST(QtPromptsTest, InputBoxGivesTheTextOrNothing) {
  const auto answer = [](const std::function<void(QDialog&)>& work) {
    std::optional<std::string> text = "none was given";
    With<QDialog>(work, [&text] { text = QtPrompts().AskText("Enter New Name: ", "All Traps "); });
    return text;
  };
  EXPECT_EQ(answer([](QDialog& open) {
              auto* edit = open.findChild<QLineEdit*>();
              EXPECT_EQ(edit->text(), QStringLiteral("All Traps "));
              EXPECT_EQ(open.findChild<QLabel*>()->text(), QStringLiteral("Enter New Name: "));
              EXPECT_EQ(open.findChild<QLabel*>()->textFormat(), Qt::PlainText);
              EXPECT_EQ(open.windowTitle(), QStringLiteral("Korvane Manager Console"));
              edit->selectAll();
              QTest::keyClicks(edit, QStringLiteral("<i>M&unchen</i>"));
              QTest::keyClick(edit, Qt::Key_Return);
            }),
            "<i>M&unchen</i>");
  EXPECT_EQ(answer([](QDialog& open) { QTest::keyClick(&open, Qt::Key_Escape); }), std::nullopt);
}

}  // namespace
}  // namespace korvane
