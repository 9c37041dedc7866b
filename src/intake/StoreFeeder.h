// The receiver library where the platform has none: follows the trap table and the change log on a thread and
// a connection of its own and queues what is new.  Its calls are made from the user-interface thread and
// touch no database. A lost database shows as an empty list; the thread tries again with growing pauses and
// misses nothing.  A store that is found in another state ends the thread and empties the list: its State
// says so, and whoever uses the feeder loads everything anew and starts it again.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "intake/NameResolver.h"
#include "intake/ReceiverLibrary.h"
#include "intake/StoreFollower.h"
#include "intake/StoreWorker.h"
#include "intake/TrapFollower.h"
#include "platform/Platform.h"
#include "store/Connection.h"

namespace korvane::intake {

inline constexpr std::int32_t kReceiverThreadFailed = 1;

inline constexpr std::string_view kMailRecipientValue = "KVMailRecipient";
inline constexpr std::string_view kMailDomainValue = "KVMailDomain";

// Opens a connection for the feeder; called on its thread, as often as the store is lost.  Throws
// DatabaseError.  Give it a command time-out where the driver knows one: a server that went mute is then
// noticed.
using OpenConnection = std::function<std::unique_ptr<store::Connection>()>;

struct StoreFeederOptions {
  std::chrono::milliseconds PollInterval{1000};
  std::chrono::milliseconds FirstRetry{1000};  // a quarter longer after each failure
  std::chrono::milliseconds LongestRetry{30'000};
  std::chrono::milliseconds StopPatience{5000};
  std::chrono::milliseconds ReceiversEvery{3000};   // how often the receivers' heartbeats are read
  std::size_t MostQueuedTraps = 20'000;             // beyond either bound the thread waits
  std::size_t MostQueuedBytes = 64U * 1024 * 1024;  // of the traps' texts
  TrapFollowerLimits Following;
  NameResolverLimits Resolving;
  std::chrono::milliseconds CheckInterval = std::chrono::minutes(1);  // see StoreLedger
  std::chrono::milliseconds MissingFor = StoreFollower::kMissingFor;
  // Asked on starting: the largest SequenceNumber before the console loaded what was there.  Without it a row
  // that is stored with an older time between that load and the feeder's first read counts as loaded.
  std::function<std::int32_t()> KnownNumber = [] { return std::numeric_limits<std::int32_t>::max(); };
  // Asked on starting too: the largest Change_ID at that moment.
  std::function<std::int32_t()> KnownChange = [] { return 0; };
  // And this: what the store was like at that moment.
  std::function<StoreAnchor()> KnownState = [] { return StoreAnchor(); };
  // And this, given the high-water mark: of the traps up to that number those of this time on are delivered.
  std::function<std::int32_t(std::int32_t)> From = [](std::int32_t mark) { return mark; };
  Worker::ThreadMaker MakeThread = Worker::MakeThread;
};

class StoreFeeder : public ReceiverLibrary {
 public:
  // mailSettings: what is configured, see ReadMailSettings.
  StoreFeeder(OpenConnection openConnection, std::shared_ptr<platform::HostNames> hostNames,
              MailSettings mailSettings, StoreFeederOptions options = {});
  ~StoreFeeder() override;

  // 2000 also when the thread runs already; 1 when no thread could be made.
  std::int32_t StartRecvEvents(std::int32_t highWaterMark) override;
  std::int32_t GetEventFromList(ReceivedTrap& trap) override;
  std::string_view NotesOfTrap() const override;  // as they were when the row was read
  bool TrapIsNew() const override;
  StoreNews TakeNews() override;
  bool MoreFollows() const override;  // a list: what one read found, or a part of it
  // Within StopPatience and a little: a call that hangs is cancelled, and when that does not help the thread
  // is left behind with what it owns, which answers 1.  What is still in the list is gone.
  std::int32_t StopRecvEvents() override;
  bool KVResolveSystemName(const std::string& address, std::string& name) override;
  // What is not configured is "localhost", this host's domain (looked up from the start on; "localhost"
  // until it is known and where there is none), and "root" at the domain.
  MailSettings GetDefaultMailSettings() override;

  LinkState State() const override;
  void TryNow() override;

 private:
  struct Shared;

  OpenConnection openConnection_;
  MailSettings mailSettings_;
  StoreFeederOptions options_;
  NameResolver resolver_;
  StoreWorker worker_;
  std::shared_ptr<Shared> shared_;  // what the thread and this object share
  StoreFollower::Progress taken_;   // taken from the queue, not yet handed out
  std::size_t nextTaken_ = 0;
  bool listEnds_ = false;  // its last trap was handed out, and that it is empty now was not said yet
  std::int32_t knownNumber_ = std::numeric_limits<std::int32_t>::max();
};

// The defaults of a mail action as the installation wrote them into the registry, in the strings
// KVSmtpServer, KVMailRecipient and KVMailDomain; empty where there are none.
MailSettings ReadMailSettings(platform::RegistryStore& registry);

}  // namespace korvane::intake
