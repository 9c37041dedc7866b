// What all dialogs and their fields are alike in besides their look, settled in one place as each is first
// shown: lists to choose from drop down as lists of fifteen entries at most, where one scrolls and types to
// find the rest; the edit inside a field bears the field's name for screen readers; a flat group is its
// title, without a frame inside another one; and a dialog that asks for more room than its screen has opens
// as large as the screen.  KorvaneStyle stands on it.
#pragma once

#include <QDialog>
#include <QElapsedTimer>
#include <QPointer>
#include <QProxyStyle>

namespace korvane {

inline constexpr int kMostListEntries = 15;

class DialogStyle : public QProxyStyle {
  Q_OBJECT

 public:
  DialogStyle();

  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* returnData) const override;
  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
  using QProxyStyle::polish;
  void polish(QWidget* widget) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QPointer<QDialog> opening_;  // the one that was shown last
  QElapsedTimer sinceShown_;
};

}  // namespace korvane
