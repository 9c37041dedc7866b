#include "intake/StoreFeeder.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <stop_token>
#include <utility>

#include "common/RegistryValues.h"
#include "store/DatabaseError.h"
#include "store/Heartbeats.h"
#include "store/Retry.h"

namespace korvane::intake {

namespace {

constexpr std::chrono::milliseconds kResolverPatience{250};
// Handed out without a pause in which windows are painted.
constexpr std::size_t kTrapsOfAList = 4000;

std::string RegistryText(platform::RegistryStore& registry, std::string_view valueName) {
  std::string text;
  GetRegistryValue(registry, platform::RegistryHive::LocalMachine, kManagerKey, valueName, text);
  return text;
}

}  // namespace

struct StoreFeeder::Shared {
  std::mutex Mutex;
  std::condition_variable_any Changed;
  std::deque<StoreFollower::Progress> Queue;  // one entry for each read, never an empty one
  std::size_t QueuedTraps = 0;
  std::size_t QueuedBytes = 0;
  bool Hurry = false;  // the pause that goes on ends now
  LinkBoard Link;

  // Waits for room; false when the thread is to stop instead.
  bool Put(StoreFollower::Progress read, const StoreFeederOptions& options, std::stop_token stop) {
    std::unique_lock lock(Mutex);
    if (read.Empty()) {
      return !stop.stop_requested();
    }
    const bool room = Changed.wait(lock, stop, [&] {
      return QueuedTraps < options.MostQueuedTraps && QueuedBytes < options.MostQueuedBytes;
    });
    if (!room) {
      return false;
    }
    QueuedTraps += read.Traps.size();
    QueuedBytes += read.Bytes;
    Queue.push_back(std::move(read));
    return true;
  }

  StoreFollower::Progress Take() {
    const std::lock_guard lock(Mutex);
    if (Queue.empty()) {
      return {};
    }
    StoreFollower::Progress read = std::move(Queue.front());
    Queue.pop_front();
    QueuedTraps -= read.Traps.size();
    QueuedBytes -= read.Bytes;
    Changed.notify_all();
    return read;
  }

  // What is queued has the numbers of another state.
  void EndForGood() {
    const std::lock_guard lock(Mutex);
    Queue.clear();
    QueuedTraps = 0;
    QueuedBytes = 0;
    Link.Replaced();
  }

  void Pause(std::chrono::milliseconds length, std::stop_token stop) {
    std::unique_lock lock(Mutex);
    Changed.wait_for(lock, stop, length, [this] { return Hurry; });
    Hurry = false;
  }

  void LookAtReceivers(store::Connection& connection) {
    try {
      Link.ReceiversRead(store::ReadHeartbeats(connection));
    } catch (const store::DatabaseError&) {
      if (!connection.IsOpen()) {
        throw;
      }
    }
  }

  bool FollowOnce(store::Connection& connection, StoreFollower& follower, const StoreFeederOptions& options,
                  std::stop_token stop);
  void Follow(const OpenConnection& open, StoreFollower follower, const StoreFeederOptions& options,
              std::stop_token stop, CancellableConnection& cancellable);
};

// Around what may wait for the store.
class BoardedCall {
 public:
  explicit BoardedCall(LinkBoard& board) : board_(board) { board_.CallBegins(); }
  ~BoardedCall() { board_.CallEnds(); }
  BoardedCall(const BoardedCall&) = delete;
  BoardedCall& operator=(const BoardedCall&) = delete;

 private:
  LinkBoard& board_;
};

// False when there is nothing more to follow.
bool StoreFeeder::Shared::FollowOnce(store::Connection& connection, StoreFollower& follower,
                                     const StoreFeederOptions& options, std::stop_token stop) {
  StoreFollower::Progress read = [&] {
    const BoardedCall call(Link);
    return store::RetriedOnce(connection,
                              [&] { return follower.Read(connection, std::chrono::steady_clock::now()); });
  }();
  Link.Works();
  if (read.Replaced) {
    EndForGood();
    return false;
  }
  Link.Followed({.HighestNumber = std::max<std::int64_t>(follower.Traps().HighestNumber(), 0),
                 .GivenUp = follower.Traps().GivenUp(),
                 .MissingFor = read.MissingFor});
  const bool more = read.More;
  if (Put(std::move(read), options, stop) && !more) {
    Pause(options.PollInterval, stop);
  }
  return true;
}

// The thread's life.  Whatever fails, the connection is thrown away and the follower goes on where it was.
void StoreFeeder::Shared::Follow(const OpenConnection& open, StoreFollower follower,
                                 const StoreFeederOptions& options, std::stop_token stop,
                                 CancellableConnection& cancellable) {
  std::shared_ptr<store::Connection> connection;
  std::chrono::milliseconds retry = options.FirstRetry;
  std::chrono::steady_clock::time_point nextLook;
  while (!stop.stop_requested()) {
    try {
      if (!connection) {
        const BoardedCall call(Link);
        connection = open();
        cancellable.Use(connection);
      }
      const auto now = std::chrono::steady_clock::now();
      if (now >= nextLook) {
        const BoardedCall call(Link);
        LookAtReceivers(*connection);
        nextLook = now + options.ReceiversEvery;
      }
      if (!FollowOnce(*connection, follower, options, stop)) {  // last: what it read is not read again
        return;
      }
      retry = options.FirstRetry;
    } catch (const std::exception& error) {
      Link.Failed(error, retry);
      cancellable.Use(nullptr);
      connection.reset();
      Pause(retry, stop);
      // So that a console is blind for little more than a quarter longer than the store was away.
      retry = std::min(retry + retry / 4, options.LongestRetry);
    }
  }
}

StoreFeeder::StoreFeeder(OpenConnection openConnection, std::shared_ptr<platform::HostNames> hostNames,
                         MailSettings mailSettings, StoreFeederOptions options)
    : openConnection_(std::move(openConnection)),
      mailSettings_(std::move(mailSettings)),
      options_(std::move(options)),
      resolver_(std::move(hostNames), options_.Resolving),
      worker_(options_.MakeThread) {}

StoreFeeder::~StoreFeeder() {
  StoreFeeder::StopRecvEvents();
}

std::int32_t StoreFeeder::StartRecvEvents(std::int32_t highWaterMark) {
  if (worker_.Running()) {
    return kReceiverThreadOk;
  }
  GetDefaultMailSettings();  // has the domain looked up, so that it is known when a dialog asks
  taken_ = {};
  nextTaken_ = 0;
  shared_ = std::make_shared<Shared>();
  knownNumber_ = options_.KnownNumber();
  const StoreFollower follower(
      TrapFollower(options_.From(highWaterMark), options_.Following, knownNumber_, options_.KnownState()),
      options_.KnownChange(), options_.CheckInterval, options_.MissingFor);
  const bool started = worker_.Start([shared = shared_, open = openConnection_, follower, options = options_](
                                         std::stop_token stop, CancellableConnection& cancellable) {
    shared->Follow(open, follower, options, std::move(stop), cancellable);
  });
  return started ? kReceiverThreadOk : kReceiverThreadFailed;
}

std::int32_t StoreFeeder::GetEventFromList(ReceivedTrap& trap) {
  if (std::exchange(listEnds_, false)) {
    return 0;
  }
  if (nextTaken_ == taken_.Traps.size()) {
    if (!taken_.News.Empty()) {
      return 0;  // the news come before what was read later
    }
    nextTaken_ = 0;
    taken_ = shared_ ? shared_->Take() : StoreFollower::Progress{};
    if (taken_.Traps.empty()) {
      return 0;
    }
  }
  trap = std::move(taken_.Traps[nextTaken_++]);
  listEnds_ = nextTaken_ == taken_.Traps.size() || nextTaken_ % kTrapsOfAList == 0;
  return 1;
}

std::string_view StoreFeeder::NotesOfTrap() const {
  if (nextTaken_ == 0) {
    return {};
  }
  const auto notes = taken_.Notes.find(taken_.Traps[nextTaken_ - 1].SequenceNumber);
  return notes != taken_.Notes.end() ? std::string_view(notes->second) : std::string_view();
}

bool StoreFeeder::TrapIsNew() const {
  return nextTaken_ == 0 || knownNumber_ == std::numeric_limits<std::int32_t>::max() ||
         taken_.Traps[nextTaken_ - 1].SequenceNumber > knownNumber_;
}

StoreNews StoreFeeder::TakeNews() {
  return nextTaken_ == taken_.Traps.size() ? std::exchange(taken_.News, {}) : StoreNews{};
}

bool StoreFeeder::MoreFollows() const {
  if (nextTaken_ == 0 || !shared_) {
    return false;
  }
  if (nextTaken_ < taken_.Traps.size()) {
    return nextTaken_ % kTrapsOfAList == 0;
  }
  const std::lock_guard lock(shared_->Mutex);
  return taken_.More || !shared_->Queue.empty();
}

std::int32_t StoreFeeder::StopRecvEvents() {
  const bool ended = worker_.Stop(options_.StopPatience);
  shared_.reset();
  taken_ = {};
  nextTaken_ = 0;
  resolver_.Stop(kResolverPatience);
  return ended ? kReceiverThreadOk : kReceiverThreadFailed;
}

bool StoreFeeder::KVResolveSystemName(const std::string& address, std::string& name) {
  return resolver_.Resolve(address, name);
}

LinkState StoreFeeder::State() const {
  return shared_ ? shared_->Link.State() : LinkState{};
}

void StoreFeeder::TryNow() {
  if (shared_) {
    const std::lock_guard lock(shared_->Mutex);
    shared_->Hurry = true;
    shared_->Changed.notify_all();
  }
}

MailSettings StoreFeeder::GetDefaultMailSettings() {
  MailSettings settings = mailSettings_;
  if (settings.SmtpServer.empty()) {
    settings.SmtpServer = "localhost";
  }
  if (settings.Domain.empty() && !resolver_.DomainOfThisHost(settings.Domain)) {
    settings.Domain = "localhost";  // an address without a domain is refused by every mail server
  }
  if (settings.Recipient.empty()) {
    settings.Recipient = "root@" + settings.Domain;
  }
  return settings;
}

MailSettings ReadMailSettings(platform::RegistryStore& registry) {
  return {.SmtpServer = RegistryText(registry, kSmtpServerValue),
          .Recipient = RegistryText(registry, kMailRecipientValue),
          .Domain = RegistryText(registry, kMailDomainValue)};
}

}  // namespace korvane::intake
