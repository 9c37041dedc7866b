#include "receiver/snmp/SnmpLibrary.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <span>
#include <system_error>
#include <utility>

#include "receiver/snmp/NetSnmp.h"

namespace korvane::receiver {
namespace {

constexpr const char* kName = "kvreceiver";
// Engines that are remembered for one user: about 1 KiB each.
constexpr std::size_t kMostLearnt = 10000;
constexpr std::size_t kShortestEngineId = 5;  // RFC 3411, SnmpEngineID
constexpr std::size_t kLongestEngineId = 32;
constexpr std::size_t kLongestLine = 200;

std::span<const oid> AuthProtocolOid(std::string_view name) {
  if (name == "MD5") return {usmHMACMD5AuthProtocol, OID_LENGTH(usmHMACMD5AuthProtocol)};
  if (name == "SHA") return {usmHMACSHA1AuthProtocol, OID_LENGTH(usmHMACSHA1AuthProtocol)};
  if (name == "SHA-224") return {usmHMAC128SHA224AuthProtocol, OID_LENGTH(usmHMAC128SHA224AuthProtocol)};
  if (name == "SHA-256") return {usmHMAC192SHA256AuthProtocol, OID_LENGTH(usmHMAC192SHA256AuthProtocol)};
  if (name == "SHA-384") return {usmHMAC256SHA384AuthProtocol, OID_LENGTH(usmHMAC256SHA384AuthProtocol)};
  return {usmHMAC384SHA512AuthProtocol, OID_LENGTH(usmHMAC384SHA512AuthProtocol)};
}

// The key that a passphrase stands for before it is bound to an engine (RFC 3414, A.2).
std::string MasterKey(std::string_view protocol, const std::string& passphrase) {
  if (passphrase.empty()) {
    return {};
  }
  const std::span<const oid> hash = AuthProtocolOid(protocol);
  std::array<u_char, USM_LENGTH_KU_HASHBLOCK> key{};
  std::size_t length = key.size();
  if (generate_Ku(hash.data(), static_cast<u_int>(hash.size()),
                  reinterpret_cast<const u_char*>(passphrase.data()), passphrase.size(), key.data(),
                  &length) != SNMPERR_SUCCESS) {
    return {};
  }
  return "0x" + HexDigits({reinterpret_cast<const char*>(key.data()), length});
}

usmUser* FindUser(const std::string& name, std::string_view engineId) {
  return usm_get_user(reinterpret_cast<const u_char*>(engineId.data()), engineId.size(), name.c_str());
}

enginetime* FindClock(std::string_view engineId) {
  return search_enginetime_list(reinterpret_cast<const u_char*>(engineId.data()),
                                static_cast<u_int>(engineId.size()));
}

// The library notes a clock for every engine that a message names, before it believes anything of it.  Takes
// the record out of its table.  free_enginetime would free all records of the same chain with it, so where
// others follow, the next one moves into the record's place.  None that is to stay stands before it in its
// chain: the library puts new records first, and those that stay were made before any other.
EngineClock TakeClock(std::string_view engineId) {
  enginetime* record = FindClock(engineId);
  if (record == nullptr) {
    return {};
  }
  const EngineClock clock = {.Boots = record->engineBoot,
                             .Time = record->engineTime,
                             .HeardAt = record->lastReceivedEngineTime,
                             .Authenticated = record->authenticatedFlag != 0};
  if (enginetime* next = record->next) {
    std::free(record->engineID);
    *record = *next;
    std::free(next);
  } else {
    std::string octets(engineId);
    free_enginetime(reinterpret_cast<u_char*>(octets.data()), octets.size());
  }
  return clock;
}

void PutClock(const std::string& engineId, const EngineClock& clock) {
  if (!clock.Authenticated) {
    return;
  }
  set_enginetime(reinterpret_cast<const u_char*>(engineId.data()), static_cast<u_int>(engineId.size()),
                 clock.Boots, clock.Time, TRUE);
  if (enginetime* record = FindClock(engineId)) {
    record->lastReceivedEngineTime = clock.HeardAt;
  }
}

UsmUserKeys TakeUser(const std::string& name, const std::string& engineId) {
  usmUser* user = FindUser(name, engineId);
  if (user != nullptr) {
    usm_remove_user(user);
    user->next = nullptr;  // the library leaves them as they were, and believes them when it frees the user
    user->prev = nullptr;
  }
  return UsmUserKeys(user);
}

}  // namespace

SnmpLibrary::SnmpLibrary(const std::filesystem::path& folder, const ReceiverState& state, ServiceLog& log)
    : log_(log), engineId_(state.EngineId), ownEngines_{engineId_}, learnt_(kMostLearnt) {
  const std::filesystem::path own = folder / "snmp";
  std::filesystem::create_directories(own / "cert_indexes");
  setenv("MIBS", "", 1);
  setenv("MIBDIRS", own.c_str(), 1);
  setenv("SNMPCONFPATH", own.c_str(), 1);
  setenv("SNMP_PERSISTENT_DIR", own.c_str(), 1);
  for (const int setting : {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE,
                            NETSNMP_DS_LIB_DONT_LOAD_HOST_FILES, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG}) {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, setting, 1);
  }
  snmp_disable_stderrlog();
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, TakeLine, this);
  snmp_enable_calllog();
  init_snmp(kName);
  set_exact_engineID(reinterpret_cast<const u_char*>(engineId_.data()), engineId_.size());
  // The library adds one to what it is told, as it does with the value it stored before its last stop.
  std::string boots = fmt::to_string(state.Starts - 1);
  engineBoots_conf("engineBoots", boots.data());
  set_enginetime(reinterpret_cast<const u_char*>(engineId_.data()), static_cast<u_int>(engineId_.size()),
                 static_cast<u_int>(snmpv3_local_snmpEngineBoots()),
                 static_cast<u_int>(snmpv3_local_snmpEngineTime()), TRUE);
}

SnmpLibrary::~SnmpLibrary() {
  RemoveAllUsers();
  // Before the shutdown, which frees what it finds registered.
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, TakeLine, this, 1);
  snmp_disable_calllog();
  snmp_shutdown(kName);
}

int SnmpLibrary::TakeLine(int, int, void* message, void* library) {
  const auto* text = static_cast<const snmp_log_message*>(message);
  std::string_view line = text->msg;
  while (line.ends_with('\n')) {
    line.remove_suffix(1);
  }
  auto& self = *static_cast<SnmpLibrary*>(library);
  if (self.inMessage_) {
    if (self.said_.empty()) {
      self.said_ = line.substr(0, kLongestLine);
    }
    return 0;
  }
  const LogLevel level = text->priority <= LOG_ERR       ? LogLevel::Error
                         : text->priority <= LOG_WARNING ? LogLevel::Warning
                                                         : LogLevel::Info;
  self.log_.Write(level, fmt::format("SNMP library: {}", line));
  return 0;
}

void SnmpLibrary::SetAccess(SnmpAccess access) {
  SendOff();
  RemoveAllUsers();
  masterKeys_.clear();
  learnt_.Clear();
  access_ = std::move(access);
  for (const SnmpUser& user : access_.Users) {
    const MasterKeys keys = {MasterKey(user.AuthProtocol, user.AuthPassphrase),
                             MasterKey(user.AuthProtocol, user.PrivPassphrase)};
    if (!Create(user, keys, user.EngineId.empty() ? engineId_ : user.EngineId)) {
      log_.Error(fmt::format("the SNMP library does not take user {}", user.Name));
    }
    if (user.EngineId.empty()) {
      masterKeys_[user.Name] = keys;
    } else {
      KeepClock(user.EngineId);
    }
  }
}

// Before any guest's, see TakeClock; an engine whose line is gone keeps its record.
void SnmpLibrary::KeepClock(const std::string& engineId) {
  if (ownEngines_.insert(engineId).second) {
    set_enginetime(reinterpret_cast<const u_char*>(engineId.data()), static_cast<u_int>(engineId.size()), 0,
                   0, FALSE);
  }
}

// By the library's own configuration line, which knows how its tables hang together.
bool SnmpLibrary::Create(const SnmpUser& user, const MasterKeys& keys, std::string_view engineId) {
  std::string line = fmt::format("-e 0x{} \"{}\"", HexDigits(engineId), user.Name);
  if (!user.AuthProtocol.empty()) {
    line += fmt::format(" {} -m {}", user.AuthProtocol, keys.Auth);
  }
  if (!user.PrivProtocol.empty()) {
    line += fmt::format(" {} -m {}", user.PrivProtocol, keys.Priv);
  }
  usm_parse_create_usmUser("createUser", line.data());
  return FindUser(user.Name, engineId) != nullptr;
}

void SnmpLibrary::RemoveAllUsers() {
  while (usmUser* user = usm_get_userList()) {
    usm_remove_user(user);
    usm_free_user(user);
  }
}

void SnmpLibrary::ExpectSender(std::string_view user, std::string_view engineId) {
  if (guest_ && guest_->User == user && guest_->EngineId == engineId) {
    return;
  }
  Guest guest = {.User = std::string(user), .EngineId = std::string(engineId)};
  if (engineId.size() < kShortestEngineId || engineId.size() > kLongestEngineId ||
      !masterKeys_.contains(guest.User) || FindUser(guest.User, engineId) != nullptr) {
    return;
  }
  SendOff();
  Admit(std::move(guest));
}

void SnmpLibrary::Admit(Guest guest) {
  LearntEngine* learnt = learnt_.Find(guest.User, guest.EngineId);
  guest.Learnt = learnt != nullptr && learnt->Keys != nullptr;
  if (guest.Learnt) {
    usm_add_user(learnt->Keys.release());
    PutClock(guest.EngineId, learnt->Clock);
  } else if (!Create(*access_.FindUser(guest.User, {}), masterKeys_[guest.User], guest.EngineId)) {
    return;
  }
  guest_ = std::move(guest);
}

// Out of the library again, with the clock of its engine.
void SnmpLibrary::SendOff() {
  if (!guest_) {
    return;
  }
  LearntEngine left = {.Keys = TakeUser(guest_->User, guest_->EngineId), .Clock = {}};
  if (!ownEngines_.contains(guest_->EngineId)) {
    left.Clock = TakeClock(guest_->EngineId);
  }
  if (guest_->Learnt) {
    *learnt_.Find(guest_->User, guest_->EngineId) = std::move(left);
  }
  guest_.reset();
}

std::string SnmpLibrary::EndMessage(std::string_view user, std::string_view engineId, bool authentic) {
  inMessage_ = false;
  const bool byGuest = guest_ && guest_->User == user && guest_->EngineId == engineId;
  if (byGuest && authentic && !guest_->Learnt) {
    guest_->Learnt = true;
    forgotEngines_ = learnt_.Add(guest_->User, guest_->EngineId, {}) || forgotEngines_;
  } else if (byGuest && authentic) {
    learnt_.Renew(guest_->User, guest_->EngineId);
  }
  const bool keptForGuest = guest_ && guest_->EngineId == engineId;
  if (!engineId.empty() && !keptForGuest && !ownEngines_.contains(std::string(engineId))) {
    TakeClock(engineId);
  }
  if (guest_ && !guest_->Learnt) {
    SendOff();
  }
  return std::exchange(said_, {});
}

}  // namespace korvane::receiver
