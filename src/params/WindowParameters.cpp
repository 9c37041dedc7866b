#include "params/WindowParameters.h"

#include <utility>

#include "params/CategoryInformation.h"

namespace korvane::params {

namespace {

bool SourceMatches(const std::string& wanted, const store::IncomingTrap& trap) {
  return EqualsIgnoreCase(wanted, trap.SystemName) || EqualsIgnoreCase(wanted, trap.Source) ||
         EqualsIgnoreCase(wanted, trap.SystemAddress);
}

// Everything but the category and the bindings, in the order of cost.
bool FieldsMatch(const WindowParameters& window, const store::IncomingTrap& trap) {
  if (!window.Source.empty() && !SourceMatches(window.Source, trap)) {
    return false;
  }
  if (window.Generic != -1 && window.Generic != trap.GenericTrap) {
    return false;
  }
  if (window.Severity != -1 && window.Severity != trap.Severity) {
    return false;
  }
  if (!window.Enterprise.empty() && window.Enterprise != trap.EnterpriseName()) {
    return false;
  }
  return window.TrapName.empty() || window.TrapName == trap.TrapName();
}

}  // namespace

bool TrapMatchesWindow(const WindowParameters& window, const store::IncomingTrap& trap,
                       const CategoryInformation& categories) {
  return (window.Category.empty() || TrapMatchesCategory(trap, window.Category, categories)) &&
         FieldsMatch(window, trap) && ContainsIgnoreCase(trap.VarBinds, window.VarBindsMatch);
}

WindowMatcher::WindowMatcher(WindowParameters window, const CategoryInformation& categories)
    : window_(std::move(window)), varBindsMatch_(window_.VarBindsMatch), categories_(&categories) {}

const Category* WindowMatcher::WantedCategory() const {
  if (categoryRevision_ != categories_->Revision()) {
    category_ = categories_->Find(window_.Category);
    categoryRevision_ = categories_->Revision();
  }
  return category_;
}

bool WindowMatcher::Matches(const store::IncomingTrap& trap) const {
  if (!window_.Category.empty()) {
    const Category* category = WantedCategory();
    if (category == nullptr || !TrapMatchesCategory(trap, *category)) {
      return false;
    }
  }
  return FieldsMatch(window_, trap) && (varBindsMatch_.Empty() || varBindsMatch_.FoundIn(trap.VarBinds));
}

}  // namespace korvane::params
