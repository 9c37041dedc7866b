#include "support/WindowDriver.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDeadlineTimer>
#include <QKeySequence>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <numeric>
#include <set>

namespace korvane::test {
namespace {

constexpr int kPatienceMilliseconds = 20'000;

// The control that has to be usable by hand.
template <typename Control>
Control& Usable(const QObject& window, const char* name) {
  auto& control = Find<Control>(window, name);
  if (!control.isVisible() || !control.isEnabled()) {
    throw std::runtime_error(std::string(name) + (control.isVisible() ? " is disabled" : " is not visible"));
  }
  return control;
}

// What every dialog owes the keyboard and the screen reader: a name for each control, and no mnemonic twice.
void CheckControls(QDialog& dialog) {
  std::set<QString> mnemonics;
  for (QWidget* control : dialog.findChildren<QWidget*>()) {
    const QString name = control->objectName();
    if (!control->isVisible() || name.isEmpty() || name.startsWith(QStringLiteral("qt_"))) {
      continue;
    }
    const QAccessibleInterface* reader = QAccessible::queryAccessibleInterface(control);
    EXPECT_TRUE((control->focusPolicy() & Qt::TabFocus) == 0 || !reader->text(QAccessible::Name).isEmpty())
        << name.toStdString() << " has no name";
    const auto* label = qobject_cast<const QLabel*>(control);
    const QString text =
        label != nullptr && !label->buddy() ? QString() : control->property("text").toString();
    const QString key = QKeySequence::mnemonic(text).toString();
    EXPECT_TRUE(key.isEmpty() || mnemonics.insert(key).second)
        << key.toStdString() << " leads to two controls";
  }
}

void Act(QDialog& dialog, const std::function<void(QDialog&)>& act) {
  try {
    act(dialog);
    EXPECT_FALSE(dialog.isVisible()) << dialog.objectName().toStdString() << " stayed open";
  } catch (const std::exception& error) {
    // It must not pass through the event loop.
    ADD_FAILURE() << error.what();
  }
  if (dialog.isVisible()) {
    dialog.reject();
  }
}

}  // namespace

void ShowActive(QWidget& window) {
  window.show();
  window.activateWindow();
  if (!QTest::qWaitForWindowActive(&window)) {
    throw std::runtime_error(window.objectName().toStdString() + " did not become active");
  }
}

std::string TextOf(const QObject& window, const char* name) {
  const auto& control = Find<QWidget>(window, name);
  for (const char* property : {"text", "plainText", "currentText", "title"}) {
    if (const QVariant text = control.property(property); text.isValid()) {
      return text.toString().toStdString();
    }
  }
  throw std::runtime_error(std::string(name) + " shows no text");
}

bool IsEnabled(const QObject& window, const char* name) {
  return Find<QWidget>(window, name).isEnabled();
}

bool IsShown(const QObject& window, const char* name) {
  return Find<QWidget>(window, name).isVisible();
}

bool IsChecked(const QObject& window, const char* name) {
  return Find<QAbstractButton>(window, name).isChecked();
}

void Click(const QObject& window, const char* name) {
  auto& button = Usable<QAbstractButton>(window, name);
  const bool whole = qobject_cast<QPushButton*>(&button) || qobject_cast<QToolButton*>(&button);
  // Of an option or a check box only the sign and the caption take the click.
  QTest::mouseClick(&button, Qt::LeftButton, {}, whole ? QPoint() : QPoint(8, button.height() / 2));
}

void Type(const QObject& window, const char* name, const std::string& text) {
  auto& editor = Usable<QWidget>(window, name);
  editor.setFocus();
  QTest::keyClick(&editor, Qt::Key_A, Qt::ControlModifier);
  if (text.empty()) {
    QTest::keyClick(&editor, Qt::Key_Delete);
  }
  QTest::keyClicks(&editor, QString::fromStdString(text));
}

void Choose(const QObject& window, const char* name, const std::string& item) {
  auto& control = Usable<QWidget>(window, name);
  const QString text = QString::fromStdString(item);
  if (auto* combo = qobject_cast<QComboBox*>(&control); combo != nullptr && combo->findText(text) >= 0) {
    combo->setFocus();
    combo->setCurrentIndex(combo->findText(text));
    Q_EMIT combo->activated(combo->currentIndex());
    return;
  }
  if (auto* list = qobject_cast<QAbstractItemView*>(&control)) {
    const QModelIndexList found = list->model()->match(list->model()->index(0, 0), Qt::DisplayRole, text, 1,
                                                       Qt::MatchExactly | Qt::MatchRecursive);
    if (!found.empty()) {
      list->scrollTo(found.front());
      QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualRect(found.front()).center());
      return;
    }
  }
  throw std::runtime_error(std::string(name) + " offers no " + item);
}

void Press(QWidget& window, Qt::Key key, Qt::KeyboardModifiers modifiers) {
  QTest::keyClick(window.focusWidget() != nullptr ? window.focusWidget() : &window, key, modifiers);
}

QPoint CentreOf(const QAbstractItemView& list, int row, int column) {
  return list.visualRect(list.model()->index(row, column)).center();
}

void DoubleClick(QAbstractItemView& list, int row, int column) {
  const QPoint place = CentreOf(list, row, column);
  QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, place);
  QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, place);
}

void RightClick(QAbstractItemView& list, const QPoint& place) {
  QTest::mouseClick(list.viewport(), Qt::RightButton, {}, place);
  QContextMenuEvent event(QContextMenuEvent::Mouse, place, list.viewport()->mapToGlobal(place));
  QApplication::sendEvent(list.viewport(), &event);
}

std::string Cell(const QAbstractItemView& list, int row, int column) {
  return list.model()->index(row, column).data().toString().toStdString();
}

std::vector<std::string> Rows(const QAbstractItemView& list, std::initializer_list<int> columns) {
  std::vector<int> shown(columns);
  if (shown.empty()) {
    shown.resize(static_cast<std::size_t>(list.model()->columnCount()));
    std::iota(shown.begin(), shown.end(), 0);
  }
  std::vector<std::string> rows(static_cast<std::size_t>(list.model()->rowCount()));
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (const int column : shown) {
      rows[row] += (column == shown.front() ? "" : "|") + Cell(list, static_cast<int>(row), column);
    }
  }
  return rows;
}

void InDialog(const std::function<void()>& open, const std::function<void(QDialog&)>& act) {
  const QWidget* before = QApplication::activeModalWidget();
  const QDeadlineTimer deadline(kPatienceMilliseconds);
  bool opened = false;
  QTimer poll;
  QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (dialog != nullptr && dialog != before && (dialog->isActiveWindow() || deadline.hasExpired())) {
      opened = true;
      poll.stop();
      CheckControls(*dialog);
      Act(*dialog, act);
    }
  });
  poll.start(5);
  open();
  EXPECT_TRUE(opened) << "no dialog opened";
}

bool WaitFor(const std::function<bool()>& condition) {
  return QTest::qWaitFor(condition, kPatienceMilliseconds);
}

}  // namespace korvane::test
