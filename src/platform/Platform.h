// What the console asks of the machine it runs on, one small interface per concern.
// linux/ and windows/ implement them without a toolkit, qt/ those that need the toolkit's event loop; app/
// picks and owns the implementations, everything else takes what it needs by reference.
// Unless a comment says otherwise a call is made from the user-interface thread, never throws, and reports
// failure by its result.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::platform {

enum class RegistryHive { LocalMachine };

// The numbers of the types are the registry's own.
enum class RegistryType : std::uint32_t { String = 1, ExpandString = 2, Binary = 3, Dword = 4 };

struct RegistryData {
  RegistryType Type = RegistryType::String;
  // The raw value: text as UTF-8 with its terminating NUL, a DWORD as four bytes, least significant first.
  std::string Bytes;
};

// Machine-wide values shared with the receiver service.  Keys and value names compare ignoring case.
// Safe to use from several processes at once.
class RegistryStore {
 public:
  virtual ~RegistryStore() = default;
  // The value, or nothing when the key can't be opened with the access mask, or the value is missing or
  // longer than maxBytes.
  virtual std::optional<RegistryData> QueryValue(RegistryHive hive, std::string_view keyPath,
                                                 std::string_view valueName, std::uint32_t accessMask,
                                                 std::size_t maxBytes) = 0;
  // Writes a DWORD into an existing key; never creates a key.  True once the value is on disk.
  virtual bool SetDword(RegistryHive hive, std::string_view keyPath, std::string_view valueName,
                        std::uint32_t value, std::uint32_t accessMask) = 0;
};

// Where the console keeps the settings of its user.
inline constexpr std::string_view kSettingsSection = "Settings";

// Settings of the current user, kept as text.
class SettingsStore {
 public:
  virtual ~SettingsStore() = default;
  virtual std::string GetSetting(std::string_view section, std::string_view name,
                                 std::string_view defaultText) = 0;
  virtual void SaveSetting(std::string_view section, std::string_view name, std::string_view text) = 0;
};

// The groups of this process's user, and the name of the local administrators' group.
class AccountGroups {
 public:
  virtual ~AccountGroups() = default;
  virtual std::optional<std::vector<std::string>> GroupNames() = 0;
  virtual std::optional<std::string> AdministratorsName() = 0;
};

// Another copy of this program of the same user, and what it is asked to do.
class RunningInstance {
 public:
  virtual ~RunningInstance() = default;
  // True when another copy already runs.  The first call that answers false makes this copy the one that
  // later starts will find.
  virtual bool PreviousInstanceExists() = 0;
  // The three steps of switching to it; each answers whether it succeeded.
  virtual bool FindTopLevelWindow(std::string_view title) = 0;
  virtual bool BringToForeground() = 0;
  virtual bool ShowMaximised() = 0;
};

// One service, opened with full access; closed by its destructor.
class Service {
 public:
  virtual ~Service() = default;
  virtual void SendStop() = 0;  // the outcome is not asked for
  virtual bool Start() = 0;
};

// The machine's service manager, opened with full access; closed by its destructor.
class ServiceManager {
 public:
  virtual ~ServiceManager() = default;
  virtual std::unique_ptr<Service> OpenService(std::string_view name) = 0;  // null: not there
};

class ServiceControl {
 public:
  virtual ~ServiceControl() = default;
  virtual std::unique_ptr<ServiceManager> OpenManager() = 0;  // null: not reached
};

struct SocketStartup {
  bool Started = false;
  std::uint16_t Version = 0;  // major in the low byte, minor in the high byte
  int MaxSockets = 0;
};

class Sockets {
 public:
  virtual ~Sockets() = default;
  virtual SocketStartup Start(std::uint16_t requestedVersion) = 0;
  virtual int Cleanup() = 0;  // 0, or the system's error number
};

// Starts other programs, always with an argument vector and never through a shell.  The program's life does
// not depend on the console's.
class Programs {
 public:
  virtual ~Programs() = default;
  // program: a path, or a bare name.  "NOTEPAD.EXE" stands for the desktop's text editor; a path that ends
  // in ".exe" and uses backslashes is mapped to the program of that name: the one installed with this
  // program, else the one in that directory.  A program in a place where other users could have put it is not
  // started. False when it could not be started.  On Windows paths are used as they are.
  virtual bool Start(std::string_view program, const std::vector<std::string>& arguments) = 0;
};

class Directories {
 public:
  virtual ~Directories() = default;
  virtual bool SetCurrentDirectory(std::string_view path) = 0;
};

// Safe from any thread.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual std::int64_t UtcSeconds() = 0;             // since 1970-01-01 00:00:00 UTC
  virtual std::int64_t MonotonicMilliseconds() = 0;  // never goes back; the origin has no meaning
  virtual void SleepMilliseconds(int milliseconds) = 0;
  virtual int TimeZoneBiasMinutes() = 0;  // UTC = local time + bias; negative east of Greenwich
};

// Safe from any thread; may block for as long as the resolver takes.
class HostNames {
 public:
  virtual ~HostNames() = default;
  virtual std::optional<std::string> NameOfAddress(std::string_view address) = 0;
  virtual std::optional<std::string> AddressOfName(std::string_view name) = 0;
  virtual std::string DomainOfThisHost() = 0;  // empty when there is none
};

// True for the text form of an IPv4 or IPv6 address.
bool IsAddressText(std::string_view text);

}  // namespace korvane::platform
