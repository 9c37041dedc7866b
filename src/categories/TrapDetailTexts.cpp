#include "categories/TrapDetailTexts.h"

#include <optional>
#include <utility>

#include "common/Translation.h"
#include "params/FormControls.h"
#include "store/Codes.h"

namespace korvane::categories {

namespace {

constexpr std::size_t kEnterprise = 2;
constexpr std::size_t kTrap = 3;

std::string OrAll(const std::string& text) {
  return text.empty() ? std::string(params::kAll) : text;
}

}  // namespace

TrapDetailTexts PlainTextsOf(const TrapDetail& trap) {
  return {OrAll(trap.Source),
          std::string(trap.GenericTrap == -1 ? params::kAll : store::GenericTrapName(trap.GenericTrap)),
          OrAll(trap.EnterpriseOid),
          store::StoredSpecificCode(trap.SpecificTrap) == 0 ? std::string(params::kAll)
                                                            : OrAll(trap.SpecificTrap),
          trap.VarBinds,
          Translated(store::SeverityName(trap.Severity))};
}

TrapDetailTexts TextsOf(const TrapDetail& trap, store::TrapNames& names) {
  TrapDetailTexts texts = PlainTextsOf(trap);
  if (!trap.EnterpriseOid.empty()) {
    if (std::string name = names.TranslateOidName(trap.EnterpriseOid); !name.empty()) {
      texts[kEnterprise] = std::move(name);
    }
  }
  if (const auto code = store::StoredSpecificCode(trap.SpecificTrap); code && *code != 0) {
    if (std::string name = names.GetTrapSpecific(trap.EnterpriseOid, *code); !name.empty()) {
      texts[kTrap] = std::move(name);
    }
  }
  return texts;
}

}  // namespace korvane::categories
