// A read-only box for a text of any length: megabytes in one line are shown at once.  Very long lines are
// broken for showing only, and copied without these breaks.  Line breaks and tabs act, everything else that
// could mislead is shown as visible symbols.  User-interface thread.
#pragma once

#include <QPlainTextEdit>
#include <string_view>

namespace korvane::traps {

// Two lines of a text box of several: a dialog that has no more room goes on to be of use.
QSize LeastTextBox(const QPlainTextEdit& box);

class LongTextView : public QPlainTextEdit {
  Q_OBJECT

 public:
  explicit LongTextView(QWidget* parent = nullptr);

  void SetText(std::string_view text);

  QSize minimumSizeHint() const override;

 protected:
  QMimeData* createMimeDataFromSelection() const override;
};

}  // namespace korvane::traps
