// A bar above a list that says what is wrong with what it shows, and offers one way out.  Hidden while there
// is nothing to say.  User-interface thread only.
#pragma once

#include <QFrame>
#include <QString>

#include "common/qt/Icons.h"

class QLabel;
class QPushButton;

namespace korvane {

class NoticeBar : public QFrame {
  Q_OBJECT

 public:
  NoticeBar(const QString& wayOut, QWidget* parent);

  // Plain text, whoever wrote it; of a long one the beginning, and all of it as the tool tip.
  void Say(const QString& text, MessagePicture picture);

 Q_SIGNALS:
  void WayOutTaken();

 private:
  QLabel* picture_;
  QLabel* text_;
  QString said_;
};

}  // namespace korvane
