#include "mainwnd/DefinitionsWatch.h"

#include <utility>

#include "store/DatabaseError.h"

namespace korvane::mainwnd {

std::optional<std::string> DefinitionsWatch::Mark() {
  try {
    return names_.DefinitionsMark();
  } catch (const store::DatabaseError&) {
    return std::nullopt;
  }
}

void DefinitionsWatch::Begin() {
  if (!std::exchange(watching_, true)) {
    known_ = Mark();
  }
}

bool DefinitionsWatch::Changed() {
  if (!watching_) {
    return false;
  }
  std::optional<std::string> now = Mark();
  if (!now || now == known_) {
    return false;
  }
  known_ = std::move(now);
  return true;
}

}  // namespace korvane::mainwnd
