// Whether a list was read whole.  True in a condition when it was.
#pragma once

#include <string>

#include "store/DatabaseError.h"

namespace korvane::store {

class ReadOutcome {
 public:
  ReadOutcome() = default;
  explicit ReadOutcome(const DatabaseError& error) : done_(false), cause_(error.what()) {}

  explicit operator bool() const { return done_; }
  const std::string& Cause() const { return cause_; }  // why it was not: the database's text

 private:
  bool done_ = true;
  std::string cause_;
};

}  // namespace korvane::store
