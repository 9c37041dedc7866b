// The spool on bad disks, and the writer behind it with a store that fails or refuses.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

#include "KeptLog.h"
#include "receiver/spool/Spool.h"
#include "receiver/spool/Spooler.h"
#include "receiver/store/DiskWatch.h"
#include "receiver/store/StoreWriter.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using store::DatabaseError;

const SpoolOptions kSmallFiles{.SegmentBytes = 300, .KeptBytes = 0, .KeptTime = std::chrono::seconds(0)};

TrapRow Row(int number) {
  return {.EventTime = 1000 + number,
          .Source = "10.0.0.1",
          .EnterpriseOid = "1.3.6.1.4.1.9",
          .SpecificTrap = number,
          .EventDescription = "trap " + std::to_string(number),
          .Event_ExtDescr = std::string(static_cast<std::size_t>(number % 7), 'x')};
}

void AppendRows(Spool& spool, int first, int last) {
  for (int i = first; i <= last; ++i) spool.Append(std::vector{Row(i)});
}

// Everything after the number, in blocks as the writer reads it.
std::vector<int> ReadAll(Spool& spool, std::uint64_t after) {
  std::vector<int> numbers;
  for (auto traps = spool.Read(after, 3, 1 << 20); !traps.empty(); traps = spool.Read(after, 3, 1 << 20)) {
    for (const SpooledTrap& trap : traps) {
      EXPECT_GT(trap.Number, after);
      EXPECT_EQ(trap.Row, Row(trap.Row.SpecificTrap));
      after = trap.Number;
      numbers.push_back(trap.Row.SpecificTrap);
    }
  }
  return numbers;
}

std::vector<int> Range(int first, int last, const std::set<int>& without = {}) {
  std::vector<int> numbers;
  for (int i = first; i <= last; ++i) {
    if (!without.contains(i)) numbers.push_back(i);
  }
  return numbers;
}

std::ptrdiff_t Files(const fs::path& folder) {
  return std::ranges::count_if(fs::directory_iterator(folder),
                               [](const auto& file) { return file.path().extension() == ".spool"; });
}

TEST(SpoolTest, DamageCostsTheRecordThatItIsInAndIsCountedOnce) {
  const test::TempFolder folder;
  std::string whole;
  for (int i = 1; i <= 5; ++i) AppendRecord(whole, static_cast<std::uint64_t>(i), Row(i));
  const char* const name = "0000000000000001.spool";
  const std::size_t second = whole.find("KVtr", 1);
  for (std::size_t byte = second; byte < whole.find("KVtr", second + 1); byte += 3) {
    std::string damaged = whole;
    damaged[byte] = static_cast<char>(damaged[byte] ^ 0x41);
    test::WriteFile(folder / name, damaged);
    Spool spool(folder.Path());
    EXPECT_EQ(ReadAll(spool, 0), Range(1, 5, {2})) << byte;
    EXPECT_EQ(spool.DamagedRecords(), 1u) << byte;
    EXPECT_EQ(spool.Waiting(), 4u);
  }
  for (std::size_t size = whole.rfind("KVtr"); size < whole.size(); size += 7) {
    const test::TempFolder other;
    test::WriteFile(other / name, whole.substr(0, size));
    Spool spool(other.Path());
    AppendRows(spool, 6, 6);
    EXPECT_EQ(ReadAll(spool, 0), Range(1, 6, {5})) << "torn at " << size;
  }
}

TEST(SpoolTest, WhatAFullDiskRefusesStaysInOrderInMemoryAndWhatIsStoredGoes) {
  const test::TempFolder folder;
  int error = 0;
  SpoolOptions options = kSmallFiles;
  options.Write = [&error](const FileDescriptor& file, std::string_view bytes, std::uint64_t offset) {
    if (error != 0) {
      WriteAt(file, bytes.substr(0, bytes.size() / 2), offset);  // a disk that fills up in the middle
      return error;
    }
    return WriteAt(file, bytes, offset);
  };
  std::uint64_t third = 0;
  {
    Spool spool(folder.Path(), options);
    AppendRows(spool, 1, 3);
    third = spool.LastNumber();
    error = ENOSPC;
    AppendRows(spool, 4, 6);
    EXPECT_FALSE(spool.Sync());
    EXPECT_EQ(ReadAll(spool, 0), Range(1, 6));
    spool.MarkStored(third + 1);  // the store took trap 4 out of memory
    error = 0;
    AppendRows(spool, 7, 8);
    EXPECT_TRUE(spool.Sync());
    EXPECT_EQ(ReadAll(spool, third + 1), Range(5, 8));
    EXPECT_EQ(spool.Waiting(), 4u);
  }
  Spool spool(folder.Path(), options);
  AppendRows(spool, 9, 10);
  for (int turn = 0; turn < 2; ++turn) {  // the second as after a store that lost its last commits
    EXPECT_EQ(ReadAll(spool, third + 1), Range(5, 10));
  }
  EXPECT_GT(Files(folder.Path()), 2);
  spool.MarkStored(spool.LastNumber());
  EXPECT_EQ(Files(folder.Path()), 1);
}

TEST(SpoolTest, InformsAreAnsweredWhenTheirTrapsAreSafe) {
  const test::TempFolder folder;
  int error = 0;
  SpoolOptions options;
  options.SyncFile = [&error](const FileDescriptor&) { return error; };
  Spool spool(folder.Path(), options);
  TrapQueue queue(1 << 20);
  KeptLog log;
  KeptLog answers;
  const auto answer = [&](const std::vector<std::uint64_t>& tokens) {
    for (const std::uint64_t token : tokens) answers.Info(std::to_string(token));
  };
  Spooler spooler(queue, spool, log, answer, [] { return true; }, {.Unanswered = 2});
  const auto answered = [&](const std::vector<std::string>& tokens) {
    return test::WaitUntil([&] { return answers.Lines().size() >= tokens.size(); }) &&
           answers.Lines() == tokens;
  };
  std::thread thread([&] { spooler.Run(); });
  queue.Push({{Row(1), 0}, {Row(2), 7}, {Row(3), 8}});
  EXPECT_TRUE(answered({"7", "8"}));

  // A disk that can't sync: only the trap store makes the next one safe.
  error = EIO;
  queue.Push({{Row(4), 9}, {Row(5), 10}, {Row(6), 11}, {Row(7), 12}});
  EXPECT_TRUE(test::WaitUntil([&] { return spool.LastError() == EIO && spool.Waiting() == 7; }));
  spool.MarkStored(spool.LastNumber() - 3);
  EXPECT_TRUE(answered({"7", "8", "9"}));
  // What is beyond the bound is stored all the same and not answered.
  spool.MarkStored(spool.LastNumber());
  EXPECT_TRUE(answered({"7", "8", "9", "10"}));
  queue.Close();
  thread.join();
  EXPECT_EQ(answers.Lines().size(), 4u);
}

struct Death {};  // the process ends here

struct Fault {
  bool Dies = false, AfterTheEffect = false;
};

// Keeps its rows over the life of several receivers, as a database does.
class FaultyStore : public TrapStore {
 public:
  std::uint64_t Open(std::string_view spoolId, std::uint64_t highestPossible,
                     std::uint64_t remembered) override {
    Operation([&] {
      if (spoolId != spoolId_ || stored_ > highestPossible) stored_ = remembered;
      spoolId_ = spoolId;
    });
    return stored_;
  }
  void Store(std::span<const SpooledTrap> traps, std::uint64_t previous) override {
    EXPECT_EQ(previous, stored_);
    ++Tries;
    Halted.wait(true);
    const auto refused = [&](const SpooledTrap& trap) { return Refused.contains(trap.Row.SpecificTrap); };
    if (Full || std::ranges::any_of(traps, refused)) throw Error;
    Operation([&] {
      for (const SpooledTrap& trap : traps) Rows.push_back(trap.Row.SpecificTrap);
      stored_ = traps.back().Number;
    });
  }
  void Skip(std::uint64_t number, std::uint64_t previous) override {
    EXPECT_EQ(previous, stored_);
    EXPECT_FALSE(Full) << "no row is at fault";
    Operation([&] { stored_ = number; });
  }
  void Probe() override {
    Operation([] {});
  }
  void Claim(std::optional<DutyClaim>) override {}
  void With(const std::function<void(store::Connection&)>&) override {}
  void Beat(const store::ReceiverCondition&, bool) override {}
  void Close() noexcept override {}
  bool FaultHappened() const { return operations_ >= FailAt; }

  std::vector<int> Rows;  // to be looked at when no receiver runs
  int FailAt = 0;         // 0: never
  Fault FailAs;
  std::set<int> Refused;
  std::atomic<int> Tries = 0;
  std::atomic<bool> Halted = false;                     // a call into it does not return
  std::atomic<bool> Full = false;                       // nothing can be committed
  DatabaseError Error{"no such text", "22021", 1, ""};  // of refused rows, or full

 private:
  template <typename Effect>
  void Operation(Effect effect) {
    const bool fails = ++operations_ == FailAt;
    const auto fail = [this] {
      if (FailAs.Dies) throw Death();
      throw DatabaseError("link lost", FailAs.AfterTheEffect ? "08S01" : "HY000", 5, "");
    };
    if (fails && !FailAs.AfterTheEffect) fail();
    effect();
    if (fails && FailAs.AfterTheEffect) fail();
  }

  std::string spoolId_;
  std::uint64_t stored_ = 0;
  int operations_ = 0;
};

const WriterOptions kQuick = {.BatchRows = 4,
                              .BatchBytes = 1 << 20,
                              .BatchTime = milliseconds(1),
                              .FirstPause = milliseconds(1),
                              .LongestPause = milliseconds(5),
                              .RowFailures = 3,
                              .RowTroubles = 20,
                              .LongestCall = milliseconds(100)};

// One receiver's life: spool and writer on a folder, until stopped or dead.
struct Receiver {
  Receiver(const fs::path& folder, TrapStore& store, const SpoolOptions& options = {})
      : Queue(folder, options), Writer(Queue, store, Quarantine(folder / "aside"), Counted, Log, Options()) {}
  ~Receiver() { Stop(); }
  WriterOptions Options() {
    WriterOptions options = kQuick;
    options.Stored = [this](std::span<const SpooledTrap> traps) {
      for (const SpooledTrap& trap : traps) Told.push_back(trap.Row.SpecificTrap);
    };
    return options;
  }
  void Take(int first, int last) { AppendRows(Queue, first, last); }
  // Until everything is stored or put aside; false when it died first.
  bool StoresAll() {
    EXPECT_TRUE(test::WaitUntil([&] { return Dead || Queue.Waiting() == 0; }));
    return !Dead;
  }
  void Stop() {
    Writer.Stop(std::chrono::seconds(10));
    if (Thread.joinable()) Thread.join();
  }

  Spool Queue;
  Counters Counted;
  KeptLog Log;
  std::vector<int> Told;  // as stored
  StoreWriter Writer;
  std::atomic<bool> Dead = false;
  std::thread Thread{[this] {
    try {
      Writer.Run();
    } catch (const Death&) {
      Dead = true;
    }
  }};
};

// The traps that were put aside, in order.
std::vector<int> Aside(const test::TempFolder& folder) {
  std::istringstream lines(test::ReadFile(folder / "aside"));
  std::vector<int> numbers;
  for (std::string line; std::getline(lines, line);) {
    numbers.push_back(std::stoi(line.substr(line.find("\"trap ") + 6)));
  }
  return numbers;
}

TEST(StoreWriterTest, NothingIsLostOrDoubledWhicheverOperationFails) {
  for (const std::set<int>& refused : {std::set<int>{}, std::set<int>{3}}) {
    for (const Fault fault : {Fault{false, false}, {false, true}, {true, false}, {true, true}}) {
      int operation = 0;
      for (bool happened = true; happened;) {
        SCOPED_TRACE(testing::Message() << operation + 1 << fault.Dies << fault.AfterTheEffect);
        const test::TempFolder folder;
        FaultyStore store;
        store.FailAt = ++operation;
        store.FailAs = fault;
        store.Refused = refused;
        auto receiver = std::make_unique<Receiver>(folder.Path(), store, kSmallFiles);
        for (const auto& [first, last] : {std::pair(1, 7), std::pair(8, 13)}) {
          receiver->Take(first, last);
          while (!receiver->StoresAll()) {
            receiver = nullptr;
            receiver = std::make_unique<Receiver>(folder.Path(), store, kSmallFiles);
          }
        }
        receiver->Stop();
        EXPECT_EQ(store.Rows, Range(1, 13, refused));
        const std::vector<int> aside = Aside(folder);
        EXPECT_EQ(std::set<int>(aside.begin(), aside.end()), refused);
        if (!fault.Dies) {
          EXPECT_EQ(aside.size(), refused.size());
          EXPECT_EQ(receiver->Told, store.Rows) << "each may meet an alert, once";
        }
        happened = store.FaultHappened();
      }
      EXPECT_GT(operation, refused.empty() ? 4 : 8);
    }
  }
}

TEST(StoreWriterTest, WhicheverFileOfTheSpoolIsLostWhatWasAnsweredIsStored) {
  // What becomes of the files "state" and "stored" (empty: nothing; old: as after the first run), and whether
  // neither spool nor store can know then what is stored.
  const std::tuple<std::string, std::string, bool> cases[] = {
      {"", "", false},        {"spool = x", "", false},
      {"old", "", false},     {"old", "lost", false},
      {"", "lost", false},    {"", "ffffffffffffffff", false},
      {"lost", "lost", true}, {"lost", "ffffffffffffffff", true}};
  for (const auto& [state, stored, doubles] : cases) {
    for (const bool trapsLost : {false, true}) {
      const test::TempFolder folder;
      FaultyStore store;
      const auto run = [&](int first, int last) {
        Receiver receiver(folder.Path(), store);
        receiver.Take(first, last);
        ASSERT_TRUE(receiver.StoresAll());
      };
      Spool(folder.Path());
      const std::string firstState = test::ReadFile(folder / "state");
      for (int first = 1; first < 7; first += 2) run(first, first + 1);
      AppendRows(*std::make_unique<Spool>(folder.Path()), 7, 8);  // answered, and the store is away
      const auto lose = [&](const char* name, const std::string& content) {
        if (!content.empty()) fs::remove(folder / name);
        if (!content.empty() && content != "lost") {
          test::WriteFile(folder / name, content == "old" ? firstState : content);
        }
      };
      lose("state", state);
      lose("stored", stored);
      for (const auto& entry : fs::directory_iterator(folder.Path())) {
        if (trapsLost && entry.path().extension() == ".spool") fs::remove(entry.path());
      }
      run(9, 10);
      std::vector<int> expected = Range(1, 6);
      const std::vector<int> again = trapsLost ? Range(9, 10) : doubles ? Range(1, 10) : Range(7, 10);
      expected.insert(expected.end(), again.begin(), again.end());
      EXPECT_EQ(store.Rows, expected) << state << "; " << stored << (trapsLost ? ", and the traps" : "");
    }
  }
}

TEST(StoreWriterTest, ARefusedRowIsPutAsideAfterSomeTriesAndAFullStoreIsAnOutage) {
  // The error, of which rows (none: the store is full) and after how many tries each.
  const std::tuple<DatabaseError, std::set<int>, int> cases[] = {
      {{"no such text", "22021", 1, ""}, {1, 11, 20}, kQuick.RowFailures},
      // An embedded store says so of almost anything.
      {{"no such text", "HY000", 1, ""}, {5, 6, 7, 8}, kQuick.RowTroubles},
      {{"database or disk is full", "HY000", 13, ""}, {}, 0},
      {{"The table 'EventTrap' is full", "HY000", 1114, ""}, {}, 0},
      {{"Duplicate entry '8' for key 'PRIMARY'", "23000", 1062, ""}, {}, 0},
      // The same of something that an administrator has set up, whatever stands in the row.
      {{"Duplicate entry 'PRIMARY' for key 'Theirs'", "23000", 1062, ""}, {2}, kQuick.RowFailures},
      {{"violates check constraint \"theirs\"\nno partition of relation", "23514", 1, ""}, {3}, 1},
      {{"Query execution was interrupted", "70100", 1969, ""}, {4}, kQuick.RowTroubles},
      {{"no partition of relation \"eventtrap\" found for row", "23514", 1, ""}, {}, 0},
  };
  for (const auto& [error, refused, tries] : cases) {
    SCOPED_TRACE(error.what());
    const test::TempFolder folder;
    FaultyStore store;
    store.Error = error;
    store.Refused = refused;
    store.Full = refused.empty();
    Receiver receiver(folder.Path(), store);
    receiver.Take(1, 20);
    if (store.Full) {
      EXPECT_TRUE(test::WaitUntil(
          [&] { return store.Tries > 3 * kQuick.RowTroubles && !receiver.Writer.StoreAvailable(); }));
      store.Full = false;
    }
    ASSERT_TRUE(receiver.StoresAll());
    receiver.Stop();
    EXPECT_EQ(store.Rows, Range(1, 20, refused));
    EXPECT_EQ(Aside(folder), std::vector<int>(refused.begin(), refused.end()));
    EXPECT_EQ(receiver.Counted.Stored, 20 - refused.size());
    EXPECT_GE(store.Tries, tries * std::ssize(refused));
  }
}

TEST(StoreWriterTest, AStoreThatDoesNotAnswerIsReportedAndItsCallIsLeftAlone) {
  const test::TempFolder folder;
  FaultyStore store;
  store.Halted = true;
  Receiver receiver(folder.Path(), store);
  receiver.Take(1, 3);
  EXPECT_TRUE(test::WaitUntil([&] { return !receiver.Writer.StoreAvailable(); }));
  receiver.Take(4, 7);
  EXPECT_EQ(store.Tries, 1);
  store.Halted = false;
  store.Halted.notify_all();
  EXPECT_TRUE(receiver.StoresAll());
  EXPECT_TRUE(test::WaitUntil([&] { return receiver.Writer.StoreAvailable(); }));
  receiver.Stop();
  EXPECT_EQ(store.Rows, Range(1, 7));
  EXPECT_TRUE(receiver.Log.Holds("has not answered for"));
}

TEST(DiskWatchTest, WarnsInTimeOfBothDisksAndNotAgainAndAgain) {
  KeptLog log;
  std::int32_t spool = 50;
  std::int32_t store = 60;
  DiskWatch watch("/spool", log, [&](const fs::path& path) { return path == "/spool" ? spool : store; });
  const auto look = [&](std::int32_t spoolUsed, std::int32_t storeUsed, const fs::path& folder = "/store") {
    spool = spoolUsed;
    store = storeUsed;
    const std::int32_t answered = watch.Look(folder);
    return std::pair(answered, log.Lines().size());
  };
  using Told = std::pair<std::int32_t, std::size_t>;  // the answer, and lines in the log so far
  EXPECT_EQ(look(50, 89), Told(89, 0));
  EXPECT_EQ(look(50, 90), Told(90, 1));
  EXPECT_EQ(look(50, 92), Told(92, 1));
  EXPECT_EQ(look(50, 93), Told(93, 2));
  EXPECT_EQ(look(91, 93, {}), Told(91, 3)) << "while the store is away or a server's";
  EXPECT_EQ(look(88, 89), Told(89, 3));
  EXPECT_EQ(look(80, 80), Told(80, 5));
  EXPECT_TRUE(log.Holds("the disk of the trap store (/store) is 93 % full"));
}

TEST(QuarantineTest, HasABoundAndGivesBackWhatWasNotSkipped) {
  const test::TempFolder folder;
  const SpooledTrap trap{.Row = Row(1)};
  const std::string line = QuarantineLine(trap, "no");
  Quarantine quarantine(folder / "aside", 2 * line.size());
  EXPECT_TRUE(quarantine.Add(trap, "no") && quarantine.Add(trap, "no"));
  EXPECT_FALSE(quarantine.Add(trap, "no"));
  quarantine.TakeBack();  // nothing was added
  EXPECT_EQ(test::ReadFile(folder / "aside"), line + line);
}

}  // namespace
}  // namespace korvane::receiver
