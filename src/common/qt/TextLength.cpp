#include "common/qt/TextLength.h"

#include <QLineEdit>
#include <QLocale>
#include <QToolTip>
#include <QValidator>
#include <algorithm>

namespace korvane {
namespace {

class LengthLimit : public QValidator {
 public:
  LengthLimit(QLineEdit& edit, int characters) : QValidator(&edit), most_(characters) {
    shown_ = Length(edit.text());
    connect(&edit, &QLineEdit::textChanged, this, [this](const QString& text) { shown_ = Length(text); });
    connect(&edit, &QLineEdit::inputRejected, this, [this, &edit] {
      const QString hint = tr("There is room for %1 characters.").arg(QLocale().toString(most_));
      QToolTip::showText(edit.mapToGlobal(QPoint(0, edit.height())), hint, &edit);
    });
  }

  State validate(QString& text, int& /*cursor*/) const override {
    return Length(text) <= std::max<qsizetype>(most_, shown_ - 1) ? Acceptable : Invalid;
  }

 private:
  // Of two units that are one character together, the second does not count.
  static qsizetype Length(const QString& text) {
    return std::ranges::count_if(text, [](QChar unit) { return !unit.isLowSurrogate(); });
  }

  int most_;
  qsizetype shown_ = 0;
};

}  // namespace

void LimitLength(QLineEdit& edit, int characters) {
  edit.setValidator(new LengthLimit(edit, characters));  // the edit owns it
}

}  // namespace korvane
