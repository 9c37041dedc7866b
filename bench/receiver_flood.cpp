// What a hostile sender can make of the receiver: how much memory it takes at its highest and afterwards, how
// long a packet holds the decoding thread, how many lines reach the log.  The limit beside it: the bytes
// that were sent.
//
//   bench_receiver_flood [small] [FOLDER]      small: a tenth of everything; FOLDER: a spool of its own, one
//   on
//                                              a full disk for example

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "receiver/Running.h"
#include "support/TestStore.h"

namespace {

using namespace korvane;
using namespace std::string_literals;
using receiver::PacketSender;
using receiver::RunningReceiver;

constexpr std::string_view kUsers =
    "createUser both SHA-256 authpass1 AES privpass1\n"
    "createUser open\n";

// A figure of /proc/PID/status in MiB.
double Status(pid_t process, std::string_view name) {
  const std::string text = test::ReadFile(fmt::format("/proc/{}/status", process));
  const std::size_t at = text.find(name);
  return at == std::string::npos ? 0 : std::stod(text.substr(at + name.size())) / 1024;
}

double CpuMilliseconds(pid_t process) {
  const std::string text = test::ReadFile(fmt::format("/proc/{}/schedstat", process));
  return std::stod(text) / 1e6;  // of the main thread, which decodes
}

// A v3 message without authentication.
std::string V3Message(std::string_view user, std::string_view engineId, std::string_view pdu) {
  using namespace std::string_literals;
  using receiver::Ber;
  using receiver::BerNumber;
  const std::string header = Ber(0x30, BerNumber(1) + BerNumber(65507) + Ber(0x04, "\0"s) + BerNumber(3));
  const std::string security = Ber(0x30, Ber(0x04, engineId) + BerNumber(1) + BerNumber(1) + Ber(0x04, user) +
                                             Ber(0x04, "") + Ber(0x04, ""));
  return Ber(0x30, BerNumber(3) + header + Ber(0x04, security) +
                       Ber(0x30, (Ber(0x04, engineId) + Ber(0x04, "")).append(pdu)));
}

struct Flood {
  std::string_view Name;
  int Packets;
  std::function<std::string(int)> Make;
  bool StoreLocked = false;
  int Burst = 20;  // packets between two pauses of 2 ms
};

void Run(const Flood& flood, const std::string& spool) {
  test::SqliteStore store;
  RunningReceiver running(kUsers, spool.empty() ? spool : fmt::format("\"KVSpoolDir\"=\"{}\"\n", spool));
  if (!running.Start()) {
    fmt::print(stderr, "the receiver does not start:\n{}", running.Log());
    std::exit(1);
  }
  if (flood.StoreLocked) {
    store.Db().BeginTransaction();
    store.Execute("UPDATE EventTrap SET EventNotes = 'locked'");
  }
  const auto linesOf = [&] {
    const std::string log = running.Log();
    return std::count(log.begin(), log.end(), '\n');
  };
  const auto linesBefore = linesOf();
  const double cpuBefore = CpuMilliseconds(running.Process());
  PacketSender sender(running.Port());
  int answers = 0;
  double sentBytes = 0;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < flood.Packets; ++i) {
    const std::string packet = flood.Make(i);
    sentBytes += static_cast<double>(packet.size());
    sender.Send(packet);
    if (i % flood.Burst == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    while (!sender.Next().empty()) ++answers;
  }
  std::map<std::string, std::uint64_t> counters;
  std::uint64_t before = 1;
  test::WaitUntil(
      [&] {
        while (!sender.Next().empty()) ++answers;
        counters = running.Counters();
        const std::uint64_t seen =
            counters["received"] + counters["malformed"] + counters["informs repeated"];
        const bool ended = seen == std::exchange(before, seen) && counters["captured"] == 0 &&
                           (flood.StoreLocked || counters["waiting"] == 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return ended;
      },
      std::chrono::seconds(120));
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const auto lines = linesOf() - linesBefore;
  const std::string log = running.Log();
  const auto counterLines = [&] {
    int count = 0;
    for (std::size_t at = log.find("counters: "); at != std::string::npos;
         at = log.find("counters: ", at + 1))
      ++count;
    return count;
  }();
  const double handled = static_cast<double>(std::max<std::uint64_t>(1, before));
  fmt::print(
      "{}\n  {} packets, {:.1f} MiB, {:.1f} s; received {}, repeated {}, malformed {}, dropped by the kernel "
      "{}, by a full ring {}, answers {}\n"
      "  memory: highest {:.0f} MiB, at the end {:.0f} MiB; {:.3f} ms of the decoding thread a packet; "
      "{} lines in the log\n",
      flood.Name, flood.Packets, sentBytes / 1048576, seconds, counters["received"],
      counters["informs repeated"], counters["malformed"], counters["dropped by the kernel"],
      counters["dropped by a full ring"], answers, Status(running.Process(), "VmHWM:"),
      Status(running.Process(), "VmRSS:"), (CpuMilliseconds(running.Process()) - cpuBefore) / handled,
      lines - counterLines);
  std::fflush(stdout);
  if (flood.StoreLocked) store.Db().Commit();
  running.End(SIGKILL);
}

}  // namespace

int main(int argc, char** argv) {
  int divisor = 1;
  std::string spool;
  std::string only;
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]).starts_with("only="))
      only = argv[i] + 5;
    else if (argv[i] == "small"s)
      divisor = 10;
    else
      spool = argv[i];
  }
  const std::string bindings = receiver::SmallestBindings(9300);
  const auto inform = [&](std::uint32_t id) {
    return receiver::V2Message(receiver::NotificationPdu(receiver::kInform, id, bindings));
  };
  const auto engine = [](int i) { return fmt::format("\x80{:08x}", i); };
  const std::string text(60000, '\x01');
  const Flood floods[] = {
      {"informs of 64 KiB with 9,300 bindings", 300 / divisor,
       [&](int i) { return inform(static_cast<std::uint32_t>(i)); }},
      {"20 of them, each sent 16 times", 320 / divisor,
       [&](int i) { return inform(static_cast<std::uint32_t>(i % 20)); }},
      {"informs of 64 KiB, the store locked", 3000 / divisor,
       [&](int i) { return inform(static_cast<std::uint32_t>(i)); }, true},
      {"informs of 60,000 octets, the store locked", 6000 / divisor,
       [&](int i) {
         return receiver::V2Message(receiver::NotificationPdu(
             receiver::kInform, static_cast<std::uint32_t>(i),
             receiver::Ber(0x30,
                           receiver::Ber(0x06, "\x2B\x06\x01\x04\x01\x63\x01") + receiver::Ber(0x04, text))));
       },
       true},
      {"informs of a hundred octets, the store locked", 400'000 / divisor,
       [&](int i) {
         return receiver::V2Message(receiver::NotificationPdu(
             receiver::kInform, static_cast<std::uint32_t>(i), receiver::SmallestBindings(1)));
       },
       true, 60},
      {"traps of a hundred octets, the store locked", 400'000 / divisor,
       [&](int i) {
         return receiver::V2Message(receiver::NotificationPdu(receiver::kTrap2, static_cast<std::uint32_t>(i),
                                                              receiver::SmallestBindings(1)));
       },
       true, 60},
      {"traps of a user without authentication from invented engines", 100'000 / divisor,
       [&](int i) {
         return V3Message("open", engine(i),
                          receiver::NotificationPdu(receiver::kTrap2, static_cast<std::uint32_t>(i), ""));
       }},
      {"traps of a user with authentication, without it, from invented engines", 100'000 / divisor,
       [&](int i) {
         return V3Message("both", engine(i),
                          receiver::NotificationPdu(receiver::kTrap2, static_cast<std::uint32_t>(i), ""));
       }},
      {"traps of an unknown user from invented engines", 100'000 / divisor,
       [&](int i) {
         return V3Message("nobody", engine(i),
                          receiver::NotificationPdu(receiver::kTrap2, static_cast<std::uint32_t>(i), ""));
       }},
      {"packets with a type that is none", 20'000 / divisor,
       [&](int i) {
         return receiver::V2Message(receiver::NotificationPdu(0xAF, static_cast<std::uint32_t>(i), ""));
       }},
  };
  const std::string folder = spool.empty() ? spool : spool + "/flood";
  for (const Flood& flood : floods) {
    if (flood.Name.find(only) == std::string_view::npos) continue;
    Run(flood, folder);
    if (!folder.empty()) std::filesystem::remove_all(folder);
  }
  return 0;
}
