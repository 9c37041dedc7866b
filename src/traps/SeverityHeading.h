// The heading over the pictures at the beginning of the rows, in front of the first column's caption: a click
// sorts the list by severity, as a click on a caption sorts by its column.  Lies on the header of the list,
// which owns it.  User-interface thread only.
#pragma once

#include <QIcon>
#include <QToolButton>

class QTableView;

namespace korvane::traps {

class SeverityHeading : public QToolButton {
  Q_OBJECT

 public:
  explicit SeverityHeading(QTableView& view);

  static constexpr int kWidth = 24;  // up to the caption

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  void Follow();
  void ShowOrder();

  QTableView& view_;
  QIcon picture_;
};

}  // namespace korvane::traps
