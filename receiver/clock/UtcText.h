// A moment as administrators read it in logs and mails, whatever the time zone of the machine.
#pragma once

#include <cstdint>
#include <string>

namespace korvane::receiver {

// "2026-03-01 17:05:09 UTC" for seconds since 1970-01-01 00:00:00 UTC.
std::string UtcText(std::int64_t seconds);

}  // namespace korvane::receiver
