// One kind of action that alerts may ask for.  Each kind has a lane of its own, so that a mail server that
// hangs holds up mails only.  Carry runs on the lane's thread and may take its time, but ends soon after the
// stop is asked for.
#pragma once

#include <stop_token>
#include <string>
#include <string_view>

#include "receiver/alerts/AlertFiring.h"

namespace korvane::receiver {

class AlertAction {
 public:
  virtual ~AlertAction() = default;
  virtual ActionSet Kind() const = 0;         // one of them
  virtual std::string_view Name() const = 0;  // "e-mail"
  // An empty text: done; else why not.
  virtual std::string Carry(const AlertFiring& firing, const std::stop_token& stop) = 0;
};

}  // namespace korvane::receiver
