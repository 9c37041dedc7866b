// net-snmp's library, set up for this process alone: no MIBs, nothing read from the system's SNMP
// configuration, nothing kept outside the receiver's folder.  Its state is the process's, so there is one
// object of this class; all calls come from the listening thread.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "ServiceLog.h"
#include "SnmpAccess.h"
#include "StateFile.h"

namespace korvane::receiver {

class SnmpLibrary {
 public:
  // Changes the environment for the library's sake, so it comes before the first thread.
  SnmpLibrary(const std::filesystem::path& folder, const ReceiverState& state, ServiceLog& log);
  ~SnmpLibrary();
  SnmpLibrary(const SnmpLibrary&) = delete;
  SnmpLibrary& operator=(const SnmpLibrary&) = delete;

  // Replaces all users.  What the library does not take is logged and left out.
  void SetAccess(SnmpAccess access);
  const SnmpAccess& Access() const { return access_; }
  const std::string& EngineId() const { return engineId_; }

  // A trap's keys belong to the engine of its sender (RFC 3414, 2.6), which is not known before its first
  // one. Makes a user known for one more engine; false when there is no such user for any engine, when the
  // pair is known already, or when too many are.
  bool Learn(const std::string& userName, const std::string& engineId);
  // Takes back what was learnt from a message that then failed its authentication.
  void Forget(const std::string& userName, const std::string& engineId);

 private:
  struct MasterKeys {
    std::string Auth;  // hexadecimal, or empty
    std::string Priv;
  };

  void Create(const SnmpUser& user, const MasterKeys& keys, std::string_view engineId);
  void RemoveAllUsers();

  ServiceLog& log_;
  std::string engineId_;
  SnmpAccess access_;
  std::map<std::string, MasterKeys> masterKeys_;  // of users for any engine, by name: costly to derive
  std::size_t learnt_ = 0;
};

}  // namespace korvane::receiver
