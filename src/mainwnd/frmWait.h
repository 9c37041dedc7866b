// The busy box of the frame window: a card in the middle of it, or beside the dialog that covers that, with a
// text, a bar with a count while the length of the work is known, and a Stop where the work can be left as it
// is.  It is painted at once.  Between two steps of long work everything else is painted too, and Stop is
// heard; no other input, no timer and no close reaches a console that is in the middle of something.  Input
// waits until the work is over; while there is a Stop, what is not for the box is lost.  A
// text shown inside another gives way to the outer one when it ends.  Without a visible frame around it, it
// only keeps its texts. User-interface thread only; made by ConsoleApp, taken over by the frame.
#pragma once

#include <QElapsedTimer>
#include <QFrame>
#include <QPointer>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/BusyIndicator.h"

namespace korvane::mainwnd {

namespace Ui {
class frmWait;
}
class WorkCards;

class frmWait : public QFrame, public BusyIndicator {
  Q_OBJECT

 public:
  explicit frmWait(QWidget* parent = nullptr);
  ~frmWait() override;

  void ShowBusy(std::string_view text) override;
  void ShowFree() override;
  void ShowProgress(std::int64_t done, std::int64_t total) override;
  bool GoOn() override;
  void OfferStop() override;
  // A card in the corner of the frame, which must be there.
  std::unique_ptr<WorkInProgress> ShowWork(std::string_view text, std::function<void()> stop) override;

  bool IsBusy() const { return !texts_.empty(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  class InputGate;
  void ShowText();
  void PlaceAndPaint();

  std::unique_ptr<Ui::frmWait> ui_;
  struct Shown {
    std::string Text;
    bool Stoppable = false;
    bool Stopped = false;
  };
  std::vector<Shown> texts_;  // the innermost last
  QElapsedTimer painted_;
  QElapsedTimer answered_;  // the system
  QPointer<WorkCards> works_;
};

}  // namespace korvane::mainwnd
