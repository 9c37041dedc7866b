// The receiver's log: one line per message to standard error, which the service manager's journal keeps.
// Text from the network in a message can't forge lines or reach a terminal's control functions: everything
// that is not plain text is made visible.  Safe from any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace korvane::receiver {

enum class LogLevel { Error = 3, Warning = 4, Info = 6 };  // syslog's numbers

class ServiceLog {
 public:
  using Sink = std::function<void(LogLevel, std::string_view line)>;

  // The sink gets one line without its line break, one call at a time.
  explicit ServiceLog(Sink sink) : sink_(std::move(sink)) {}

  void Write(LogLevel level, std::string_view message);
  void Info(std::string_view message) { Write(LogLevel::Info, message); }
  void Warning(std::string_view message) { Write(LogLevel::Warning, message); }
  void Error(std::string_view message) { Write(LogLevel::Error, message); }

 private:
  std::mutex mutex_;
  Sink sink_;
};

// For lines that packets cause: however fast those come, there is one line in a while, with the number of
// those that were left out.  Lines that the machine or the administrator caused never go through here.  Of
// one thread.
class PacedLog {
 public:
  using Clock = std::chrono::steady_clock;

  explicit PacedLog(ServiceLog& log, Clock::duration pause = std::chrono::seconds(10))
      : log_(log), pause_(pause) {}

  // message: makes the text; not called for what is left out.
  template <typename Message>
  void Warning(Message&& message, Clock::time_point now = Clock::now()) {
    if (last_ && now - *last_ < pause_) {
      ++leftOut_;
      return;
    }
    last_ = now;
    Write(message());
  }
  // What the last line could not say yet, if anything: for a sign of life and for the end.
  void TellLeftOut();

 private:
  void Write(const std::string& message);

  ServiceLog& log_;
  const Clock::duration pause_;
  std::optional<Clock::time_point> last_;
  std::uint64_t leftOut_ = 0;
};

// To standard error: with the level in the journal's form where the journal reads it, else with the time.
ServiceLog::Sink StandardErrorSink();

}  // namespace korvane::receiver
