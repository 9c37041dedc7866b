// Working the modal dialogs that open while a test waits for what opened them.
#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDeadlineTimer>
#include <QDialog>
#include <QTimer>
#include <functional>

namespace korvane::test {

// Runs the act on the dialog of the type that opens while open runs; the act has it closed.
template <typename Dialog>
void WhileOpen(const std::function<void(Dialog&)>& act, const std::function<void()>& open) {
  QTimer poll;
  const QDeadlineTimer deadline(60'000);
  bool done = false;
  QObject::connect(&poll, &QTimer::timeout, [&] {
    auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
    if (dialog != nullptr && !done) {
      done = true;
      act(*dialog);
    } else if (auto* other = qobject_cast<QDialog*>(QApplication::activeModalWidget());
               other != nullptr && deadline.hasExpired()) {
      ADD_FAILURE() << "the dialog did not open, or did not close";
      other->reject();
    }
  });
  poll.start(5);
  open();
  EXPECT_TRUE(done);
}

template <typename Control>
Control& Find(QDialog& dialog, const char* name) {
  auto* control = dialog.findChild<Control*>(QString::fromLatin1(name));
  EXPECT_NE(control, nullptr) << name;
  return *control;
}

inline void Click(QDialog& dialog, const char* name) {
  Find<QAbstractButton>(dialog, name).click();
}

}  // namespace korvane::test
