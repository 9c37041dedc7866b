#include "params/DefinitionVerdicts.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace korvane::params {

namespace {

template <typename Rule>
bool HoldsForEveryTrap(const Rule& rule) {
  return rule.SourceAgent.empty() && rule.VarBinds.Empty();
}

// The filters that can hide a trap of one kind.  They are pointed to, since there may be many kinds: the
// pointers hold while the list's revision does.
class FilterRules {
 public:
  void WorkOut(const TrapFilters& filters, std::string_view oid, std::int32_t specific,
               std::int32_t generic) {
    rest_.clear();
    always_ = false;
    for (const TrapFilter& filter : filters.Filters()) {
      if (!KindMatchesFilter(oid, specific, generic, filter)) {
        continue;
      }
      if (HoldsForEveryTrap(filter)) {
        always_ = true;
        rest_.clear();
        return;
      }
      rest_.push_back(&filter);
    }
  }

  bool Hide(const store::IncomingTrap& trap) const {
    return always_ || std::any_of(rest_.begin(), rest_.end(),
                                  [&](const TrapFilter* filter) { return TrapMatchesFilter(trap, *filter); });
  }

  std::size_t Bytes() const { return rest_.capacity() * sizeof(void*); }

 private:
  bool always_ = false;
  std::vector<const TrapFilter*> rest_;
};

// The category rows that can give a trap of one kind its severity: those before the first row that accepts
// every trap of the kind, and that row's severity.
class SeverityRules {
 public:
  void WorkOut(IndexedCategories& categories, std::string_view oid, std::int32_t specific,
               std::int32_t generic) {
    rest_ = categories.Rows().RowsOfKind(oid, specific, generic);
    const auto last =
        std::ranges::find_if(rest_, [](const CategoryCriterion* row) { return HoldsForEveryTrap(*row); });
    otherwise_ = last == rest_.end() ? 0 : (*last)->Severity;
    rest_.erase(last, rest_.end());
  }

  std::int32_t Of(const store::IncomingTrap& trap) const {
    for (const CategoryCriterion* row : rest_) {
      if (TrapMatchesCriterion(trap, *row)) {
        return row->Severity;
      }
    }
    return otherwise_;
  }

  std::size_t Bytes() const { return rest_.capacity() * sizeof(void*); }

 private:
  std::vector<const CategoryCriterion*> rest_;
  std::int32_t otherwise_ = 0;
};

class KindVerdict : public store::TrapVerdict {
 public:
  KindVerdict(const TrapFilters& filters, IndexedCategories& categories, std::string_view oid,
              std::int32_t specific, std::int32_t generic)
      : filters_(filters), categories_(categories), oid_(oid), specific_(specific), generic_(generic) {}

  bool TrapIsFiltered(const store::IncomingTrap& trap) const override {
    if (filterRevision_ != filters_.Revision()) {
      filterRules_.WorkOut(filters_, oid_, specific_, generic_);
      filterRevision_ = filters_.Revision();
    }
    return filterRules_.Hide(trap);
  }

  std::int32_t SeverityOf(const store::IncomingTrap& trap) const override {
    if (categoryRevision_ != categories_.Revision()) {
      severityRules_.WorkOut(categories_, oid_, specific_, generic_);
      categoryRevision_ = categories_.Revision();
    }
    return severityRules_.Of(trap);
  }

  std::size_t Bytes() const override {
    return sizeof *this + oid_.size() + filterRules_.Bytes() + severityRules_.Bytes();
  }

 private:
  const TrapFilters& filters_;
  IndexedCategories& categories_;
  std::string oid_;
  std::int32_t specific_;
  std::int32_t generic_;
  mutable std::optional<std::uint64_t> filterRevision_;
  mutable std::optional<std::uint64_t> categoryRevision_;
  mutable FilterRules filterRules_;
  mutable SeverityRules severityRules_;
};

}  // namespace

const CriteriaIndex& IndexedCategories::Rows() {
  if (revision_ != categories_.Revision()) {
    rows_ = CriteriaIndex(categories_.Categories());
    revision_ = categories_.Revision();
  }
  return rows_;
}

std::unique_ptr<store::TrapVerdict> DefinitionVerdicts::VerdictFor(std::string_view enterpriseOid,
                                                                   std::int32_t specificTrap,
                                                                   std::int32_t genericTrap) {
  return std::make_unique<KindVerdict>(filters_, categories_, enterpriseOid, specificTrap, genericTrap);
}

void DefinitionVerdicts::ReadNamed() {
  const Revisions now(filters_.Revision(), categoryList_.Revision());
  if (read_ == now) {
    return;
  }
  namedOids_.clear();
  namedSpecifics_.clear();
  const auto read = [this](const auto& rules) {
    for (const auto& rule : rules) {
      namedOids_.insert(rule.EnterpriseOid);
      namedSpecifics_.insert(rule.SpecificTrap);
    }
  };
  read(filters_.Filters());
  for (const Category& category : categoryList_.Categories()) {
    read(category.Criteria);
  }
  read_ = now;
}

bool DefinitionVerdicts::NamesEnterprise(std::string_view enterpriseOid) {
  ReadNamed();
  return namedOids_.contains(enterpriseOid);
}

bool DefinitionVerdicts::NamesSpecific(std::int32_t specificTrap) {
  ReadNamed();
  return namedSpecifics_.contains(specificTrap);
}

}  // namespace korvane::params
