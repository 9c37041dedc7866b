// Traps at a steady pace to a receiver that stores them into an embedded store, and what became of each.
// Beside it, in the same run: rows of the same size inserted into such a store by nothing but a loop, and the
// same packets to a bare trap daemon that only writes lines into a file (where it is installed: snmptrapd).
//
//   bench_receiver_pace [TRAPS_PER_SECOND [SECONDS [busy]]]     20000 and 30 unless given
//   bench_receiver_pace storm      60,000/s for 60 s, the same beside two busy loops, 200,000/s for 5 s
//
// The sender runs on the same machine and processors.

#include <sys/prctl.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
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
// Enough to know its pace; as many as are sent would take as long again as the run.
constexpr std::uint64_t kMostBareRows = 300'000;
constexpr int kMostDaemonSeconds = 10;

struct Pace {
  std::uint64_t PerSecond = 20'000;
  int Seconds = 30;
  bool Busy = false;  // two loops that do nothing but take processors

  std::uint64_t Planned() const { return PerSecond * static_cast<std::uint64_t>(Seconds); }
};

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

void WriteNumber(char* digits, std::uint64_t number) {
  for (std::size_t i = kNumberField.size(); i-- > 0; number /= 10) {
    digits[i] = static_cast<char>('0' + number % 10);
  }
}

// Sends at the pace, a few packets every millisecond in one call; how many.
std::uint64_t SendPaced(std::uint16_t port, const Pace& pace) {
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
  std::uint64_t sent = 0;
  const auto start = steady_clock::now();
  while (sent < pace.Planned()) {
    const auto due = std::min(pace.Planned(),
                              static_cast<std::uint64_t>(Since(start) * static_cast<double>(pace.PerSecond)));
    while (sent < due) {
      const std::size_t count = std::min<std::size_t>(kMost, due - sent);
      for (std::size_t i = 0; i < count; ++i) WriteNumber(packets[i].data() + numberAt, sent + i);
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

// Rows a second by a bare loop of transactions of 1,000.
double BareInserts(std::uint64_t rows) {
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
  return static_cast<double>(rows) / Since(start);
}

// Seconds of processor time of each thread by its name; those of the same name together.
std::map<std::string, double> ThreadSeconds(pid_t process) {
  std::map<std::string, double> seconds;
  for (const auto& thread : std::filesystem::directory_iterator(fmt::format("/proc/{}/task", process))) {
    const bool main = thread.path().filename() == std::to_string(process);
    std::string name = main ? "decoding" : test::ReadFile(thread.path() / "comm");
    while (name.ends_with('\n')) name.pop_back();
    seconds[name == "kvreceiver" ? "others" : name] +=
        std::stod(test::ReadFile(thread.path() / "schedstat")) / 1e9;
  }
  return seconds;
}

class BusyLoops {
 public:
  explicit BusyLoops(bool wanted) {
    for (int i = 0; wanted && i < 2; ++i) {
      const pid_t child = fork();
      if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (volatile unsigned turns = 0;;) turns = turns + 1;
      }
      children_.push_back(child);
    }
  }
  ~BusyLoops() {
    for (const pid_t child : children_) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }
  BusyLoops(const BusyLoops&) = delete;
  BusyLoops& operator=(const BusyLoops&) = delete;

 private:
  std::vector<pid_t> children_;
};

std::uint64_t LinesOf(const std::filesystem::path& file) {
  const std::string text = test::ReadFile(file);
  return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

double Percent(std::uint64_t part, std::uint64_t whole) {
  return 100.0 * static_cast<double>(part) / static_cast<double>(std::max<std::uint64_t>(1, whole));
}

std::string Daemon() {
  const char* path = std::getenv("PATH");
  std::istringstream folders(fmt::format("{}:/usr/sbin", path == nullptr ? "" : path));
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (std::filesystem::exists(folder + "/snmptrapd")) return folder + "/snmptrapd";
  }
  return {};
}

// The same packets to the daemon, with the receive buffer that the receiver asks for.
void RunDaemon(Pace pace) {
  const std::string program = Daemon();
  if (program.empty()) {
    fmt::print("snmptrapd into a file    not installed, not measured\n");
    return;
  }
  pace.Seconds = std::min(pace.Seconds, kMostDaemonSeconds);
  const test::TempFolder folder;
  const std::filesystem::path lines = folder / "lines";
  test::WriteFile(folder / "conf", "disableAuthorization yes\n");
  const std::uint16_t port = test::FreePort(AF_INET);
  const pid_t daemon = receiver::Spawn({program, "-f", "-n", "-On", "--serverRecvBuf=33554432", "-C", "-c",
                                        (folder / "conf").string(), "-Lf", lines.string(), "-F",
                                        "%B %N %w %q %v\n", fmt::format("udp:127.0.0.1:{}", port)});
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const std::uint64_t before = LinesOf(lines);
  std::uint64_t sent = 0;
  {
    const BusyLoops busy(pace.Busy);
    sent = SendPaced(port, pace);
  }
  std::uint64_t written = 0;
  std::uint64_t earlier = 1;
  test::WaitUntil(
      [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        written = LinesOf(lines) - before;
        return std::exchange(earlier, written) == written;
      },
      std::chrono::seconds(120));
  const double cpu = std::stod(test::ReadFile(fmt::format("/proc/{}/schedstat", daemon))) / 1e9;
  kill(daemon, SIGTERM);
  waitpid(daemon, nullptr, 0);
  fmt::print("snmptrapd into a file    {:>9} of {} in {} s, {:.1f} % lost; {:.1f} us a trap\n", written, sent,
             pace.Seconds, Percent(sent - std::min(sent, written), sent),
             cpu * 1e6 / static_cast<double>(std::max<std::uint64_t>(1, written)));
}

// True when nothing was lost.
bool RunReceiver(const Pace& pace, double bareRows) {
  test::SqliteStore source;
  receiver::RunningReceiver running;
  if (!running.Start()) {
    fmt::print(stderr, "the receiver does not start:\n{}", running.Log());
    return false;
  }
  const auto start = steady_clock::now();
  std::uint64_t sent = 0;
  {
    const BusyLoops busy(pace.Busy);
    sent = SendPaced(running.Port(), pace);
  }
  const double sending = Since(start);
  const auto atTheEnd = running.Counters();
  auto counters = atTheEnd;
  test::WaitUntil(
      [&] {
        counters = running.Counters();
        return counters["waiting"] + counters["captured"] == 0 &&
               counters["received"] + counters["dropped by the kernel"] +
                       counters["dropped by a full ring"] >=
                   sent;
      },
      std::chrono::seconds(300));
  const double whole = Since(start);
  const auto threads = ThreadSeconds(running.Process());
  const std::string status = test::ReadFile(fmt::format("/proc/{}/status", running.Process()));
  const int memory = std::stoi(status.substr(status.find("VmHWM:") + 6)) / 1024;
  running.End(SIGTERM);
  const auto rows = static_cast<std::uint64_t>(source.Number("SELECT COUNT(*) FROM EventTrap"));
  const auto different =
      static_cast<std::uint64_t>(source.Number("SELECT COUNT(DISTINCT EventDescription) FROM EventTrap"));

  const std::uint64_t lost = sent - std::min(sent, rows);
  fmt::print("sent                     {:>9} in {:.1f} s, {:.0f} a second\n", sent, sending,
             static_cast<double>(sent) / sending);
  fmt::print("received                 {:>9}\n", counters["received"]);
  fmt::print("stored                   {:>9}, {} of them different\n", rows, different);
  fmt::print("lost                     {:>9}, {:.1f} %; dropped by the kernel {}, by a full ring {}\n", lost,
             Percent(lost, sent), counters["dropped by the kernel"], counters["dropped by a full ring"]);
  fmt::print("waiting at the end       {:>9}, and {} in the ring; all stored {:.1f} s later\n",
             atTheEnd.at("waiting"), atTheEnd.at("captured"), whole - sending);
  fmt::print("memory at its highest    {:>9} MiB\n", memory);
  double sum = 0;
  for (const auto& [name, seconds] : threads) {
    sum += seconds;
  }
  const auto microseconds = [rows](double seconds) {
    return seconds * 1e6 / static_cast<double>(std::max<std::uint64_t>(1, rows));
  };
  fmt::print("processor time           {:>9.1f} us a trap:", microseconds(sum));
  for (const auto& [name, seconds] : threads) {
    if (microseconds(seconds) >= 0.05) fmt::print(" {} {:.1f}", name, microseconds(seconds));
  }
  fmt::print("\npace / bare inserts      {:>9.2f}\n", static_cast<double>(rows) / whole / bareRows);
  return lost == 0;
}

bool Run(const Pace& pace) {
  fmt::print("--- {} a second for {} s{}\n", pace.PerSecond, pace.Seconds,
             pace.Busy ? ", beside two busy loops" : "");
  const std::uint64_t bare = std::min(pace.Planned(), kMostBareRows);
  const double bareRows = BareInserts(bare);
  fmt::print("bare inserts             {:>9} rows, {:.0f} a second\n", bare, bareRows);
  RunDaemon(pace);
  const bool good = RunReceiver(pace, bareRows);
  std::fflush(stdout);
  return good;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::vector<Pace> paces = {{}};
  if (!words.empty() && words[0] == "storm") {
    paces = {{60'000, 60, false}, {60'000, 60, true}, {200'000, 5, false}};
  } else if (!words.empty()) {
    paces[0].PerSecond = std::strtoull(words[0].c_str(), nullptr, 10);
    paces[0].Seconds = words.size() > 1 ? std::atoi(words[1].c_str()) : paces[0].Seconds;
    paces[0].Busy = words.size() > 2 && words[2] == "busy";
  }
  bool good = true;
  for (const Pace& pace : paces) {
    good = Run(pace) && good;
  }
  return good ? 0 : 1;
}
