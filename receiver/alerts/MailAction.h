// Sends a mail through an SMTP server (RFC 5321), by libcurl.  Trap text reaches the body only, as base64,
// and the headers carry nothing that could end a line.  Every step has a time-out.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "receiver/alerts/AlertAction.h"

namespace korvane::receiver {

struct MailTimes {
  std::chrono::seconds Connect{10};
  std::chrono::seconds Whole{30};
};

class MailAction : public AlertAction {
 public:
  explicit MailAction(MailTimes times = {});

  std::string_view Name() const override { return "an e-mail"; }
  bool Wanted(const AlertRule& rule) const override { return rule.Mail.has_value(); }
  std::string Carry(const AlertFiring& firing, const std::stop_token& stop) override;

 private:
  MailTimes times_;
};

// The addresses of a list; an address that could end a header line or a command is left out.
std::vector<std::string> MailAddresses(std::string_view list);
// "smtp://host:port"; nothing when the text names no server.
std::optional<std::string> SmtpUrl(std::string_view server);
// The whole message with CR LF, RFC 5322 and 2045.  time: UTC seconds.
std::string MailMessage(const AlertFiring& firing, std::int64_t time);

}  // namespace korvane::receiver
