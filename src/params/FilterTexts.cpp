#include "params/FilterTexts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <utility>

#include "common/Text.h"
#include "params/FormControls.h"
#include "store/Codes.h"

namespace korvane::params {

namespace {

std::string PlainTrapText(std::string_view enterpriseOid, std::int32_t specificTrap) {
  if (specificTrap == 0) {
    return std::string(kAll);
  }
  return enterpriseOid.empty() ? fmt::to_string(specificTrap)
                               : store::NotificationOid(enterpriseOid, specificTrap);
}

}  // namespace

FilterTexts PlainTextsOf(const FilterValues& values) {
  return {TextOf(values.SourceAgent),
          std::string(values.GenericTrap == -1 ? kAll : store::GenericTrapName(values.GenericTrap)),
          TextOf(values.EnterpriseOid), PlainTrapText(values.EnterpriseOid, values.SpecificTrap),
          TextOf(values.VarBinds)};
}

FilterTexts TextsOf(const FilterValues& values, store::TrapNames& names) {
  FilterTexts texts = PlainTextsOf(values);
  if (std::string name = names.TranslateOidName(values.EnterpriseOid); !name.empty()) {
    texts[kEnterpriseColumn] = std::move(name);
  }
  if (values.SpecificTrap != 0) {
    if (std::string name = names.GetTrapSpecific(values.EnterpriseOid, values.SpecificTrap); !name.empty()) {
      texts[kTrapColumn] = std::move(name);
    }
  }
  return texts;
}

std::string LineOf(const FilterTexts& texts) {
  return VisibleText(fmt::format("{}", fmt::join(texts, ", ")));
}

}  // namespace korvane::params
