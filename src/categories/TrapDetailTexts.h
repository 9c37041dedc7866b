// A category's trap definition in words, as the lists of both category windows show it.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "categories/CategoryStore.h"
#include "common/Translation.h"
#include "store/TrapNames.h"

namespace korvane::categories {

inline constexpr std::array<std::string_view, 6> kTrapDetailColumns = {
    Translatable("Source"),    Translatable("Generic"),   Translatable("Enterprise Name"),
    Translatable("Trap Name"), Translatable("Variables"), Translatable("Severity")};
using TrapDetailTexts = std::array<std::string, kTrapDetailColumns.size()>;

// What is any reads "-All-"; what names nothing stands as its OID or number.  Throws DatabaseError.
TrapDetailTexts TextsOf(const TrapDetail& trap, store::TrapNames& names);
// Without the names of enterprises and traps.
TrapDetailTexts PlainTextsOf(const TrapDetail& trap);

}  // namespace korvane::categories
