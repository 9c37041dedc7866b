// The diagnostic log "KVConsole.Log" in the working directory.
#pragma once

#include <string_view>

#include "common/ProcessState.h"

namespace korvane {

class Log {
 public:
  explicit Log(const ProcessState& state) : state_(state) {}
  // Appends one quoted record when debug mode is on; the line is on disk when the call returns.
  // Throws std::runtime_error when the file can't be opened, or is a link: others may write the folder.
  void WriteLog(std::string_view text);
  // The same for whoever must go on although the log can't be written.
  void TryWriteLog(std::string_view text) noexcept;

 private:
  const ProcessState& state_;
};

}  // namespace korvane
