#include "common/Log.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/Files.h"

namespace korvane {

void Log::WriteLog(std::string_view text) {
  if (!state_.gDebugMode) {
    return;
  }
  std::string record;
  record.reserve(text.size() + 4);
  record.append("\"").append(text).append("\"\r\n");
  // Binary, so that the record ends in exactly one CR LF on every system; one write, so that the lines of
  // two runs do not mix.
  std::FILE* file = platform::OpenSharedToAppend("KVConsole.Log");
  if (file == nullptr) {
    throw std::runtime_error("KVConsole.Log can't be opened");
  }
  std::setvbuf(file, nullptr, _IONBF, 0);
  const bool written = std::fwrite(record.data(), 1, record.size(), file) == record.size();
  if (std::fclose(file) != 0 || !written) {
    throw std::runtime_error("KVConsole.Log can't be written");
  }
}

void Log::TryWriteLog(std::string_view text) noexcept {
  try {
    WriteLog(text);
  } catch (const std::exception&) {
    // There is nobody left to tell.
  }
}

}  // namespace korvane
