// A filter in words: how the list of filters shows its conditions.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/Translation.h"
#include "params/FilterStore.h"
#include "store/TrapNames.h"

namespace korvane::params {

inline constexpr std::array<std::string_view, 5> kFilterColumns = {
    Translatable("Source"), Translatable("Generic"), Translatable("Enterprise Name"),
    Translatable("Trap Name"), Translatable("Variables")};
inline constexpr std::size_t kEnterpriseColumn = 2;
inline constexpr std::size_t kTrapColumn = 3;
using FilterTexts = std::array<std::string, kFilterColumns.size()>;

// What names nothing stands as its OID or number.  Throws DatabaseError.
FilterTexts TextsOf(const FilterValues& values, store::TrapNames& names);

// The same without names, for when the database can't be asked.
FilterTexts PlainTextsOf(const FilterValues& values);

// One line for a filter's description and for messages; hostile characters are visible in it.
std::string LineOf(const FilterTexts& texts);

}  // namespace korvane::params
