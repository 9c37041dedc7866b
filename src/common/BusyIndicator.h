// The busy box of the frame window, as the logic sees it.  User-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace korvane {

// Rows between two reports of progress: often enough to see it move, seldom enough to cost nothing.
inline constexpr std::size_t kProgressRows = 4096;

// Long work that goes on while the console is used; it shows until this object is gone.
class WorkInProgress {
 public:
  virtual ~WorkInProgress() = default;
  virtual void ShowProgress(std::int64_t done, std::int64_t total) = 0;  // total 0: not known
};

class BusyIndicator {
 public:
  virtual ~BusyIndicator() = default;
  virtual void ShowBusy(std::string_view text) = 0;
  virtual void ShowFree() = 0;
  // Called now and then during long work, at most every few thousand rows; total 0: not known.
  // Repaints the box and nothing else; input stays blocked while it shows.
  virtual void ShowProgress(std::int64_t done, std::int64_t total) = 0;
  // Between two steps of long work that leaves nothing half done: the window paints, moves and answers the
  // system.  No timer runs and no input is taken but that to the box.  False once Stop was pressed there.
  virtual bool GoOn() { return true; }
  // The box has a Stop from now on until its text ends: for work that stays done as far as it came.
  virtual void OfferStop() {}
  // The same text for work that blocks nothing, beside whatever ShowBusy shows, with a way to stop it.
  // stop is called once at most, from the event loop, and may end the work's object.
  virtual std::unique_ptr<WorkInProgress> ShowWork(std::string_view text, std::function<void()> stop) = 0;
};

// A step of work is done that may be stopped between two of them; false: it is to be.
inline bool StepDone(BusyIndicator& busy, std::int64_t done, std::int64_t total) {
  busy.OfferStop();
  busy.ShowProgress(done, total);
  return busy.GoOn();
}

// Shows the text for the length of a scope, also when it is left by an exception.
class BusyScope {
 public:
  BusyScope(BusyIndicator& indicator, std::string_view text) : indicator_(indicator) {
    indicator_.ShowBusy(text);
  }
  ~BusyScope() { indicator_.ShowFree(); }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  BusyIndicator& indicator_;
};

}  // namespace korvane
