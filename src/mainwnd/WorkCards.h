// The busy box for work that goes on beside everything else: one card per work in the lower right corner of
// the frame window, above its status bars, with a text, a bar, a count and a button to stop it.  Nothing is
// blocked and nobody's list is covered but for that corner.  User-interface thread only.
#pragma once

#include <QFrame>
#include <functional>
#include <memory>
#include <string_view>

#include "common/BusyIndicator.h"

namespace korvane::mainwnd {

// Of a progress bar: counts of traps may be larger than its numbers.
inline constexpr int kBarSteps = 1000;

class WorkCards : public QFrame {
  Q_OBJECT

 public:
  explicit WorkCards(QWidget* frame);

  // The card goes with the object.  This object may go first.
  std::unique_ptr<WorkInProgress> Add(std::string_view text, std::function<void()> stop);

 protected:
  bool event(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  class Card;
  class Work;
  void Place();
};

}  // namespace korvane::mainwnd
