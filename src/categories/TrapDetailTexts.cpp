#include "categories/TrapDetailTexts.h"

#include <charconv>

#include "params/FormControls.h"
#include "store/Codes.h"

namespace korvane::categories {

namespace {

std::string OrAll(const std::string& text) {
  return text.empty() ? std::string(params::kAll) : text;
}

std::string EnterpriseText(const TrapDetail& trap, store::TrapNames& names) {
  const std::string name =
      trap.EnterpriseOid.empty() ? std::string() : names.TranslateOidName(trap.EnterpriseOid);
  return OrAll(name.empty() ? trap.EnterpriseOid : name);
}

std::string TrapText(const TrapDetail& trap, store::TrapNames& names) {
  std::int32_t code = 0;
  const char* end = trap.SpecificTrap.data() + trap.SpecificTrap.size();
  const auto [stop, error] = std::from_chars(trap.SpecificTrap.data(), end, code);
  if (trap.SpecificTrap.empty() || (error == std::errc() && stop == end && code == 0)) {
    return std::string(params::kAll);
  }
  const std::string name =
      error == std::errc() ? names.GetTrapSpecific(trap.EnterpriseOid, code) : std::string();
  return name.empty() ? trap.SpecificTrap : name;
}

}  // namespace

TrapDetailTexts TextsOf(const TrapDetail& trap, store::TrapNames& names) {
  return {OrAll(trap.Source),
          trap.GenericTrap == -1 ? std::string(params::kAll)
                                 : std::string(store::GenericTrapName(trap.GenericTrap)),
          EnterpriseText(trap, names),
          TrapText(trap, names),
          trap.VarBinds,
          std::string(store::SeverityName(trap.Severity))};
}

}  // namespace korvane::categories
