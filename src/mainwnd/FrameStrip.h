// The strip at the foot of the frame: what the windows above can't say of themselves.  The room of one line
// is kept also while there is nothing to say, so that no list moves under the pointer when a line comes or
// goes. Owned by the frame; user-interface thread only.
#pragma once

#include <QFrame>
#include <array>
#include <optional>

#include "common/StripLines.h"

class QTimer;

namespace korvane::mainwnd {

class FrameStrip : public QFrame {
  Q_OBJECT

 public:
  explicit FrameStrip(QWidget* parent = nullptr);
  ~FrameStrip() override;

  // Shows the lines from now on; they and the clock outlive it.
  void Follow(StripLines& lines, platform::Clock& clock);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  class Row;

  void ShowLines();
  void KeepRoom();
  void DropWhatHasHadItsTime();

  StripLines* lines_ = nullptr;
  platform::Clock* clock_ = nullptr;
  std::array<Row*, kStripKinds> rows_{};
  QWidget* empty_;
  QTimer* end_ = nullptr;
};

}  // namespace korvane::mainwnd
