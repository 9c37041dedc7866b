// The rules of the configuration dialog without its window: three values of the registry, what OK asks,
// writes and restarts.  The values are texts, as they were read and typed; they are converted before the
// first is written, so that a text that is no number writes nothing.  User-interface thread only.
#pragma once

#include <string>
#include <string_view>

#include "config/ConfigServices.h"

namespace korvane::config {

struct ConfigValues {
  std::string AckHours;
  std::string PurgeDays;
  std::string MaxViewTraps;
  bool operator==(const ConfigValues&) const = default;
};

class ConfigForm {
 public:
  // Reads the values now; everything must outlive the form.
  explicit ConfigForm(const ConfigServices& services);

  const ConfigValues& Loaded() const { return loaded_; }

  // With fewer days than one the receiver deletes nothing.
  static bool SwitchesPurgingOff(std::string_view days);

  // True when the dialog is to close: everything was tried, and each failure has had its message.
  bool Ok(const ConfigValues& shown);

 private:
  bool OperatorAgrees(const ConfigValues& shown);
  void Restart();

  ConfigServices services_;
  ConfigValues loaded_;
};

}  // namespace korvane::config
