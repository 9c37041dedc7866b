// What a Traps or Report window shows, and the predicate that decides it trap by trap.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/Text.h"
#include "store/TrapRecord.h"

namespace korvane::params {

class CategoryInformation;
class CriteriaIndex;

inline constexpr int kModeNewWindow = 11;
inline constexpr int kModeShowParameters = 12;

// Empty text and -1 set no condition.
struct WindowParameters {
  std::string WindowName = {};  // the window's caption
  bool Cancelled = true;
  std::string Category = {};
  std::string Source = {};
  std::int32_t Generic = -1;
  std::int32_t Severity = -1;
  std::string Enterprise = {};
  std::string TrapName = {};
  std::string VarBindsMatch = {};
  int Mode = kModeNewWindow;
};

// Decides for many traps: what depends on the parameters alone is worked out once.  Follows a reload of the
// categories by itself; the categories must outlive it.
class WindowMatcher {
 public:
  WindowMatcher(WindowParameters window, const CategoryInformation& categories);
  ~WindowMatcher();
  WindowMatcher(WindowMatcher&& other) noexcept;
  WindowMatcher& operator=(WindowMatcher&& other) noexcept;
  // Names and sources compare ignoring case, identifiers exactly, bindings as a substring ignoring case; all
  // conditions must hold.  A category that is not there accepts nothing.
  bool TrapMatchesWindow(const store::IncomingTrap& trap) const;
  const WindowParameters& Parameters() const { return window_; }

 private:
  const CriteriaIndex& WantedRows() const;

  WindowParameters window_;
  CaseInsensitiveNeedle varBindsMatch_;
  const CategoryInformation* categories_;
  mutable std::optional<std::uint64_t> categoryRevision_;
  mutable std::unique_ptr<CriteriaIndex> rows_;  // of the window's category
};

}  // namespace korvane::params
