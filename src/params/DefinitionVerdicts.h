// Which filters and category rows can still matter for a kind of trap: TrapNames asks once per kind, and a
// trap then costs only the rules that depend on its source or bindings.  User-interface thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "params/CategoryInformation.h"
#include "params/CriteriaIndex.h"
#include "params/TrapFilters.h"
#include "store/TrapNames.h"

namespace korvane::params {

// The rows of all categories by the kinds they are about, as long as the categories stay as they are.
class IndexedCategories {
 public:
  explicit IndexedCategories(const CategoryInformation& categories) : categories_(categories) {}
  std::uint64_t Revision() const { return categories_.Revision(); }
  const CriteriaIndex& Rows();

 private:
  const CategoryInformation& categories_;
  std::optional<std::uint64_t> revision_;
  CriteriaIndex rows_;
};

class DefinitionVerdicts : public store::TrapVerdicts {
 public:
  // Both must outlive this, and this the verdicts it made.  A verdict notices when either list was reloaded
  // and works itself out anew, so it never answers by rules that are gone.
  DefinitionVerdicts(const TrapFilters& filters, const CategoryInformation& categories)
      : filters_(filters), categoryList_(categories), categories_(categories) {}

  std::unique_ptr<store::TrapVerdict> VerdictFor(std::string_view enterpriseOid, std::int32_t specificTrap,
                                                 std::int32_t genericTrap) override;
  bool NamesEnterprise(std::string_view enterpriseOid) override;
  bool NamesSpecific(std::int32_t specificTrap) override;

 private:
  using Revisions = std::pair<std::uint64_t, std::uint64_t>;
  void ReadNamed();

  const TrapFilters& filters_;
  const CategoryInformation& categoryList_;
  IndexedCategories categories_;
  // What the rules name, as long as both lists stay as they are: the texts are theirs.
  std::optional<Revisions> read_;
  std::unordered_set<std::string_view> namedOids_;
  std::unordered_set<std::int32_t> namedSpecifics_;
};

}  // namespace korvane::params
