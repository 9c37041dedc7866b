// The action tables: what one action says, the values entered earlier, and saving an action, which uses a
// stored row again when there is an equal one.  Rows are never deleted here.  User-interface thread; every
// call may throw DatabaseError.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/Connection.h"

namespace korvane::alerts {

struct BeepAction {
  std::string Description = {};
  std::int32_t Count = 0;
  std::int32_t Duration = 0;   // seconds of each beep
  std::int32_t Delay = 0;      // seconds between two
  std::int32_t Frequency = 0;  // hertz
  bool operator==(const BeepAction&) const = default;
};

struct EmailAction {
  std::string SmtpServer = {};
  std::string To = {};
  std::string From = {};
  std::string Subject = {};
  bool operator==(const EmailAction&) const = default;
};

class ActionStore {
 public:
  explicit ActionStore(store::Connection& connection) : connection_(connection) {}

  // Nothing when there is no such row.
  std::optional<BeepAction> LoadBeep(std::int32_t id);
  std::optional<EmailAction> LoadEmail(std::int32_t id);
  std::optional<std::string> LoadMessage(std::int32_t id);  // the destination
  std::optional<std::string> LoadCustom(std::int32_t id);   // the program

  // What was entered earlier, without the no-action row.
  std::vector<std::string> SmtpServers();  // once each
  std::vector<std::string> Recipients();   // once each
  std::vector<std::string> Destinations();
  std::vector<std::string> Programs();

  // The ID of the row that says so.  A beep that differs in its description only is the stored one.
  std::int32_t SaveBeep(const BeepAction& beep);
  std::int32_t SaveEmail(const EmailAction& email);
  std::int32_t SaveMessage(const std::string& destination);
  std::int32_t SaveCustom(const std::string& program);

 private:
  std::vector<std::string> Texts(std::string_view tableOrSelect, std::string_view filter,
                                 std::string_view column);

  store::Connection& connection_;
};

}  // namespace korvane::alerts
