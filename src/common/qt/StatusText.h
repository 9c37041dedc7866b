// The texts at the foot of a window: a caption, a number and what it counts.  Where there is no room for all
// of them their words are cut, never a number, and the tool tip has the whole text.  User-interface thread
// only.
#pragma once

#include <QLabel>
#include <QString>
#include <QToolButton>
#include <cstdint>
#include <string>

class QStatusBar;

namespace korvane {

// Grouped as the user's locale has it.
std::string GroupedNumber(std::int64_t number);

// A text that is only shown; what it says may come from the network.
class StatusText : public QLabel {
  Q_OBJECT

 public:
  using QLabel::QLabel;
  QSize minimumSizeHint() const override;

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
};

// A text that can be clicked, or reached by the Tab key and pressed.
class StatusButton : public QToolButton {
  Q_OBJECT

 public:
  explicit StatusButton(QWidget* parent = nullptr);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QRect TextRoom() const;
};

// At the end of the bar.
QLabel* AddStatusText(QStatusBar& bar, const QString& name);
// hint: what a click does, as tool tip and for screen readers.
StatusButton* AddStatusButton(QStatusBar& bar, const QString& name, const QString& hint);

// The text within the width: what stands behind the number is cut first, then the caption before it.
QString ShortStatusText(const QString& text, const QFontMetrics& metrics, int width);

}  // namespace korvane
