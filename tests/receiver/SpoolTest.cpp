// The spool against a disk that tears, corrupts, fills up and comes back; and the writer behind it with a
// store that fails at its N-th operation, for every N and in every way, and with rows the store refuses.

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <thread>

#include "KeptLog.h"
#include "receiver/spool/Spool.h"
#include "receiver/spool/Spooler.h"
#include "receiver/store/StoreWriter.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using store::DatabaseError;

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

std::vector<fs::path> Files(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".spool") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

class SpoolTest : public testing::Test {
 protected:
  test::TempFolder folder_;
  SpoolOptions small_{.SegmentBytes = 300, .KeptBytes = 0, .KeptTime = std::chrono::seconds(0)};
};

TEST_F(SpoolTest, KeepsOrderAcrossFilesAndRuns) {
  std::uint64_t fifth = 0;
  {
    Spool spool(folder_.Path(), small_);
    AppendRows(spool, 1, 10);
    EXPECT_GT(Files(folder_.Path()).size(), 2u);
    EXPECT_EQ(ReadAll(spool, 0), Range(1, 10));
    fifth = spool.Read(0, 5, 1 << 20).back().Number;
    spool.MarkStored(fifth);
    EXPECT_EQ(spool.Waiting(), 5u);
  }
  Spool spool(folder_.Path(), small_);
  EXPECT_THROW(Spool(folder_.Path()), std::runtime_error) << "another receiver's";
  EXPECT_EQ(spool.RememberedStored(), fifth);
  EXPECT_EQ(spool.Waiting(), 5u);
  AppendRows(spool, 11, 13);
  EXPECT_EQ(ReadAll(spool, fifth), Range(6, 13));
  // Asked again from an earlier place, as after a store that lost its last commits.
  EXPECT_EQ(ReadAll(spool, fifth), Range(6, 13));
  spool.MarkStored(spool.LastNumber());
  EXPECT_EQ(spool.Waiting(), 0u);
  EXPECT_EQ(Files(folder_.Path()).size(), 1u) << "stored files are deleted";
}

TEST_F(SpoolTest, ATornEndCostsOnlyTheTornRecord) {
  {
    Spool spool(folder_.Path());
    AppendRows(spool, 1, 3);
  }
  const fs::path file = Files(folder_.Path()).at(0);
  const std::string whole = test::ReadFile(file);
  for (std::size_t size = whole.rfind("KVtr"); size < whole.size(); size += 7) {
    test::WriteFile(file, whole.substr(0, size));
    Spool spool(folder_.Path());
    EXPECT_EQ(ReadAll(spool, 0), Range(1, 2)) << "torn at " << size;
    AppendRows(spool, 4, 4);
    EXPECT_EQ(ReadAll(spool, 0), (std::vector<int>{1, 2, 4})) << "torn at " << size;
    fs::remove(Files(folder_.Path()).back());
  }
}

TEST_F(SpoolTest, AFlippedByteCostsOneRecordAndIsCounted) {
  std::string whole;
  for (int i = 1; i <= 5; ++i) AppendRecord(whole, static_cast<std::uint64_t>(i), Row(i));
  const std::size_t second = whole.find("KVtr", 1);
  for (std::size_t byte = 0; byte < whole.find("KVtr", second + 1) - second; byte += 3) {
    SCOPED_TRACE(byte);
    std::string damaged = whole;
    damaged[second + byte] = static_cast<char>(damaged[second + byte] ^ 0x41);
    test::WriteFile(folder_ / "0000000000000001.spool", damaged);
    Spool spool(folder_.Path());
    EXPECT_EQ(ReadAll(spool, 0), Range(1, 5, {2}));
    EXPECT_EQ(spool.DamagedRecords(), 1u);
    EXPECT_EQ(spool.Waiting(), 4u);
  }
}

TEST_F(SpoolTest, AnIdentityThatIsLostIsANewOneAndNumbersAscend) {
  std::uint64_t last = 0;
  std::string id;
  for (int run = 0; run < 3; ++run) {
    Spool spool(folder_.Path());
    EXPECT_NE(spool.State().SpoolId, id) << "the store must not take this spool for the old one";
    EXPECT_GE(spool.RunStart(), last);
    EXPECT_EQ(spool.LostIdentity(), run > 0);
    EXPECT_EQ(ReadAll(spool, last), Range(1, 0));
    AppendRows(spool, 1, 2);
    last = spool.LastNumber();
    id = spool.State().SpoolId;
    test::WriteFile(folder_ / "state", "spool = nonsense\n");
  }
}

TEST_F(SpoolTest, WhatAFullDiskRefusesStaysInOrderInMemory) {
  int error = 0;
  SpoolOptions options = small_;
  options.Write = [&error](const FileDescriptor& file, std::string_view bytes, std::uint64_t offset) {
    if (error != 0) {
      WriteAt(file, bytes.substr(0, bytes.size() / 2), offset);  // a disk that fills up in the middle
      return error;
    }
    return WriteAt(file, bytes, offset);
  };
  std::uint64_t third = 0;
  {
    Spool spool(folder_.Path(), options);
    AppendRows(spool, 1, 3);
    third = spool.LastNumber();
    error = ENOSPC;
    AppendRows(spool, 4, 6);
    EXPECT_FALSE(spool.Sync());
    EXPECT_GT(spool.UnwrittenBytes(), 0u);
    EXPECT_EQ(ReadAll(spool, 0), Range(1, 6));
    spool.MarkStored(third + 1);  // the store took trap 4 out of memory
    error = 0;
    AppendRows(spool, 7, 8);
    EXPECT_TRUE(spool.Sync());
    EXPECT_EQ(spool.UnwrittenBytes(), 0u);
    EXPECT_EQ(ReadAll(spool, third + 1), Range(5, 8));
    EXPECT_EQ(spool.Waiting(), 4u);
  }
  Spool spool(folder_.Path(), options);
  EXPECT_EQ(ReadAll(spool, third + 1), Range(5, 8));
}

TEST_F(SpoolTest, ReadingWhileWritingMissesNothing) {
  small_.SegmentBytes = 20'000;
  Spool spool(folder_.Path(), small_);
  constexpr int kTraps = 10'000;
  std::thread writer([&] { AppendRows(spool, 1, kTraps); });
  int expected = 1;
  std::uint64_t after = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (expected <= kTraps && std::chrono::steady_clock::now() < deadline) {
    spool.WaitForMore(after, 1, milliseconds(100));
    for (const SpooledTrap& trap : spool.Read(after, 50, 1 << 20)) {
      ASSERT_EQ(trap.Row.SpecificTrap, expected);
      ++expected;
      after = trap.Number;
    }
    spool.MarkStored(after);
  }
  writer.join();
  EXPECT_EQ(expected, kTraps + 1);
}

TEST_F(SpoolTest, InformsAreAnsweredWhenTheirTrapsAreSafe) {
  int error = 0;
  SpoolOptions options;
  options.SyncFile = [&error](const FileDescriptor&) { return error; };
  Spool spool(folder_.Path(), options);
  TrapQueue queue(1 << 20);
  KeptLog log;
  KeptLog answers;
  const auto answer = [&](const std::vector<std::uint64_t>& tokens) {
    for (const std::uint64_t token : tokens) answers.Info(std::to_string(token));
  };
  Spooler spooler(queue, spool, log, answer, [] { return true; }, {.Unanswered = 2});
  const auto answered = [&](const std::vector<std::string>& tokens) {
    return test::WaitUntil([&] { return answers.Lines() == tokens; });
  };
  std::thread thread([&] { spooler.Run(); });
  queue.Push({{Row(1), 0}, {Row(2), 7}, {Row(3), 8}});
  EXPECT_TRUE(answered({"7", "8"}));

  // A disk that can't sync: only the trap store makes the next one safe.
  error = EIO;
  queue.Push({{Row(4), 9}, {Row(5), 10}, {Row(6), 11}, {Row(7), 12}});
  EXPECT_TRUE(test::WaitUntil([&] { return spool.LastError() == EIO && spool.Waiting() == 7; }));
  EXPECT_EQ(answers.Lines().size(), 2u);
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

enum class Fault { BeforeTheEffect, AfterTheEffect, DeathBefore, DeathAfter };

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
    Commits();
    for (const SpooledTrap& trap : traps) {
      if (Refused.contains(trap.Row.SpecificTrap)) {
        throw DatabaseError("no such text", RefusalState, 1, "INSERT");
      }
    }
    Operation([&] {
      const std::lock_guard lock(mutex_);
      for (const SpooledTrap& trap : traps) rows_.push_back(trap.Row.SpecificTrap);
      stored_ = traps.back().Number;
    });
  }
  void Skip(std::uint64_t number, std::uint64_t previous) override {
    EXPECT_EQ(previous, stored_);
    Commits();
    Operation([&] { stored_ = number; });
  }
  void Probe() override {
    Operation([] {});
  }
  void Close() noexcept override {}

  std::vector<int> Rows() const {
    const std::lock_guard lock(mutex_);
    return rows_;
  }
  bool FaultHappened() const { return operations_ >= FailAt; }

  int FailAt = 0;  // 0: never
  Fault FailAs = Fault::BeforeTheEffect;
  std::set<int> Refused;
  std::string RefusalState = "22021";
  std::atomic<int> Tries = 0;
  std::atomic<bool> Halted = false;  // a call into it does not return
  std::atomic<bool> Full = false;    // nothing can be committed
  DatabaseError FullError{"", "", 0, ""};

 private:
  void Commits() const {
    if (Full) throw FullError;
  }
  template <typename Effect>
  void Operation(Effect effect) {
    const bool fails = ++operations_ == FailAt;
    if (fails && FailAs == Fault::DeathBefore) throw Death();
    if (fails && FailAs == Fault::BeforeTheEffect) throw DatabaseError("failed", "HY000", 5, "");
    effect();
    if (fails && FailAs == Fault::DeathAfter) throw Death();
    if (fails && FailAs == Fault::AfterTheEffect) throw DatabaseError("link lost", "08S01", 0, "COMMIT");
  }

  mutable std::mutex mutex_;
  std::vector<int> rows_;
  std::string spoolId_;
  std::atomic<std::uint64_t> stored_ = 0;
  std::atomic<int> operations_ = 0;
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
class Receiver {
 public:
  Receiver(const fs::path& folder, TrapStore& store)
      : spool_(folder), Writer(spool_, store, Quarantine(folder / "aside"), Counted, Log, kQuick) {}
  ~Receiver() { Stop(); }

  void Take(int first, int last) {
    std::vector<TrapRow> rows;
    for (int i = first; i <= last; ++i) {
      TrapRow& row = rows.emplace_back();
      row.SpecificTrap = i;
      row.EventDescription = "trap " + std::to_string(i);
    }
    spool_.Append(rows);
  }
  void Start() {
    thread_ = std::thread([this] {
      try {
        Writer.Run();
      } catch (const Death&) {
        dead_ = true;
      }
    });
  }
  // Until everything is stored or put aside; false when it died first.
  bool StoresAll() {
    EXPECT_TRUE(test::WaitUntil([&] { return dead_ || spool_.Waiting() == 0; }));
    return !dead_;
  }
  void Stop() {
    Writer.Stop(std::chrono::seconds(10));
    if (thread_.joinable()) thread_.join();
  }

 private:
  Spool spool_;

 public:
  Counters Counted;
  KeptLog Log;
  StoreWriter Writer;

 private:
  std::thread thread_;
  std::atomic<bool> dead_ = false;
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
    for (const Fault fault :
         {Fault::BeforeTheEffect, Fault::AfterTheEffect, Fault::DeathBefore, Fault::DeathAfter}) {
      int operation = 0;
      for (bool happened = true; happened;) {
        SCOPED_TRACE(testing::Message() << operation + 1 << ", fault " << static_cast<int>(fault));
        const test::TempFolder folder;
        FaultyStore store;
        store.FailAt = ++operation;
        store.FailAs = fault;
        store.Refused = refused;
        auto receiver = std::make_unique<Receiver>(folder.Path(), store);
        receiver->Start();
        for (const auto& [first, last] : {std::pair(1, 7), std::pair(8, 13)}) {
          receiver->Take(first, last);
          while (!receiver->StoresAll()) {
            receiver = nullptr;
            receiver = std::make_unique<Receiver>(folder.Path(), store);
            receiver->Start();
          }
        }
        receiver->Stop();
        EXPECT_EQ(store.Rows(), Range(1, 13, refused));
        const std::vector<int> aside = Aside(folder);
        EXPECT_EQ(std::set<int>(aside.begin(), aside.end()), refused);
        if (fault < Fault::DeathBefore) {
          EXPECT_EQ(aside.size(), refused.size());
          EXPECT_EQ(receiver->Counted.Quarantined, refused.size());
        }
        happened = store.FaultHappened();
      }
      EXPECT_GT(operation, refused.empty() ? 4 : 8);
    }
  }
}

TEST(StoreWriterTest, WhicheverFileOfTheSpoolIsLostWhatWasAnsweredIsStored) {
  struct Case {
    const char* Name;
    const char* State;   // new content; nothing: as it was, "lost": deleted, "old": of the first run
    const char* Stored;  // the same
    bool Doubles;        // neither spool nor store can know what is stored
  };
  const Case cases[] = {{"nothing", nullptr, nullptr, false},
                        {"state", "lost", nullptr, false},
                        {"state damaged", "spool = x", nullptr, false},
                        {"state put back", "old", nullptr, false},
                        {"state put back, stored lost", "old", "lost", false},
                        {"stored", nullptr, "lost", false},
                        {"stored damaged", nullptr, "zz", false},
                        {"stored far too high", nullptr, "ffffffffffffffff", false},
                        {"state lost, stored far too high", "lost", "ffffffffffffffff", true},
                        {"both", "lost", "lost", true}};
  for (const Case& c : cases) {
    for (const bool trapsLost : {false, true}) {
      const test::TempFolder folder;
      FaultyStore store;
      const auto run = [&](int first, int last) {
        Receiver receiver(folder.Path(), store);
        receiver.Take(first, last);
        receiver.Start();
        ASSERT_TRUE(receiver.StoresAll());
      };
      Receiver(folder.Path(), store).Stop();
      const std::string firstState = test::ReadFile(folder / "state");
      for (int first = 1; first < 7; first += 2) run(first, first + 1);
      Receiver(folder.Path(), store).Take(7, 8);  // answered, and the store is away
      const auto lose = [&](const char* name, const char* content) {
        if (content == nullptr) return;
        fs::remove(folder / name);
        if (content != std::string("lost")) {
          test::WriteFile(folder / name, content == std::string("old") ? firstState : content);
        }
      };
      lose("state", c.State);
      lose("stored", c.Stored);
      for (const auto& entry : fs::directory_iterator(folder.Path())) {
        if (trapsLost && entry.path().extension() == ".spool") fs::remove(entry.path());
      }
      run(9, 10);
      std::vector<int> expected = Range(1, 6);
      const std::vector<int> again = trapsLost ? Range(9, 10) : c.Doubles ? Range(1, 10) : Range(7, 10);
      expected.insert(expected.end(), again.begin(), again.end());
      EXPECT_EQ(store.Rows(), expected) << c.Name << (trapsLost ? ", and the traps" : "");
    }
  }
}

TEST(StoreWriterTest, ARefusedRowIsPutAsideAfterSomeTriesAndBlocksNoOther) {
  // What PostgreSQL says of such a row, and what an embedded store says of almost anything.
  for (const auto& [state, tries] :
       {std::pair("22021", kQuick.RowFailures), std::pair("HY000", kQuick.RowTroubles)}) {
    for (const std::set<int>& refused :
         std::vector<std::set<int>>{{1}, {20}, {9}, {3, 4}, {1, 11, 20}, {5, 6, 7, 8}}) {
      const test::TempFolder folder;
      FaultyStore store;
      store.Refused = refused;
      store.RefusalState = state;
      Receiver receiver(folder.Path(), store);
      receiver.Take(1, 20);
      receiver.Start();
      ASSERT_TRUE(receiver.StoresAll());
      receiver.Stop();
      EXPECT_EQ(store.Rows(), Range(1, 20, refused));
      EXPECT_EQ(Aside(folder), std::vector<int>(refused.begin(), refused.end()));
      EXPECT_EQ(receiver.Counted.Quarantined, refused.size());
      EXPECT_EQ(receiver.Counted.Stored, 20 - refused.size());
      EXPECT_GE(store.Tries, tries * std::ssize(refused)) << state;
    }
  }
}

TEST(StoreWriterTest, AFullStoreIsAnOutageAndNoFaultOfARow) {
  const DatabaseError errors[] = {{"database or disk is full", "HY000", 13, ""},
                                  {"could not extend file", "53100", 1, ""},
                                  {"The table 'EventTrap' is full", "HY000", 1114, ""},
                                  {"Duplicate entry '8' for key 'PRIMARY'", "23000", 1062, ""}};
  for (const DatabaseError& error : errors) {
    SCOPED_TRACE(error.what());
    const test::TempFolder folder;
    FaultyStore store;
    store.FullError = error;
    store.Full = true;
    Receiver receiver(folder.Path(), store);
    receiver.Take(1, 7);
    receiver.Start();
    EXPECT_TRUE(test::WaitUntil([&] { return !receiver.Writer.StoreAvailable(); }));
    const int tries = store.Tries;
    EXPECT_TRUE(test::WaitUntil([&] { return store.Tries > tries + 2 * kQuick.RowTroubles; }));
    store.Full = false;
    ASSERT_TRUE(receiver.StoresAll());
    receiver.Stop();
    EXPECT_EQ(store.Rows(), Range(1, 7));
    EXPECT_EQ(Aside(folder), Range(1, 0));
    EXPECT_EQ(receiver.Counted.Quarantined, 0u);
  }
}

TEST(StoreWriterTest, AStoreThatDoesNotAnswerIsReportedAndItsCallIsLeftAlone) {
  const test::TempFolder folder;
  FaultyStore store;
  store.Halted = true;
  Receiver receiver(folder.Path(), store);
  receiver.Take(1, 3);
  receiver.Start();
  EXPECT_TRUE(test::WaitUntil([&] { return !receiver.Writer.StoreAvailable(); }));
  receiver.Take(4, 7);
  EXPECT_EQ(store.Tries, 1);
  store.Halted = false;
  store.Halted.notify_all();
  EXPECT_TRUE(receiver.StoresAll());
  EXPECT_TRUE(test::WaitUntil([&] { return receiver.Writer.StoreAvailable(); }));
  receiver.Stop();
  EXPECT_EQ(store.Rows(), Range(1, 7));
  EXPECT_GE(receiver.Writer.SpooledCount(), 3u);
  EXPECT_TRUE(receiver.Log.Holds("has not answered for"));
  EXPECT_EQ(receiver.Log.Lines().size(), 2u);
}

TEST(QuarantineTest, HasABoundAndGivesBackWhatWasNotSkipped) {
  const test::TempFolder folder;
  SpooledTrap trap;
  trap.Row.EventDescription.assign(300, 'x');
  const std::string line = QuarantineLine(trap, "no");
  Quarantine quarantine(folder / "aside", 2 * line.size());
  EXPECT_TRUE(quarantine.Add(trap, "no"));
  EXPECT_TRUE(quarantine.Add(trap, "no"));
  EXPECT_FALSE(quarantine.Add(trap, "no"));
  quarantine.TakeBack();  // nothing was added
  EXPECT_EQ(test::ReadFile(folder / "aside"), line + line);
  fs::remove(folder / "aside");
  EXPECT_TRUE(quarantine.Add(trap, "no"));
  quarantine.TakeBack();
  quarantine.TakeBack();
  EXPECT_EQ(test::ReadFile(folder / "aside"), "");
}

}  // namespace
}  // namespace korvane::receiver
