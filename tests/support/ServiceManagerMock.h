// A service manager on a bus, as far as a restart of a service uses it, and its record of the calls.  The bus
// must be the one that DBUS_SYSTEM_BUS_ADDRESS names.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "support/PrivateBus.h"
#include "support/TempFolder.h"

namespace korvane::test {

class ServiceManagerMock {
 public:
  // units: a JSON object of units and how they behave, see systemd_template.py.  Throws std::runtime_error
  // when the manager does not come up.
  explicit ServiceManagerMock(const std::string& units);

  // One line for each call, "StopUnit KVReceiver.service replace".
  std::filesystem::path Log() const { return folder_ / "calls"; }
  void Pause() const { process_->Pause(); }
  void Resume() const { process_->Resume(); }

 private:
  TempFolder folder_;
  std::unique_ptr<Companion> process_;
};

}  // namespace korvane::test
