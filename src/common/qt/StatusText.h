// One text of the status bar below a list, a caption and a number: "Total Traps In Window: 43,008 ".  Where
// there is too little room the caption gives way, never the number.  User-interface thread only.
#pragma once

#include <QLabel>
#include <cstdint>
#include <string>

namespace korvane {

// Grouped as the user's locale has it.
std::string GroupedNumber(std::int64_t number);

class StatusText : public QLabel {
  Q_OBJECT

 public:
  explicit StatusText(QWidget* parent = nullptr);

  QSize minimumSizeHint() const override;

 protected:
  bool event(QEvent* event) override;  // the tool tip has what was left out
  void paintEvent(QPaintEvent* event) override;

 private:
  bool IsCut() const;
  QString Number() const;  // with what stands behind it
};

}  // namespace korvane
