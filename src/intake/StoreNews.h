// What the store feeder tells beside the traps: changes of the store, made here or elsewhere.
#pragma once

#include <vector>

#include "store/ChangeLog.h"

namespace korvane::intake {

struct StoreNews {
  std::vector<store::Change> Changes;  // in the order in which they are to be applied
  // The store holds something else than traps and changes explain: a program that keeps no log wrote to it,
  // or another state of it was put in its place.
  bool Unexplained = false;

  bool Empty() const { return Changes.empty() && !Unexplained; }
};

}  // namespace korvane::intake
