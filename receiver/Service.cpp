#include "receiver/Service.h"

#include <fmt/format.h>
#include <malloc.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <future>
#include <limits>
#include <stdexcept>
#include <stop_token>
#include <system_error>
#include <thread>
#include <vector>

#include "receiver/Counters.h"
#include "receiver/alerts/Alerts.h"
#include "receiver/capture/Capture.h"
#include "receiver/snmp/AnswerQueue.h"
#include "receiver/snmp/Listener.h"
#include "receiver/snmp/SnmpLibrary.h"
#include "receiver/spool/Quarantine.h"
#include "receiver/spool/Spool.h"
#include "receiver/spool/Spooler.h"
#include "receiver/spool/TrapQueue.h"
#include "receiver/store/DatabaseTrapStore.h"
#include "receiver/store/Housekeeping.h"
#include "receiver/store/StoreWriter.h"

namespace korvane::receiver {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t kQueueBytes = std::size_t{64} << 20;
constexpr int kCountersSeconds = 60;
constexpr int kFullQueueWait = 20;  // milliseconds
constexpr auto kDrainPause = std::chrono::milliseconds(2);
// The console restarts the service with two seconds between stop and start, so a stop takes no longer where
// it can.  A ring that a storm has filled takes some seconds to decode, which is worth the wait; the unit
// lets a stop take longer than this.
constexpr auto kDrainTime = std::chrono::seconds(15);
constexpr auto kLastStoreTime = std::chrono::milliseconds(1000);
constexpr auto kStoreCallTime = std::chrono::milliseconds(500);

// A receiver runs for months: what a storm took must go back to the system afterwards.  The largest buffers
// do as they are freed, the rest once a minute (malloc_trim); between them what one packet of thousands of
// bindings takes for a moment, 11 MiB in small pieces, stays at hand.
void KeepMemoryLow() {
  mallopt(M_ARENA_MAX, 4);
  mallopt(M_MMAP_THRESHOLD, 4 << 20);
  mallopt(M_TRIM_THRESHOLD, 32 << 20);
}

// For those who look with "top -H"; the thread of the SNMP library has the process's name.
void NameThread(const char* name) {
  pthread_setname_np(pthread_self(), name);
}

sigset_t ServiceSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGUSR1, SIGUSR2, SIGHUP}) {
    sigaddset(&signals, signal);
  }
  return signals;
}

FileDescriptor OrThrow(int descriptor, const char* what) {
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return FileDescriptor(descriptor);
}

FileDescriptor MinuteTimer() {
  FileDescriptor timer = OrThrow(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "timer");
  itimerspec every{};
  every.it_interval.tv_sec = kCountersSeconds;
  every.it_value.tv_sec = kCountersSeconds;
  timerfd_settime(timer.Number(), 0, &every, nullptr);
  return timer;
}

class Service {
 public:
  Service(const Configuration& configuration, platform::RegistryStore& registry, ServiceLog& log);
  void Run();

 private:
  void ListenAll();
  void ReadAccess(bool again);
  void Loop();
  bool HasRoom() const { return queue_.HasRoom() && listener_.HasRoom(); }
  void ReactToSignal();
  void Drain();
  void LogCounters();
  store::ReceiverCondition Condition();

  const Configuration& configuration_;
  ServiceLog& log_;
  Counters counters_;
  FileDescriptor signals_;
  FileDescriptor timer_;
  Spool spool_;
  SnmpLibrary library_;
  PacketRing ring_;
  TrapQueue queue_{kQueueBytes};
  AnswerQueue answers_;
  WriteTurns turns_;
  DatabaseTrapStore store_{std::string(store::kDataSourceName),
                           [this](const std::string& text) { log_.Warning(text); }, &turns_};
  Alerts alerts_;
  StoreWriter writer_;
  MachineClocks clocks_;
  Housekeeping housekeeping_;
  Spooler spooler_;
  Listener listener_;
  Capture capture_;  // behind the sockets it takes from
  bool ending_ = false;
};

Service::Service(const Configuration& configuration, platform::RegistryStore& registry, ServiceLog& log)
    : configuration_(configuration),
      log_(log),
      timer_(MinuteTimer()),
      spool_(configuration.SpoolFolder),
      library_(configuration.SpoolFolder, spool_.State(), log),
      ring_(configuration.CaptureBytes),
      alerts_(std::string(store::kDataSourceName), registry, spool_, configuration, log, &turns_),
      writer_(spool_, store_, Quarantine(configuration.SpoolFolder / "quarantine.txt"), counters_, log,
              {.LongestPause = std::chrono::milliseconds(configuration.Group.empty() ? 5000 : 2000),
               .Stored = [this](std::span<const SpooledTrap> traps) { alerts_.Offer(traps); },
               .PassedOver = [this](std::span<const SpooledTrap> traps) { alerts_.PassOver(traps); },
               .Condition = [this] { return Condition(); },
               .Duty = {.Group = configuration.Group,
                        .AllSpooled = [this] { return ring_.Waiting() == 0 && queue_.Empty(); }}}),
      housekeeping_(std::string(store::kDataSourceName), configuration.Ages, clocks_,
                    configuration.SpoolFolder, log,
                    {.Waiting = [this] { return spool_.Waiting(); }, .Turns = &turns_}),
      spooler_(
          queue_, spool_, log, [this](const std::vector<std::uint64_t>& tokens) { answers_.Add(tokens); },
          [this] { return writer_.StoreAvailable(); }),
      listener_(library_, ring_, queue_, counters_, log),
      capture_(ring_, log) {
  const sigset_t signals = ServiceSignals();
  signals_ = OrThrow(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK), "signals");
}

void Service::Run() {
  if (const std::string problem = GroupProblem(configuration_.Group); !problem.empty()) {
    throw std::runtime_error(problem);  // alone it would store what the others store too
  }
  ReadAccess(false);
  if (const std::string problem = MailAccessProblem(configuration_.Mail); !problem.empty()) {
    log_.Error(fmt::format("no mail of an alert goes to {}: {}", configuration_.Mail.Server, problem));
  }
  listener_.RememberInforms(spool_.EarlierInforms());
  ListenAll();
  if (spool_.LostIdentity()) {
    log_.Warning(
        fmt::format("the file state of the spool was lost or damaged: this receiver has a new identity, and "
                    "stores what comes after trap {:016x}",
                    spool_.RememberedStored()));
  }
  if (const std::uint64_t waiting = spool_.Waiting(); waiting > 0) {
    log_.Info(fmt::format("{} traps of an earlier run wait in the spool", waiting));
  }
  std::promise<void> written;
  std::future<void> allWritten = written.get_future();
  std::thread writing([this, &written] {
    NameThread("writing");
    writer_.Run();
    written.set_value();
  });
  std::thread spooling([this] {
    NameThread("spooling");
    spooler_.Run();
  });
  std::stop_source stopKeeping;
  std::promise<void> kept;
  const std::future<void> allKept = kept.get_future();
  std::thread keeping([this, &stopKeeping, &kept] {
    NameThread("keeping");
    housekeeping_.Run(stopKeeping.get_token());
    kept.set_value();
  });
  capture_.Start();
  alerts_.Start();
  log_.Info("ready");
  sd_notify(0, "READY=1");
  Loop();
  sd_notify(0, "STOPPING=1");
  stopKeeping.request_stop();
  alerts_.RequestStop();
  Drain();
  queue_.Close();
  spooling.join();
  listener_.SendAnswers(answers_.TakeAll());
  writer_.Stop(kLastStoreTime);
  const auto until = steady_clock::now() + kLastStoreTime + kStoreCallTime;
  if (allWritten.wait_until(until) != std::future_status::ready ||
      allKept.wait_until(until) != std::future_status::ready || !alerts_.EndBy(until)) {
    // A call into the database or an action hangs and can't be taken back.  Everything is in the spool and
    // synced, and the store knows what it has, so the process may end at any point.
    log_.Warning("ending without waiting for the trap store or an action, which does not answer");
    LogCounters();
    _exit(0);
  }
  writing.join();
  keeping.join();
  LogCounters();
}

// An address that can't be opened (no IPv6 here, port taken) does not stop the others.
void Service::ListenAll() {
  bool any = false;
  for (const std::string& address : configuration_.ListenAddresses) {
    try {
      capture_.Add(listener_.Listen(address));
      any = true;
    } catch (const std::runtime_error& error) {
      log_.Error(error.what());
    }
  }
  if (!any) {
    throw std::runtime_error("there is no address to listen on");
  }
}

// What was admitted stays admitted, and nobody else, until the whole file can be read again.
void Service::ReadAccess(bool again) {
  SnmpAccess access = ReadSnmpAccess(configuration_.SnmpFile);
  for (const auto& texts : {access.Problems, access.Warnings}) {
    for (const std::string& text : texts) {
      log_.Error(fmt::format("{}: {}", configuration_.SnmpFile.string(), text));
    }
  }
  if (again && (!access.Problems.empty() || (!access.Found && library_.Access().Found))) {
    log_.Error(fmt::format("{}: not taken over, these stay: {}", configuration_.SnmpFile.string(),
                           library_.Access().Summary()));
    return;
  }
  const std::string summary = access.Summary();
  library_.SetAccess(std::move(access));
  log_.Info(summary);
}

void Service::Loop() {
  std::vector<pollfd> entries;
  while (!ending_) {
    entries.clear();
    for (const int descriptor : {signals_.Number(), timer_.Number(), answers_.Descriptor()}) {
      entries.push_back({.fd = descriptor, .events = POLLIN, .revents = 0});
    }
    // Without room for more the ring fills.
    const bool room = HasRoom();
    if (room) {
      entries.push_back({.fd = ring_.Descriptor(), .events = POLLIN, .revents = 0});
    }
    if (poll(entries.data(), entries.size(), room ? -1 : kFullQueueWait) < 0) {
      continue;  // interrupted
    }
    if (entries[0].revents != 0) {
      ReactToSignal();
    }
    std::uint64_t ticks = 0;
    if (entries[1].revents != 0 && read(timer_.Number(), &ticks, sizeof ticks) > 0) {
      LogCounters();
      malloc_trim(0);
    }
    if (entries[2].revents != 0) {
      listener_.SendAnswers(answers_.TakeAll());
    }
    if (room) {
      listener_.ReadPackets();
    }
  }
}

void Service::ReactToSignal() {
  signalfd_siginfo signal{};
  while (read(signals_.Number(), &signal, sizeof signal) == sizeof signal) {
    switch (static_cast<int>(signal.ssi_signo)) {
      case SIGUSR1:
        LogCounters();
        break;
      case SIGHUP:
        ReadAccess(true);
        break;
      case SIGUSR2:
        housekeeping_.ConfirmClock();
        break;
      default:
        ending_ = true;
    }
  }
}

// What was received before the stop: first from the kernel, then from the ring.
void Service::Drain() {
  capture_.Stop();
  const auto until = steady_clock::now() + kDrainTime;
  while (!ring_.ClosedAndEmpty() && steady_clock::now() < until) {
    if (!HasRoom() || !listener_.ReadPackets()) {
      std::this_thread::sleep_for(kDrainPause);
    }
    listener_.SendAnswers(answers_.TakeAll());
  }
  if (const std::uint64_t left = ring_.Waiting(); left > 0) {
    log_.Error(fmt::format("{} packets that were captured could not be taken in before the end", left));
  }
}

// For the consoles, from the writing thread.
store::ReceiverCondition Service::Condition() {
  const PacketLosses losses = capture_.Losses();
  const auto cut = [](auto number) {
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min<std::uint64_t>(kMost, static_cast<std::uint64_t>(number)));
  };
  return {
      .Dropped = cut(losses.ByKernel + losses.ByFullRing), .DroppedSince = cut(losses.Since), .DiskUsed = 0};
}

void Service::LogCounters() {
  listener_.TellLeftOut();
  const PacketLosses losses = capture_.Losses();
  log_.Info(CountersText(counters_, {.Spooled = writer_.SpooledCount(),
                                     .Waiting = spool_.Waiting(),
                                     .Captured = ring_.Waiting(),
                                     .DroppedByKernel = losses.ByKernel,
                                     .DroppedByFullRing = losses.ByFullRing,
                                     .AnswersLetGo = listener_.AnswersLetGo(),
                                     .DamagedRecords = spool_.DamagedRecords()}));
}

}  // namespace

void BlockServiceSignals() {
  const sigset_t signals = ServiceSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

int RunService(const Configuration& configuration, platform::RegistryStore& registry, ServiceLog& log) {
  KeepMemoryLow();
  try {
    Service service(configuration, registry, log);
    service.Run();
    return 0;
  } catch (const std::exception& error) {
    log.Error(fmt::format("the receiver can't run: {}", error.what()));
    return 1;
  }
}

}  // namespace korvane::receiver
