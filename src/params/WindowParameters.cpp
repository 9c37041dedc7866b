#include "params/WindowParameters.h"

#include <span>
#include <utility>

#include "params/CategoryInformation.h"
#include "params/CriteriaIndex.h"

namespace korvane::params {

namespace {

bool SourceMatches(const std::string& wanted, const store::IncomingTrap& trap) {
  return EqualsIgnoreCase(wanted, trap.SystemName) || EqualsIgnoreCase(wanted, trap.Source) ||
         EqualsIgnoreCase(wanted, trap.SystemAddress);
}

// Everything but the category and the bindings.
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

WindowMatcher::WindowMatcher(WindowParameters window, const CategoryInformation& categories)
    : window_(std::move(window)), varBindsMatch_(window_.VarBindsMatch), categories_(&categories) {}

WindowMatcher::~WindowMatcher() = default;
WindowMatcher::WindowMatcher(WindowMatcher&& other) noexcept = default;
WindowMatcher& WindowMatcher::operator=(WindowMatcher&& other) noexcept = default;

const CriteriaIndex& WindowMatcher::WantedRows() const {
  if (categoryRevision_ != categories_->Revision()) {
    const Category* category = categories_->Find(window_.Category);
    rows_ = std::make_unique<CriteriaIndex>(category == nullptr ? std::span<const Category>()
                                                                : std::span(category, 1));
    categoryRevision_ = categories_->Revision();
  }
  return *rows_;
}

bool WindowMatcher::TrapMatchesWindow(const store::IncomingTrap& trap) const {
  if (!window_.Category.empty() && !WantedRows().TrapMatchesCategory(trap)) {
    return false;
  }
  return FieldsMatch(window_, trap) && (varBindsMatch_.Empty() || varBindsMatch_.FoundIn(trap.VarBinds));
}

}  // namespace korvane::params
