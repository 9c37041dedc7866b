// The service library `KvsIns`, which hands each newly stored trap to the console, as five calls.  Where the
// platform has none, StoreFeeder takes its place.  The library works on threads of its own; its calls are
// made from the user-interface thread and never block it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "intake/LinkState.h"
#include "intake/StoreNews.h"

namespace korvane::intake {

inline constexpr std::int32_t kReceiverThreadOk = 2000;

// The fields of the library's fixed record, texts in UTF-8 but otherwise as delivered: a text may carry a
// fixed buffer's tail behind its first NUL.
struct ReceivedTrap {
  std::string Source;
  std::string EnterpriseOid;
  std::int32_t SpecificTrap = 0;
  std::string VarBindsFirst;
  std::string VarBindsSecond;
  std::int32_t SequenceNumber = 0;
  std::string EventDescription;
  std::int32_t GenericTrap = 0;
  std::int32_t EventTime = 0;
  std::int32_t TimeKey = 0;  // in the units of the store's EventTime column
};

struct MailSettings {
  std::string SmtpServer;
  std::string Recipient;
  std::string Domain;
};

class ReceiverLibrary {
 public:
  virtual ~ReceiverLibrary() = default;
  virtual std::int32_t StartRecvEvents(std::int32_t highWaterMark) = 0;  // 2000: the thread runs
  virtual std::int32_t GetEventFromList(ReceivedTrap& trap) = 0;         // 0: the list is empty
  virtual std::int32_t StopRecvEvents() = 0;                             // 2000: the thread has stopped
  // Not one of the library's calls: the notes stored with the trap that was handed out last, for which the
  // record has no place.  Holds until the next one; empty where whoever delivers does not know them.
  virtual std::string_view NotesOfTrap() const { return {}; }
  // Nor is this: false when the trap handed out last was stored before the start, and comes from the list
  // only because the first load ends below its second.  It does not count as one that arrives.
  virtual bool TrapIsNew() const { return true; }
  // Nor this: once the list is empty, what was changed in the store meanwhile; asked until there is nothing.
  // The list may go on after it.
  virtual StoreNews TakeNews() { return {}; }
  // Nor this: asked when the list is empty, whether there will be more of it at once.  A library that hands
  // out a long list in portions lets the windows paint between them.
  virtual bool MoreFollows() const { return false; }
  // Nor are these: how the link to the store is doing, and to try at once what waits for its next try.
  virtual LinkState State() const { return {}; }
  virtual void TryNow() {}
  // The name of a system known by its address; false when it is not known (yet): a later call may succeed.
  // Given a name instead of an address, a library may answer with the address of that name.
  virtual bool KVResolveSystemName(const std::string& address, std::string& name) = 0;
  virtual MailSettings GetDefaultMailSettings() = 0;
};

}  // namespace korvane::intake
