// A moment as people and other programs read it, whatever the time zone and the language of the machine.  All
// take seconds since 1970-01-01 00:00:00 UTC.
#pragma once

#include <cstdint>
#include <string>

namespace korvane::receiver {

// For administrators, in logs and mails: "2026-03-01 17:05:09 UTC".
std::string UtcText(std::int64_t seconds);
// At the start of a line of a log (RFC 3339): "2026-03-01T17:05:09Z".
std::string Rfc3339Text(std::int64_t seconds);
// In the headers of a mail (RFC 5322, 3.3): "Sun, 01 Mar 2026 17:05:09 +0000".
std::string Rfc5322Text(std::int64_t seconds);

// How long so many seconds are, for administrators: "12 days", "5 hours", "3 minutes".
std::string LengthText(std::int64_t seconds);

}  // namespace korvane::receiver
