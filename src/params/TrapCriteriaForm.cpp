#include "params/TrapCriteriaForm.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "common/Translation.h"
#include "store/Codes.h"
#include "store/DatabaseError.h"
#include "store/FailureWords.h"

namespace korvane::params {

namespace {

// By the OIDs that their traps arrive with, since criteria are compared exactly.
std::vector<store::NamedTrap> TrapsOf(store::TrapNames& names, const std::string& enterprise) {
  std::vector<store::NamedTrap> traps = names.TrapsOfEnterprise(enterprise);
  for (store::NamedTrap& trap : traps) {
    trap.EnterpriseOid.resize(store::WithoutInstance(trap.EnterpriseOid).size());
  }
  return traps;
}

bool SameTrap(const store::NamedTrap& a, const store::NamedTrap& b) {
  return a.TrapName == b.TrapName && a.EnterpriseOid == b.EnterpriseOid && a.SpecificTrap == b.SpecificTrap;
}

// Traps of one name, which enterprises with several OIDs have, are told apart by their OIDs.
std::vector<std::string> ItemsOf(const std::vector<store::NamedTrap>& traps) {
  std::vector<std::string> items{std::string(kAll)};
  for (std::size_t i = 0; i < traps.size(); ++i) {
    const store::NamedTrap& trap = traps[i];
    const std::string oid = store::NotificationOid(trap.EnterpriseOid, trap.SpecificTrap);
    const bool ambiguous = (i > 0 && traps[i - 1].TrapName == trap.TrapName) ||
                           (i + 1 < traps.size() && traps[i + 1].TrapName == trap.TrapName);
    if (trap.TrapName.empty()) {
      items.push_back(oid);
    } else {
      items.push_back(ambiguous ? fmt::format("{} ({})", trap.TrapName, oid) : trap.TrapName);
    }
  }
  return items;
}

}  // namespace

TrapCriteriaForm::TrapCriteriaForm(TrapCriteria criteria, store::TrapNames& names, Prompts& prompts,
                                   GenericChoice choice, std::string_view anySource)
    : names_(names),
      prompts_(prompts),
      choice_(choice),
      initial_(std::move(criteria)),
      initialTexts_(PlainTextsOf(initial_)),
      criteria_(initial_),
      enterpriseOid_(initial_.EnterpriseOid) {
  controls_.txtSource.Text = initial_.SourceAgent.empty() ? std::string(anySource) : initial_.SourceAgent;
  controls_.txtVarBinds.Text = initial_.VarBinds;
  ShowGeneric();
  ShowEnterprise();
}

bool TrapCriteriaForm::EnterpriseIsOpen() const {
  return ChosenGeneric() == store::kEnterpriseSpecific;
}

// A code's position is the code itself, or one more where "-All-" stands first; a position behind them all is
// a stored code that has no name.
std::int32_t TrapCriteriaForm::ChosenGeneric() const {
  const std::size_t position = controls_.cboGeneric.Position;
  const std::size_t codes = store::kGenericTrapNames.size() + (HasAll() ? 1 : 0);
  return position < codes ? static_cast<std::int32_t>(position) - (HasAll() ? 1 : 0) : initial_.GenericTrap;
}

void TrapCriteriaForm::ShowGeneric() {
  ListControl& generic = controls_.cboGeneric;
  if (HasAll()) {
    generic.Items = AllAnd(store::kGenericTrapNames);
  } else {
    generic.Items.assign(store::kGenericTrapNames.begin(), store::kGenericTrapNames.end());
  }
  for (generic.Position = 0; generic.Position < generic.Items.size(); ++generic.Position) {
    if (ChosenGeneric() == initial_.GenericTrap) {
      return;
    }
  }
  generic.Items.emplace_back(store::GenericTrapName(initial_.GenericTrap));
}

void TrapCriteriaForm::ShowEnterprise() {
  ListControl& enterprise = controls_.cboEnterprise;
  enterprise.Items = {std::string(kAll)};
  enterprise.Enabled = EnterpriseIsOpen();
  try {
    Append(enterprise.Items, names_.EnterpriseNames());
    initialTexts_ = TextsOf(initial_, names_);
    if (!initial_.EnterpriseOid.empty()) {
      traps_ = TrapsOf(names_, initialTexts_[kEnterpriseColumn]);
    }
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(prompts_, Translated("The enterprises to choose from could not be read."), error,
                       store::Attempt::Reading);
  }
  auto shown = std::ranges::find(enterprise.Items, initialTexts_[kEnterpriseColumn]);
  if (shown == enterprise.Items.end()) {
    shown = enterprise.Items.insert(enterprise.Items.begin() + 1, initialTexts_[kEnterpriseColumn]);
  }
  initialEnterprise_ = static_cast<std::size_t>(shown - enterprise.Items.begin());
  enterprise.Position = initialEnterprise_;
  ShowTraps();
  if (initial_.SpecificTrap != 0) {
    const auto trap = std::ranges::find_if(traps_, [this](const store::NamedTrap& each) {
      return each.EnterpriseOid == initial_.EnterpriseOid && each.SpecificTrap == initial_.SpecificTrap;
    });
    Choose(controls_.lvTraps, static_cast<std::size_t>(trap - traps_.begin()) + 1);
  }
}

// The criteria's own trap is offered with its enterprise, named or not, under the OID that they hold.
void TrapCriteriaForm::ShowTraps() {
  traps_.erase(std::unique(traps_.begin(), traps_.end(), SameTrap), traps_.end());
  if (controls_.cboEnterprise.Position == initialEnterprise_ && initial_.SpecificTrap != 0) {
    auto own = std::ranges::find_if(traps_, [this](const store::NamedTrap& trap) {
      return trap.SpecificTrap == initial_.SpecificTrap &&
             store::WithoutInstance(initial_.EnterpriseOid) == trap.EnterpriseOid;
    });
    if (own == traps_.end()) {
      own = traps_.insert(traps_.begin(), {.TrapName = initialTexts_[kTrapColumn],
                                           .EnterpriseOid = {},
                                           .SpecificTrap = initial_.SpecificTrap});
    }
    own->EnterpriseOid = initial_.EnterpriseOid;
  }
  controls_.lvTraps.Items = ItemsOf(traps_);
  controls_.lvTraps.Position = 0;
}

void TrapCriteriaForm::EditSource(std::string_view text) {
  controls_.txtSource.Text = text;
  criteria_.SourceAgent = ConditionOf(text);
}

void TrapCriteriaForm::EditVarBinds(std::string_view text) {
  controls_.txtVarBinds.Text = text;
  criteria_.VarBinds = ConditionOf(text);
}

void TrapCriteriaForm::ChooseGeneric(std::size_t position) {
  ListControl& generic = controls_.cboGeneric;
  if (position == generic.Position) {
    return;
  }
  Choose(generic, position);
  criteria_.GenericTrap = ChosenGeneric();
  controls_.cboEnterprise.Enabled = EnterpriseIsOpen();
  if (!controls_.cboEnterprise.Enabled) {
    TakeEnterprise(0);
  }
}

void TrapCriteriaForm::ChooseEnterprise(std::size_t position) {
  if (position != controls_.cboEnterprise.Position) {
    TakeEnterprise(position);
  }
}

void TrapCriteriaForm::TakeEnterprise(std::size_t position) {
  ListControl& enterprise = controls_.cboEnterprise;
  Choose(enterprise, position);
  traps_.clear();
  enterpriseOid_.clear();
  try {
    if (enterprise.Position != 0) {
      traps_ = TrapsOf(names_, enterprise.Text());
      enterpriseOid_ = OidOfEnterprise();
      if (enterpriseOid_.empty()) {
        prompts_.Show(
            Phrase("The trap definitions of '{}' are no longer in the database.", enterprise.Text()),
            PromptIcon::Exclamation);
      }
    }
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(prompts_, Translated("The traps of this enterprise could not be read."), error,
                       store::Attempt::Reading);
  }
  if (enterpriseOid_.empty()) {
    // Without its OID the enterprise can't be a condition, and none may look like it.
    traps_.clear();
    enterprise.Position = 0;
  }
  criteria_.EnterpriseOid = enterpriseOid_;
  criteria_.SpecificTrap = 0;
  ShowTraps();
}

std::string TrapCriteriaForm::OidOfEnterprise() {
  if (controls_.cboEnterprise.Position == initialEnterprise_) {
    return initial_.EnterpriseOid;  // one of several, perhaps
  }
  std::string oid = names_.TranslateOidName(controls_.cboEnterprise.Text());
  if (oid.empty() && !traps_.empty()) {
    oid = traps_.front().EnterpriseOid;  // a name with a "." in it is not taken for a name
  }
  return std::string(store::WithoutInstance(oid));
}

void TrapCriteriaForm::ChooseTrap(std::size_t position) {
  Choose(controls_.lvTraps, position);
  const std::size_t chosen = controls_.lvTraps.Position;
  if (chosen != 0) {
    const auto generic =
        store::GenericCodeOf(traps_[chosen - 1].EnterpriseOid, traps_[chosen - 1].SpecificTrap);
    if (generic) {
      ChooseGeneric(static_cast<std::size_t>(*generic) + (HasAll() ? 1 : 0));
      return;
    }
  }
  criteria_.EnterpriseOid = chosen == 0 ? enterpriseOid_ : traps_[chosen - 1].EnterpriseOid;
  criteria_.SpecificTrap = chosen == 0 ? 0 : traps_[chosen - 1].SpecificTrap;
}

}  // namespace korvane::params
