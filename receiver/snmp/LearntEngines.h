// The engines that users without an engine of their own were heard from, with the keys made for each and its
// clock.  The SNMP library looks through a list for every message, so it is given only the one entry that a
// message needs (SnmpLibrary); all others wait here.  Bounded for each user: of more, the one heard least
// lately is forgotten, and learnt anew from its next message.  Used by the listening thread.
#pragma once

#include <cstddef>
#include <ctime>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

struct usmUser;

namespace korvane::receiver {

// A user with the keys for one engine, outside of the library's list.
struct UsmUserDeleter {
  void operator()(usmUser* user) const;
};
using UsmUserKeys = std::unique_ptr<usmUser, UsmUserDeleter>;

// What the library knows of the clock of an engine, against messages that are sent again (RFC 3414, 2.3).
struct EngineClock {
  unsigned Boots = 0;
  unsigned Time = 0;
  std::time_t HeardAt = 0;  // by the library's own clock
  bool Authenticated = false;
};

struct LearntEngine {
  UsmUserKeys Keys;  // empty while the library has them
  EngineClock Clock;
};

class LearntEngines {
 public:
  explicit LearntEngines(std::size_t mostForOneUser) : most_(mostForOneUser) {}

  // Null for an engine that this user was not heard from.
  LearntEngine* Find(const std::string& user, const std::string& engineId);
  // The newest of its user from now on; forgets the oldest when there are too many.  True when it did.
  bool Add(const std::string& user, const std::string& engineId, LearntEngine engine);
  // It was heard again.
  void Renew(const std::string& user, const std::string& engineId);
  void Clear() { users_.clear(); }

 private:
  struct Entry {
    std::string EngineId;
    LearntEngine Engine;
  };
  struct User {
    std::list<Entry> Engines;  // the newest first
    std::unordered_map<std::string_view, std::list<Entry>::iterator> ById;
  };

  const std::size_t most_;
  std::unordered_map<std::string, User> users_;
};

}  // namespace korvane::receiver
