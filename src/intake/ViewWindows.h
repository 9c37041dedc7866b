// The windows that are open, as one window needs the others.  The frame window implements it.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace korvane::intake {

struct System;

class ViewWindows {
 public:
  virtual ~ViewWindows() = default;
  // A per-system Traps window, or raises the open one.
  virtual void OpenSystemTraps(const System& system) = 0;
  // Traps were acknowledged in the store: they leave every Traps window and the Systems window's counts.
  virtual void TrapsAcknowledged(const std::vector<std::int32_t>& sequenceNumbers) = 0;
  virtual void SystemAcknowledged(const System& system, std::int32_t beforeTime) = 0;
  // The operator's notes on a trap were stored: every list that holds the trap shows them.
  virtual void NotesSaved(std::int32_t sequenceNumber, std::string_view notes) = 0;
};

}  // namespace korvane::intake
