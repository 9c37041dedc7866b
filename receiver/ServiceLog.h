// The receiver's log: one line per message to standard error, which the service manager's journal keeps.
// Text from the network in a message can't forge lines or reach a terminal's control functions: everything
// that is not plain text is made visible.  Safe from any thread.
#pragma once

#include <functional>
#include <mutex>
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

// To standard error: with the level in the journal's form where the journal reads it, else with the time.
ServiceLog::Sink StandardErrorSink();

}  // namespace korvane::receiver
