// Acknowledging all traps of one system, asked for by closing its window or in the Systems window's pop-up
// menu.  User-interface thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "common/Desk.h"
#include "intake/StoreChanges.h"
#include "intake/Systems.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"

namespace korvane::systems {

enum class SystemAcknowledgement { Declined, Done, Refused };

class SystemAcknowledge {
 public:
  SystemAcknowledge(Desk& desk, store::Connection& connection, intake::StoreChanges& changes)
      : desk_(desk), connection_(connection), changes_(changes) {}

  // shownAs: how the question names the system.  beforeTime: the exclusive bound, taken after a Yes.
  // One statement per source text of the system, all of them or none; a failure is reported with the
  // database's text and leaves everything as it was.  What was done leaves every window.
  SystemAcknowledgement Ask(const intake::System& system, std::string_view shownAs,
                            const std::function<std::int32_t()>& beforeTime);

 private:
  // Why not, when the database refused.
  std::optional<store::DatabaseError> Acknowledge(const intake::System& system, std::int32_t beforeTime);

  Desk& desk_;
  store::Connection& connection_;
  intake::StoreChanges& changes_;
};

}  // namespace korvane::systems
