// Who may send notifications: SNMPv3 users and, where they are restricted, communities.  Read from a small
// text file of the receiver's own, whose lines have the form administrators know from net-snmp:
//
//   createUser [-e 0xENGINEID] NAME [MD5|SHA|SHA-224|SHA-256|SHA-384|SHA-512 PASSPHRASE [DES|AES PASSPHRASE]]
//   community NAME
//
// A word with blanks stands in double quotes; "#" begins a comment.  Pure functions, any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvane::receiver {

enum class SecurityLevel { NoAuthNoPriv = 1, AuthNoPriv = 2, AuthPriv = 3 };  // RFC 3411's numbers

struct SnmpUser {
  std::string Name;
  std::string EngineId;  // raw octets; empty: any engine, and the receiver's own for informs
  std::string AuthProtocol;
  std::string AuthPassphrase;
  std::string PrivProtocol;
  std::string PrivPassphrase;

  SecurityLevel Level() const {
    return AuthProtocol.empty()   ? SecurityLevel::NoAuthNoPriv
           : PrivProtocol.empty() ? SecurityLevel::AuthNoPriv
                                  : SecurityLevel::AuthPriv;
  }
};

struct SnmpAccess {
  std::vector<SnmpUser> Users;
  std::vector<std::string> Communities;  // empty: any, unless there are problems
  // One text per line that was not understood, or why nothing was read; without passphrases.  What such a
  // line was to restrict is not known, so with a problem only what is listed is admitted.
  std::vector<std::string> Problems;
  std::vector<std::string> Warnings;  // what is amiss and changes nothing
  bool Found = true;                  // false: there is no file, and none was asked for

  // What a message of this user must at least be protected by: the level its keys were given for, so that an
  // attacker can't just leave them away.  An entry for the engine goes before one for any.
  const SnmpUser* FindUser(std::string_view name, std::string_view engineId) const;
  bool AcceptsCommunity(std::string_view community) const;
  // "2 SNMPv3 users, any community"
  std::string Summary() const;
};

SnmpAccess ParseSnmpAccess(std::string_view text);

}  // namespace korvane::receiver
