// Sends a mail through an SMTP server (RFC 5321), by libcurl, with the encryption and the login that the
// site's own server wants.  Trap text reaches the body only, as base64, and the headers carry nothing that
// could end a line.  Every step has a time-out.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "receiver/alerts/AlertAction.h"
#include "receiver/alerts/MailAccess.h"

namespace korvane::receiver {

struct MailTimes {
  std::chrono::seconds Connect{10};
  std::chrono::seconds Whole{30};
};

class MailAction : public AlertAction {
 public:
  explicit MailAction(MailAccess access = {}, MailTimes times = {});

  ActionSet Kind() const override { return kMailAction; }
  std::string_view Name() const override { return "an e-mail"; }
  std::string Carry(const AlertFiring& firing, const std::stop_token& stop) override;

 private:
  const MailAccess access_;
  const MailTimes times_;
};

// The addresses of a list; an address that could end a header line or a command is left out.
std::vector<std::string> MailAddresses(std::string_view list);
// The whole message with CR LF, RFC 5322 and 2045; how urgent it is by the trap's severity.  time: UTC
// seconds.
std::string MailMessage(const AlertFiring& firing, std::int64_t time);

}  // namespace korvane::receiver
