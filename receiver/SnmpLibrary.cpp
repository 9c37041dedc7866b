#include "SnmpLibrary.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <span>
#include <system_error>

#include "NetSnmp.h"

namespace korvane::receiver {
namespace {

constexpr const char* kName = "kvreceiver";
// Engines one user can be learnt for: more than a network has, and a bound for what a flood can occupy.
constexpr std::size_t kMostLearnt = 10000;

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
  return "0x" + HexText({reinterpret_cast<const char*>(key.data()), length});
}

int PassOnLog(int, int, void* message, void* log) {
  const auto* text = static_cast<const snmp_log_message*>(message);
  std::string_view line = text->msg;
  while (line.ends_with('\n')) {
    line.remove_suffix(1);
  }
  const LogLevel level = text->priority <= LOG_ERR       ? LogLevel::Error
                         : text->priority <= LOG_WARNING ? LogLevel::Warning
                                                         : LogLevel::Info;
  static_cast<ServiceLog*>(log)->Write(level, fmt::format("SNMP library: {}", line));
  return 0;
}

usmUser* FindUser(const std::string& name, const std::string& engineId) {
  return usm_get_user(reinterpret_cast<const u_char*>(engineId.data()), engineId.size(), name.c_str());
}

}  // namespace

SnmpLibrary::SnmpLibrary(const std::filesystem::path& folder, const ReceiverState& state, ServiceLog& log)
    : log_(log), engineId_(state.EngineId) {
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
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, PassOnLog, &log_);
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
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, PassOnLog, &log_, 1);
  snmp_disable_calllog();
  snmp_shutdown(kName);
}

void SnmpLibrary::SetAccess(SnmpAccess access) {
  RemoveAllUsers();
  masterKeys_.clear();
  learnt_ = 0;
  access_ = std::move(access);
  for (const SnmpUser& user : access_.Users) {
    const MasterKeys keys = {MasterKey(user.AuthProtocol, user.AuthPassphrase),
                             MasterKey(user.AuthProtocol, user.PrivPassphrase)};
    Create(user, keys, user.EngineId.empty() ? engineId_ : user.EngineId);
    if (user.EngineId.empty()) {
      masterKeys_[user.Name] = keys;
    }
  }
}

// By the library's own configuration line, which knows how its tables hang together.
void SnmpLibrary::Create(const SnmpUser& user, const MasterKeys& keys, std::string_view engineId) {
  std::string line = fmt::format("-e 0x{} \"{}\"", HexText(engineId), user.Name);
  if (!user.AuthProtocol.empty()) {
    line += fmt::format(" {} -m {}", user.AuthProtocol, keys.Auth);
  }
  if (!user.PrivProtocol.empty()) {
    line += fmt::format(" {} -m {}", user.PrivProtocol, keys.Priv);
  }
  usm_parse_create_usmUser("createUser", line.data());
  if (FindUser(user.Name, std::string(engineId)) == nullptr) {
    log_.Error(fmt::format("the SNMP library does not take user {}", user.Name));
  }
}

void SnmpLibrary::RemoveAllUsers() {
  while (usmUser* user = usm_get_userList()) {
    usm_remove_user(user);
    usm_free_user(user);
  }
}

bool SnmpLibrary::Learn(const std::string& userName, const std::string& engineId) {
  const auto keys = masterKeys_.find(userName);
  if (keys == masterKeys_.end() || engineId.size() < 5 || engineId.size() > 32 || learnt_ >= kMostLearnt ||
      FindUser(userName, engineId) != nullptr) {
    return false;
  }
  Create(*access_.FindUser(userName, {}), keys->second, engineId);
  if (++learnt_ == kMostLearnt) {
    log_.Warning("no more SNMP engines are learnt; a reload of the users begins anew");
  }
  return true;
}

void SnmpLibrary::Forget(const std::string& userName, const std::string& engineId) {
  if (usmUser* user = FindUser(userName, engineId)) {
    usm_remove_user(user);
    usm_free_user(user);
    --learnt_;
  }
}

}  // namespace korvane::receiver
