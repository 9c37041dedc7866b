// The busy box of the frame window, as the logic sees it.  User-interface thread only.
#pragma once

#include <cstdint>
#include <string_view>

namespace korvane {

class BusyIndicator {
 public:
  virtual ~BusyIndicator() = default;
  virtual void ShowBusy(std::string_view text) = 0;
  virtual void ShowFree() = 0;
  // Called now and then during long work, at most every few thousand rows; total 0: not known.
  // Repaints the box and nothing else; input stays blocked while it shows.
  virtual void ShowProgress(std::int64_t done, std::int64_t total) = 0;
};

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
