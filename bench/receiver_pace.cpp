// Traps at a steady pace to a receiver that stores them into an embedded store, and what became of each.  The
// limit is taken in the same run: rows of the same size inserted into such a store by nothing but a loop.
//
//   bench_receiver_pace [TRAPS_PER_SECOND [SECONDS]]      20000 and 30 unless given

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "receiver/Running.h"
#include "store/BatchInsert.h"
#include "store/Connection.h"
#include "store/Tables.h"
#include "support/TestStore.h"

namespace {

using namespace korvane;
using std::chrono::steady_clock;

constexpr std::string_view kNumberField = "0000000000";

double Since(steady_clock::time_point start) {
  return std::chrono::duration<double>(steady_clock::now() - start).count();
}

// linkDown as a switch sends it, with a number that makes each one different.
std::string LinkDown() {
  using namespace std::string_literals;
  const auto binding = [](std::string_view oid, std::string_view value) {
    return receiver::Ber(0x30, receiver::Ber(0x06, oid) + std::string(value));
  };
  const auto column = [](char number) { return "\x2B\x06\x01\x02\x01\x02\x02\x01"s + number + '\x0C'; };
  const std::string bindings =
      binding("\x2B\x06\x01\x02\x01\x01\x03\x00"s, receiver::Ber(0x43, "\x01\x00\x00"s)) +
      binding("\x2B\x06\x01\x06\x03\x01\x01\x04\x01\x00"s,
              receiver::Ber(0x06, "\x2B\x06\x01\x06\x03\x01\x01\x05\x03"s)) +
      binding(column(1), receiver::Ber(0x02, "\x0C")) +
      binding(column(2), receiver::Ber(0x04, "TenGigE0/0/0/" + std::string(kNumberField))) +
      binding(column(7), receiver::Ber(0x02, "\x01")) + binding(column(8), receiver::Ber(0x02, "\x02"));
  const std::string pdu = receiver::Ber(0xA7, receiver::Ber(0x02, "\x01") + receiver::Ber(0x02, "\0"s) +
                                                  receiver::Ber(0x02, "\0"s) + receiver::Ber(0x30, bindings));
  return receiver::Ber(0x30, receiver::Ber(0x02, "\x01") + receiver::Ber(0x04, "public") + pdu);
}

// Sends at the pace, a few packets every millisecond in one call; how many.
std::uint64_t SendPaced(std::uint16_t port, std::uint64_t perSecond, int seconds) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  to.sin_port = htons(port);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) std::abort();
  constexpr std::size_t kMost = 256;
  const std::string packet = LinkDown();
  const std::size_t numberAt = packet.find(kNumberField);
  std::vector<std::string> packets(kMost, packet);
  std::array<iovec, kMost> parts{};
  std::array<mmsghdr, kMost> messages{};
  for (std::size_t i = 0; i < kMost; ++i) {
    parts[i] = {packets[i].data(), packets[i].size()};
    messages[i].msg_hdr.msg_iov = &parts[i];
    messages[i].msg_hdr.msg_iovlen = 1;
  }
  const std::uint64_t total = perSecond * static_cast<std::uint64_t>(seconds);
  std::uint64_t sent = 0;
  const auto start = steady_clock::now();
  while (sent < total) {
    const auto due =
        std::min(total, static_cast<std::uint64_t>(Since(start) * static_cast<double>(perSecond)));
    while (sent < due) {
      const std::size_t count = std::min<std::size_t>(kMost, due - sent);
      for (std::size_t i = 0; i < count; ++i) {
        fmt::format_to(packets[i].data() + numberAt, "{:010}", sent + i);
      }
      const int done = sendmmsg(descriptor, messages.data(), static_cast<unsigned>(count), 0);
      if (done <= 0) std::abort();
      sent += static_cast<std::uint64_t>(done);
    }
    const timespec pause = {.tv_sec = 0, .tv_nsec = 1'000'000};
    nanosleep(&pause, nullptr);
  }
  close(descriptor);
  return sent;
}

// Seconds for the same rows by a bare loop of transactions of 1,000.
double BareInsert(std::uint64_t rows) {
  test::SqliteStore source;
  store::Connection connection;
  source.Connect(connection);
  constexpr std::array<std::string_view, 9> kColumns = {"EventTime",      "Source",       "EnterpriseOid",
                                                        "GenericTrap",    "SpecificTrap", "EventDescription",
                                                        "Event_ExtDescr", "EventNotes",   "EventAck"};
  const auto start = steady_clock::now();
  store::BatchInsert batch(connection, store::kEventTrap, kColumns);
  for (std::uint64_t first = 0; first < rows; first += 1000) {
    store::Transaction transaction(connection);
    for (std::uint64_t i = first; i < std::min(rows, first + 1000); ++i) {
      const std::string text = fmt::format(
          "ifIndex.12 = 12; ifDescr.12 = TenGigE0/0/0/{:010}; ifAdminStatus.12 = 1; ifOperStatus.12 = 2", i);
      const std::array<store::BatchInsert::Value, kColumns.size()> row = {
          1'700'000'000, "127.0.0.1", "1.3.6.1.6.3.1.1.5", 2, 0, text, "", "", 0};
      batch.Add(row);
    }
    batch.Flush();
    transaction.Commit();
  }
  return Since(start);
}

double CpuSeconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

int main(int argc, char** argv) {
  const std::uint64_t perSecond = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20'000;
  const int seconds = argc > 2 ? std::atoi(argv[2]) : 30;
  const std::uint64_t planned = perSecond * static_cast<std::uint64_t>(seconds);
  const double bare = BareInsert(planned);

  test::SqliteStore source;
  receiver::RunningReceiver running;
  if (!running.Start()) {
    fmt::print(stderr, "the receiver does not start:\n{}", running.Log());
    return 1;
  }
  const auto start = steady_clock::now();
  const std::uint64_t sent = SendPaced(running.Port(), perSecond, seconds);
  const double sending = Since(start);
  const auto atTheEnd = running.Counters();
  auto counters = atTheEnd;
  test::WaitUntil(
      [&] {
        counters = running.Counters();
        return counters["waiting"] == 0 && counters["received"] + counters["dropped by the kernel"] >= sent;
      },
      std::chrono::seconds(300));
  const double whole = Since(start);
  running.End(SIGTERM);
  const auto rows = static_cast<std::uint64_t>(source.Number("SELECT COUNT(*) FROM EventTrap"));
  const auto different =
      static_cast<std::uint64_t>(source.Number("SELECT COUNT(DISTINCT EventDescription) FROM EventTrap"));

  fmt::print("sent                     {:>9} in {:.1f} s, {:.0f} a second\n", sent, sending,
             static_cast<double>(sent) / sending);
  fmt::print("received                 {:>9}\n", counters["received"]);
  fmt::print("stored                   {:>9}, {} of them different\n", rows, different);
  fmt::print("lost                     {:>9}, dropped by the kernel {}\n", sent - std::min(sent, rows),
             counters["dropped by the kernel"]);
  fmt::print("waiting at the end       {:>9}, all stored {:.1f} s later\n", atTheEnd.at("waiting"),
             whole - sending);
  fmt::print("receiver's CPU time      {:>9.1f} s, {:.1f} us a trap\n", CpuSeconds(RUSAGE_CHILDREN),
             CpuSeconds(RUSAGE_CHILDREN) * 1e6 / static_cast<double>(std::max<std::uint64_t>(1, rows)));
  fmt::print("limit: bare inserts      {:>9} in {:.1f} s, {:.0f} a second\n", planned, bare,
             static_cast<double>(planned) / bare);
  fmt::print("pace / limit             {:>9.2f}\n",
             static_cast<double>(rows) / whole * bare / static_cast<double>(planned));
  return rows == sent ? 0 : 1;
}
