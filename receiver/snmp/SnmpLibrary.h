// net-snmp's library, set up for this process alone: no MIBs, nothing read from the system's SNMP
// configuration, nothing kept outside the receiver's folder.  Its state is the process's, so there is one
// object of this class; all calls come from the listening thread.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "receiver/ServiceLog.h"
#include "receiver/snmp/LearntEngines.h"
#include "receiver/snmp/SnmpAccess.h"
#include "receiver/spool/StateFile.h"

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

  // Around each message that the library reads or sends, so that it finds what it needs and keeps nothing
  // that a sender made up.  What it says in between is about that message: it is not logged but handed over.
  //
  // A trap's keys belong to the engine of its sender (RFC 3414, 2.6), which is not known before its first
  // one. BeginMessage gives the library the keys of that user and engine, where the user is good for any
  // engine.
  void BeginMessage() { inMessage_ = true; }
  void ExpectSender(std::string_view user, std::string_view engineId);
  // user and engineId: as the library read them, both empty when it did not.  authentic: the message proved
  // its user's key; so the engine is remembered.  Returns the first line that the library had to say.
  std::string EndMessage(std::string_view user, std::string_view engineId, bool authentic);
  // Engines were forgotten for others since this was asked last.
  bool ForgotEngines() { return std::exchange(forgotEngines_, false); }

 private:
  struct MasterKeys {
    std::string Auth;  // hexadecimal, or empty
    std::string Priv;
  };

  // The one user with keys for one engine that is in the library's list for the sake of a message.
  struct Guest {
    std::string User;
    std::string EngineId;
    bool Learnt = false;  // stays in the table when it leaves
  };

  static int TakeLine(int majorId, int minorId, void* message, void* library);
  bool Create(const SnmpUser& user, const MasterKeys& keys, std::string_view engineId);
  void RemoveAllUsers();
  void KeepClock(const std::string& engineId);
  void Admit(Guest guest);
  void SendOff();

  ServiceLog& log_;
  std::string engineId_;
  SnmpAccess access_;
  std::map<std::string, MasterKeys> masterKeys_;  // of users for any engine, by name: costly to derive
  std::set<std::string>
      ownEngines_;  // this one and those in the users' lines: the library keeps their clocks
  LearntEngines learnt_;
  std::optional<Guest> guest_;
  bool inMessage_ = false;
  std::string said_;  // the library's first line about the message
  bool forgotEngines_ = false;
};

}  // namespace korvane::receiver
