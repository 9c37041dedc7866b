// Acknowledging all traps of one system, asked for by closing its window or in the Systems window's pop-up
// menu.  User-interface thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "common/Desk.h"
#include "intake/StoreChanges.h"
#include "intake/Systems.h"
#include "store/Acknowledge.h"
#include "store/Connection.h"

namespace korvane::systems {

enum class SystemAcknowledgement {
  Declined,
  Done,
  Stopped,  // by the operator, after a part of them
  Refused,  // all of them, or what came after a part
};

class SystemAcknowledge {
 public:
  SystemAcknowledge(Desk& desk, store::Connection& connection, intake::StoreChanges& changes)
      : desk_(desk), connection_(connection), changes_(changes) {}

  // shownAs: how the question names the system.  beforeTime: the exclusive bound, taken after a Yes.
  // For each source text of the system, in portions between which it can be stopped.  A failure is reported
  // with the database's text.  What was done leaves every window.
  SystemAcknowledgement Ask(const intake::System& system, std::string_view shownAs,
                            const std::function<std::int32_t()>& beforeTime);

 private:
  // What was done, the refusal in it.
  store::Acknowledgement Acknowledge(const intake::System& system, std::int32_t beforeTime);

  Desk& desk_;
  store::Connection& connection_;
  intake::StoreChanges& changes_;
};

}  // namespace korvane::systems
