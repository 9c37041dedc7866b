// A message bus of the test's own, a service manager on it, and programs that live as long as an object of
// the test.  What fails to come up throws std::runtime_error.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/ChildProcess.h"
#include "support/TempFolder.h"

namespace korvane::test {

// A program that is ended with the object.
class Companion {
 public:
  explicit Companion(const std::vector<std::string>& commandLine);
  ~Companion();
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  void Pause() const;
  void Resume() const;

 private:
  platform::ReadableChild child_;
};

// Starts no service of this machine, unlike a bus of the stock configuration.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  std::string Address() const { return "unix:path=" + (folder_ / "bus").string(); }

 private:
  TempFolder folder_;
};

// As far as a restart of a service uses it, with a record of the calls.  The bus must be the one that
// DBUS_SYSTEM_BUS_ADDRESS names.
class ServiceManagerMock {
 public:
  // units: a JSON object of units and how they behave, see systemd_template.py.
  explicit ServiceManagerMock(const std::string& units);

  // One line for each call, "StopUnit KVReceiver.service replace".
  std::filesystem::path Log() const { return folder_ / "calls"; }
  void Pause() const { process_.Pause(); }
  void Resume() const { process_.Resume(); }

 private:
  TempFolder folder_;
  Companion process_;
};

}  // namespace korvane::test
