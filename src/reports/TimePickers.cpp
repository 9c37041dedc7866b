#include "reports/TimePickers.h"

#include <QCalendarWidget>
#include <QDateEdit>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLocale>
#include <QPalette>
#include <QRegularExpression>
#include <QTextCharFormat>
#include <QTimeEdit>
#include <QToolButton>

namespace korvane::reports {
namespace {

// The locale's short form with the whole year: of two digits nobody can tell the century.
QString DateFormat(const QLocale& locale) {
  if (locale.language() == QLocale::C) {
    return QStringLiteral("yyyy-MM-dd");  // as the lists show it
  }
  static const QRegularExpression shortYear(QStringLiteral("(?<!y)yy(?!y)"));
  return locale.dateFormat(QLocale::ShortFormat).replace(shortYear, QStringLiteral("yyyy"));
}

// The short form lacks the seconds, and the long one names the time zone, in which nothing is picked here.
// The day periods that some locales have instead of morning and afternoon can't be picked.
QString TimeFormat(const QLocale& locale) {
  static const QRegularExpression zone(QStringLiteral("[(\\[]?t[)\\]]?"));
  QStringList parts = locale.timeFormat(QLocale::LongFormat).split(QLatin1Char('\''));
  for (qsizetype unquoted = 0; unquoted < parts.size(); unquoted += 2) {
    parts[unquoted].remove(zone).replace(QLatin1Char('B'), QStringLiteral("AP "));
  }
  QString format = parts.join(QLatin1Char('\'')).trimmed();
  if (format.endsWith(QLatin1Char(','))) {
    format.chop(1);
  }
  return format;
}

// A full section moves the cursor on by itself, and the separator that is typed next would move it once more:
// "02:30:00" would be read as 02:00:30.  So a separator right behind such a move is dropped.
// Tab leaves the picker at once instead of visiting each of its sections, which the arrow keys do.
class TypedAsShown : public QObject {
 public:
  explicit TypedAsShown(QDateTimeEdit& picker)
      : QObject(&picker), picker_(picker), line_(picker.findChild<QLineEdit*>()) {
    picker.installEventFilter(this);
  }

  bool eventFilter(QObject* /*picker*/, QEvent* event) override {
    if (event->type() == QEvent::FocusOut || event->type() == QEvent::MouseButtonPress) {
      afterDigit_ = false;
    }
    if (event->type() != QEvent::KeyPress) {
      return false;
    }
    const int key = static_cast<const QKeyEvent*>(event)->key();
    if (key == Qt::Key_Tab || key == Qt::Key_Backtab) {
      picker_.setCurrentSectionIndex(key == Qt::Key_Tab ? picker_.sectionCount() - 1 : 0);
      return false;
    }
    const QString text = static_cast<const QKeyEvent*>(event)->text();
    if (text.isEmpty()) {
      return false;  // Shift, with which some separators are typed
    }
    const bool movedOn = afterDigit_ && line_ != nullptr && line_->hasSelectedText();
    afterDigit_ = text.front().isDigit();
    return movedOn && text.front().isPrint() && !text.front().isLetterOrNumber();
  }

 private:
  QDateTimeEdit& picker_;
  QLineEdit* line_;
  bool afterDigit_ = false;
};

// Plain arrows, and no red weekends: red stands for a severity here.
void MakePlain(QCalendarWidget& calendar) {
  for (const Qt::DayOfWeek day : {Qt::Saturday, Qt::Sunday}) {
    calendar.setWeekdayTextFormat(day, {});
  }
  const auto arrow = [&calendar](const QString& name, Qt::ArrowType type) {
    if (auto* button = calendar.findChild<QToolButton*>(name)) {
      QPalette palette = button->palette();
      for (const QPalette::ColorRole role : {QPalette::ButtonText, QPalette::WindowText, QPalette::Text}) {
        palette.setBrush(role, palette.highlightedText());
      }
      button->setPalette(palette);
      button->setArrowType(type);
    }
  };
  arrow(QStringLiteral("qt_calendar_prevmonth"), Qt::LeftArrow);
  arrow(QStringLiteral("qt_calendar_nextmonth"), Qt::RightArrow);
}

}  // namespace

void SetUpPicker(QDateEdit& picker) {
  picker.setDisplayFormat(DateFormat(picker.locale()));
  picker.setCalendarPopup(true);
  MakePlain(*picker.calendarWidget());
  new TypedAsShown(picker);  // the picker's child
}

void SetUpPicker(QTimeEdit& picker) {
  picker.setDisplayFormat(TimeFormat(picker.locale()));
  new TypedAsShown(picker);  // the picker's child
}

}  // namespace korvane::reports
