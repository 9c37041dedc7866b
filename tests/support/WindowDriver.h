// Working a window as an operator does.  Controls are found by their object names; what is not there, or
// can't be clicked or chosen, throws std::runtime_error with the name, which fails the test.  Texts are
// UTF-8.
#pragma once

#include <QDialog>
#include <QObject>
#include <QPoint>
#include <QString>
#include <QWidget>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

class QAbstractItemView;

namespace korvane::test {

// The child of this type and name; with an empty name the first of the type.
template <typename Control = QWidget>
Control& Find(const QObject& window, const char* name = "") {
  if (auto* control = window.findChild<Control*>(*name == '\0' ? QString() : QString::fromLatin1(name))) {
    return *control;
  }
  throw std::runtime_error(std::string("no control ") + name + " in " + window.objectName().toStdString() +
                           " of type " + Control::staticMetaObject.className());
}

// Shows the window and waits until it is the active one, so that keys and focus reach it.
void ShowActive(QWidget& window);

// What a label, button, editor, combo box or group box shows.
std::string TextOf(const QObject& window, const char* name);
bool IsEnabled(const QObject& window, const char* name);
bool IsShown(const QObject& window, const char* name);
bool IsChecked(const QObject& window, const char* name);

// Clicks a button, option or check box, which must be visible and enabled.
void Click(const QObject& window, const char* name);
// Types in place of what an editor or an editable combo box holds.
void Type(const QObject& window, const char* name, const std::string& text);
// Chooses the item of a combo box, or clicks the row (at any depth of a tree) whose first column has this
// text.
void Choose(const QObject& window, const char* name, const std::string& item);
// Presses a key where the focus of the window is.
void Press(QWidget& window, Qt::Key key, Qt::KeyboardModifiers modifiers = {});

QPoint CentreOf(const QAbstractItemView& list, int row, int column = 0);
void DoubleClick(QAbstractItemView& list, int row, int column = 0);
// The press of the button and the request for a menu that follows it.
void RightClick(QAbstractItemView& list, const QPoint& place);

std::string Cell(const QAbstractItemView& list, int row, int column);
// Each row's cells with "|" between them: of these columns, or of all.
std::vector<std::string> Rows(const QAbstractItemView& list, std::initializer_list<int> columns = {});

// Runs open, which opens a modal dialog, and hands the dialog to act, which has to close it.  Fails when none
// opens within the patience of the tests, and when it stays open; may be nested.
void InDialog(const std::function<void()>& open, const std::function<void(QDialog&)>& act);

// True as soon as the condition is; false when it still is not after the patience of the tests.
bool WaitFor(const std::function<bool()>& condition);

}  // namespace korvane::test
