#include "common/qt/QtPrompts.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <functional>
#include <string>
#include <vector>

#include "common/qt/QtText.h"

namespace korvane {
namespace {

// Hands the next modal dialog to the work as soon as it shows, and closes it if it is still open afterwards.
class WithDialog {
 public:
  explicit WithDialog(std::function<void(QDialog&)> work) {
    waited_.start();
    QObject::connect(&poll_, &QTimer::timeout, &poll_, [this, work = std::move(work)] {
      auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
      if (dialog != nullptr && dialog->isVisible()) {
        poll_.stop();
        seen_ = true;
        work(*dialog);
        dialog->close();
      } else if (waited_.elapsed() > 20000) {
        poll_.stop();
      }
    });
    poll_.start(5);
  }
  ~WithDialog() { EXPECT_TRUE(seen_) << "no dialog was shown"; }

 private:
  QTimer poll_;
  QElapsedTimer waited_;
  bool seen_ = false;
};

const std::vector<std::string> kHostileTexts = {"<b>bold</b> & <img src='file:///etc/passwd'>",
                                                "Do you want to acknowledge all traps for 'a&b %1 %s \\n'?",
                                                "two\nlines", " blanks "};

TEST(QtPromptsTest, ShowsExactPlainTextWithItsIcon) {
  const std::vector<std::pair<PromptIcon, QMessageBox::Icon>> icons = {
      {PromptIcon::None, QMessageBox::NoIcon},
      {PromptIcon::Information, QMessageBox::Information},
      {PromptIcon::Question, QMessageBox::Question},
      {PromptIcon::Exclamation, QMessageBox::Warning},
      {PromptIcon::Critical, QMessageBox::Critical}};
  for (const auto& [icon, shown] : icons) {
    for (const std::string& text : kHostileTexts) {
      const WithDialog dialog([&, shownIcon = shown](QDialog& open) {
        auto& box = dynamic_cast<QMessageBox&>(open);
        EXPECT_EQ(box.text(), ToQString(text));
        EXPECT_EQ(box.textFormat(), Qt::PlainText);
        EXPECT_EQ(box.icon(), shownIcon);
        EXPECT_EQ(box.windowTitle(), QStringLiteral("Korvane Manager Console"));
        EXPECT_EQ(box.standardButtons(), QMessageBox::Ok);
        EXPECT_TRUE(box.detailedText().isEmpty());
      });
      QtPrompts().Show(text, icon);
    }
  }
}

TEST(QtPromptsTest, AnswersAreTheButtonsPressed) {
  struct Row {
    PromptButtons Buttons;
    QMessageBox::StandardButton Pressed;  // NoButton: the Escape key
    PromptAnswer Answer;
  };
  const std::vector<Row> rows = {{PromptButtons::Ok, QMessageBox::Ok, PromptAnswer::Ok},
                                 {PromptButtons::Ok, QMessageBox::NoButton, PromptAnswer::Ok},
                                 {PromptButtons::YesNo, QMessageBox::Yes, PromptAnswer::Yes},
                                 {PromptButtons::YesNo, QMessageBox::No, PromptAnswer::No},
                                 {PromptButtons::YesNo, QMessageBox::NoButton, PromptAnswer::No},
                                 {PromptButtons::YesNoCancel, QMessageBox::Yes, PromptAnswer::Yes},
                                 {PromptButtons::YesNoCancel, QMessageBox::Cancel, PromptAnswer::Cancel},
                                 {PromptButtons::YesNoCancel, QMessageBox::NoButton, PromptAnswer::Cancel}};
  for (const Row& row : rows) {
    const WithDialog dialog([&row](QDialog& open) {
      if (row.Pressed == QMessageBox::NoButton) {
        QTest::keyClick(&open, Qt::Key_Escape);
      } else {
        QTest::mouseClick(dynamic_cast<QMessageBox&>(open).button(row.Pressed), Qt::LeftButton);
      }
    });
    EXPECT_EQ(QtPrompts().Ask("Really?", row.Buttons, PromptIcon::Question), row.Answer);
  }
}

TEST(QtPromptsTest, TextThatFitsNoScreenIsOfferedAsDetails) {
  const std::string lines = [] {
    std::string text;
    for (int i = 0; i < 500; ++i) {
      text += "line " + std::to_string(i) + "\n";
    }
    return text;
  }();
  for (const std::string& text : {lines, std::string(70000, 'x')}) {
    const WithDialog dialog([&text](QDialog& open) {
      auto& box = dynamic_cast<QMessageBox&>(open);
      EXPECT_LT(box.text().size(), 1300);
      EXPECT_EQ(box.detailedText(), ToQString(text));
      EXPECT_LE(box.height(), 700);
    });
    QtPrompts().Show(text, PromptIcon::Critical);
  }
}

TEST(QtPromptsTest, InputBoxGivesTheTextOrNothing) {
  const std::string prompt = "Enter New Name: ";
  {
    const WithDialog dialog([&](QDialog& open) {
      auto* edit = open.findChild<QLineEdit*>();
      EXPECT_EQ(edit->text(), QStringLiteral("All Traps "));
      EXPECT_EQ(open.findChild<QLabel*>()->text(), ToQString(prompt));
      EXPECT_EQ(open.findChild<QLabel*>()->textFormat(), Qt::PlainText);
      EXPECT_EQ(open.windowTitle(), QStringLiteral("Korvane Manager Console"));
      edit->selectAll();
      QTest::keyClicks(edit, QStringLiteral("<i>M&unchen</i>"));
      QTest::keyClick(edit, Qt::Key_Return);
    });
    EXPECT_EQ(QtPrompts().AskText(prompt, "All Traps "), "<i>M&unchen</i>");
  }
  {
    const WithDialog dialog([](QDialog& open) { QTest::keyClick(&open, Qt::Key_Escape); });
    EXPECT_EQ(QtPrompts().AskText(prompt, "All Traps "), std::nullopt);
  }
}

TEST(QtTextTest, TextSurvivesTheEdge) {
  for (const std::string& text : {std::string(), std::string("größe 日本 🔔"), std::string("a\0b", 3)}) {
    EXPECT_EQ(ToUtf8(ToQString(text)), text);
  }
  EXPECT_EQ(ToQString("a\xFF"), QString::fromUtf16(u"a\uFFFD"));
  EXPECT_EQ(ToVisibleQString("a\nb\u202E"), QString::fromUtf16(u"a\u240Ab\uFFFD"));
}

}  // namespace
}  // namespace korvane
