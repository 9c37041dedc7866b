#include "config/UpDown.h"

#include <QFontMetrics>
#include <QLineEdit>
#include <algorithm>

namespace korvane::config {

UpDown::UpDown(QWidget* parent) : QAbstractSpinBox(parent) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void UpDown::SetRange(int minimum, int maximum, int step) {
  minimum_ = minimum;
  maximum_ = maximum;
  step_ = step;
}

void UpDown::stepBy(int steps) {
  bool isNumber = false;
  const qlonglong now = text().trimmed().toLongLong(&isNumber);
  const qlonglong next = isNumber ? now + static_cast<qlonglong>(steps) * step_ : minimum_;
  lineEdit()->setText(QString::number(std::clamp<qlonglong>(next, minimum_, maximum_)));
  lineEdit()->selectAll();
}

QSize UpDown::sizeHint() const {
  const int digits = fontMetrics().horizontalAdvance(QStringLiteral("00000000"));
  return {digits + 32, std::max(QAbstractSpinBox::sizeHint().height(), lineEdit()->sizeHint().height())};
}

QAbstractSpinBox::StepEnabled UpDown::stepEnabled() const {
  bool isNumber = false;
  const qlonglong now = text().trimmed().toLongLong(&isNumber);
  StepEnabled enabled = StepNone;
  if (!isNumber || now < maximum_) {
    enabled |= StepUpEnabled;
  }
  if (!isNumber || now > minimum_) {
    enabled |= StepDownEnabled;
  }
  return enabled;
}

}  // namespace korvane::config
