// A value of one line in a dialog that only shows it: looks like a label, can be selected and copied by mouse
// and keyboard, and leaves out its middle when it is too long for its place, since the ends say most.  The
// whole value appears, to be scrolled through, once the field has the focus, and as the tool tip.
// User-interface thread.
#pragma once

#include <QLineEdit>
#include <string_view>

namespace korvane::traps {

// Makes any line editor read-only and look like a label, as the value below does.
void ShowAsLabel(QLineEdit& field);

class ValueField : public QLineEdit {
  Q_OBJECT

 public:
  explicit ValueField(QWidget* parent = nullptr);

  // Any bytes; what could mislead is shown as visible symbols.
  void SetValue(std::string_view value);

  QSize minimumSizeHint() const override;

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QRect TextPlace() const;
};

}  // namespace korvane::traps
