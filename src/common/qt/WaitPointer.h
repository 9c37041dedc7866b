// The pointer says that the window works, for what takes a moment but not long enough for a busy box.  Lives
// as long as the work.  User-interface thread only.
#pragma once

#include <QCursor>
#include <QGuiApplication>

namespace korvane {

class WaitPointer {
 public:
  explicit WaitPointer(bool shown) : shown_(shown) {
    if (shown_) {
      QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    }
  }
  ~WaitPointer() {
    if (shown_) {
      QGuiApplication::restoreOverrideCursor();
    }
  }
  WaitPointer(const WaitPointer&) = delete;
  WaitPointer& operator=(const WaitPointer&) = delete;

 private:
  bool shown_;
};

}  // namespace korvane
