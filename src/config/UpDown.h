// A text box with an up-down: the arrows and the arrow keys step within the range, but what is typed stays as
// it was typed, whatever it is.
#pragma once

#include <QAbstractSpinBox>

namespace korvane::config {

class UpDown : public QAbstractSpinBox {
  Q_OBJECT

 public:
  explicit UpDown(QWidget* parent = nullptr);

  void SetRange(int minimum, int maximum, int step);
  // The text box inside.
  QLineEdit& Box() const { return *lineEdit(); }

  void stepBy(int steps) override;
  QSize sizeHint() const override;

 protected:
  StepEnabled stepEnabled() const override;

 private:
  int minimum_ = 0;
  int maximum_ = 0;
  int step_ = 1;
};

}  // namespace korvane::config
