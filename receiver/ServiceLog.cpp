#include "receiver/ServiceLog.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

#include "common/Text.h"
#include "receiver/clock/UtcText.h"

namespace korvane::receiver {

void ServiceLog::Write(LogLevel level, std::string_view message) {
  const std::string line = VisibleText(message);
  const std::lock_guard lock(mutex_);
  sink_(level, line);
}

void PacedLog::Write(const std::string& message) {
  const std::uint64_t leftOut = std::exchange(leftOut_, 0);
  log_.Warning(leftOut == 0 ? message
                            : fmt::format("{} ({} more such lines left out before)", message, leftOut));
}

void PacedLog::TellLeftOut() {
  if (leftOut_ != 0) {
    log_.Warning(fmt::format("{} more lines about packets left out", std::exchange(leftOut_, 0)));
  }
}

ServiceLog::Sink StandardErrorSink() {
  // systemd sets this for services whose standard error is the journal.
  const bool journal = std::getenv("JOURNAL_STREAM") != nullptr;
  return [journal](LogLevel level, std::string_view line) {
    const std::string text = journal ? fmt::format("<{}>{}\n", static_cast<int>(level), line)
                                     : fmt::format("{} {}{}\n", Rfc3339Text(std::time(nullptr)),
                                                   level == LogLevel::Error     ? "error: "
                                                   : level == LogLevel::Warning ? "warning: "
                                                                                : "",
                                                   line);
    // One call, so that lines of several processes do not mix; a log nobody reads is no reason to stop.
    [[maybe_unused]] const auto ignored = write(STDERR_FILENO, text.data(), text.size());
  };
}

}  // namespace korvane::receiver
