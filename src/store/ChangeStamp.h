// Who changed something in the store, and when: what the change log says, for lists, dialogs and files.  A
// record for colleagues, not a proof.  A plain value.
#pragma once

#include <cstdint>
#include <string>

namespace korvane::store {

struct Change;

struct ChangeStamp {
  std::string Operator;   // the login name; empty: the receiver, for the trap's age, or not known
  std::string Machine;    // its name; empty when not known
  std::int64_t Time = 0;  // seconds since 1970-01-01 00:00:00 UTC; 0 when not known

  bool operator==(const ChangeStamp&) const = default;
};

ChangeStamp StampOf(const Change& change);

// "anna on desk2", "the receiver on desk2"; empty when neither is known.
std::string WhoText(const ChangeStamp& stamp);
// "anna on desk2, 2026-05-04 10:41:07": whatever of it is known.  biasSeconds: UTC = local time + bias.
std::string WhoAndWhenText(const ChangeStamp& stamp, std::int32_t biasSeconds);

}  // namespace korvane::store
