// The writer with a store that fails at its N-th operation, for every N and in every way, and with rows the
// store refuses.

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "receiver/store/StoreWriter.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

using std::chrono::milliseconds;
using store::DatabaseError;

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
      if (Refused.contains(trap.Row.SpecificTrap))
        throw DatabaseError("no such text", RefusalState, 1, "INSERT");
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
  bool FaultHappened() const { return failAt_ > 0 && operations_ >= failAt_; }
  void FailAt(int operation, Fault fault) {
    failAt_ = operation;
    fault_ = fault;
  }

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
    const bool fails = ++operations_ == failAt_;
    if (fails && fault_ == Fault::DeathBefore) throw Death();
    if (fails && fault_ == Fault::BeforeTheEffect) throw DatabaseError("failed", "HY000", 5, "");
    effect();
    if (fails && fault_ == Fault::DeathAfter) throw Death();
    if (fails && fault_ == Fault::AfterTheEffect) throw DatabaseError("link lost", "08S01", 0, "COMMIT");
  }

  mutable std::mutex mutex_;
  std::vector<int> rows_;
  std::string spoolId_;
  std::atomic<std::uint64_t> stored_ = 0;
  std::atomic<int> operations_ = 0;
  int failAt_ = 0;
  Fault fault_ = Fault::BeforeTheEffect;
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
  Receiver(const std::filesystem::path& folder, TrapStore& store)
      : spool_(folder),
        log_([this](LogLevel, std::string_view line) { logText_.append(line).append("\n"); }),
        writer_(spool_, store, Quarantine(folder / "quarantine.txt"), counters_, log_, kQuick) {}
  ~Receiver() { Stop(); }

  void Take(int first, int last) {
    std::vector<TrapRow> rows;
    for (int i = first; i <= last; ++i) {
      TrapRow row;
      row.SpecificTrap = i;
      row.EventDescription = "trap " + std::to_string(i);
      rows.push_back(row);
    }
    spool_.Append(rows);
  }
  void Start() {
    thread_ = std::thread([this] {
      try {
        writer_.Run();
      } catch (const Death&) {
        dead_ = true;
      }
    });
  }
  void Stop() {
    writer_.Stop(std::chrono::seconds(10));
    if (thread_.joinable()) thread_.join();
  }
  bool Dead() const { return dead_; }
  bool Idle() const { return spool_.Waiting() == 0; }
  bool StoreAvailable() const { return writer_.StoreAvailable(); }
  std::uint64_t SpooledCount() const { return writer_.SpooledCount(); }
  const Counters& Counted() const { return counters_; }
  const std::string& Log() const { return logText_; }  // once it is stopped

 private:
  Counters counters_;
  Spool spool_;
  std::string logText_;
  ServiceLog log_;
  StoreWriter writer_;
  std::thread thread_;
  std::atomic<bool> dead_ = false;
};

std::vector<int> Range(int first, int last) {
  std::vector<int> numbers;
  for (int i = first; i <= last; ++i) numbers.push_back(i);
  return numbers;
}

TEST(StoreWriter, NothingIsLostOrDoubledWhicheverOperationFails) {
  for (const Fault fault :
       {Fault::BeforeTheEffect, Fault::AfterTheEffect, Fault::DeathBefore, Fault::DeathAfter}) {
    int operation = 0;
    for (bool happened = true; happened;) {
      const test::TempFolder folder;
      FaultyStore store;
      store.FailAt(++operation, fault);
      auto receiver = std::make_unique<Receiver>(folder.Path(), store);
      receiver->Take(1, 7);
      receiver->Start();
      ASSERT_TRUE(test::WaitUntil([&] { return receiver->Dead() || receiver->Idle(); }));
      if (receiver->Dead()) {
        receiver = nullptr;
        receiver = std::make_unique<Receiver>(folder.Path(), store);
        receiver->Start();
      }
      receiver->Take(8, 13);
      ASSERT_TRUE(test::WaitUntil([&] { return receiver->Dead() || receiver->Idle(); }));
      if (receiver->Dead()) {
        receiver = nullptr;
        receiver = std::make_unique<Receiver>(folder.Path(), store);
        receiver->Start();
        ASSERT_TRUE(test::WaitUntil([&] { return receiver->Idle(); }));
      }
      receiver->Stop();
      EXPECT_EQ(store.Rows(), Range(1, 13))
          << "operation " << operation << ", fault " << static_cast<int>(fault);
      happened = store.FaultHappened();
    }
    EXPECT_GT(operation, 4);
  }
}

TEST(StoreWriter, WhicheverFileOfTheSpoolIsLostWhatWasAnsweredIsStored) {
  namespace fs = std::filesystem;
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
      Receiver(folder.Path(), store).Stop();
      const std::string firstState = test::ReadFile(folder / "state");
      for (int run = 0; run < 3; ++run) {
        Receiver receiver(folder.Path(), store);
        receiver.Take(2 * run + 1, 2 * run + 2);
        receiver.Start();
        ASSERT_TRUE(test::WaitUntil([&] { return receiver.Idle(); }));
      }
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
      Receiver receiver(folder.Path(), store);
      receiver.Take(9, 10);
      receiver.Start();
      ASSERT_TRUE(test::WaitUntil([&] { return receiver.Idle(); }));
      receiver.Stop();
      std::vector<int> expected = Range(1, 6);
      const std::vector<int> again = trapsLost ? Range(9, 10) : c.Doubles ? Range(1, 10) : Range(7, 10);
      expected.insert(expected.end(), again.begin(), again.end());
      EXPECT_EQ(store.Rows(), expected) << c.Name << (trapsLost ? ", and the traps" : "");
    }
  }
}

TEST(StoreWriter, ARefusedRowIsPutAsideAndBlocksNoOther) {
  const std::vector<std::set<int>> refusals = {{1}, {20}, {9}, {3, 4}, {1, 11, 20}, {5, 6, 7, 8}};
  // What PostgreSQL says of such a row, and what an embedded store says of almost anything.
  for (const std::string state : {"22021", "HY000"}) {
    for (const std::set<int>& refused : refusals) {
      const test::TempFolder folder;
      FaultyStore store;
      store.Refused = refused;
      store.RefusalState = state;
      Receiver receiver(folder.Path(), store);
      receiver.Take(1, 20);
      receiver.Start();
      ASSERT_TRUE(test::WaitUntil([&] { return receiver.Idle(); }));
      receiver.Stop();
      std::vector<int> expected = Range(1, 20);
      std::erase_if(expected, [&](int number) { return refused.contains(number); });
      EXPECT_EQ(store.Rows(), expected);
      EXPECT_EQ(receiver.Counted().Quarantined, refused.size());
      EXPECT_EQ(receiver.Counted().Stored, expected.size());
      const std::string aside = test::ReadFile(folder / "quarantine.txt");
      for (const int number : refused) {
        EXPECT_NE(aside.find("\"trap " + std::to_string(number) + "\""), std::string::npos);
      }
      EXPECT_EQ(static_cast<std::size_t>(std::count(aside.begin(), aside.end(), '\n')), refused.size());
    }
  }
}

TEST(StoreWriter, ARefusedRowIsPutAsideOnceWhicheverOperationFails) {
  for (const Fault fault : {Fault::BeforeTheEffect, Fault::AfterTheEffect}) {
    int operation = 0;
    for (bool happened = true; happened;) {
      const test::TempFolder folder;
      FaultyStore store;
      store.Refused = {3};
      store.FailAt(++operation, fault);
      Receiver receiver(folder.Path(), store);
      receiver.Take(1, 7);
      receiver.Start();
      ASSERT_TRUE(test::WaitUntil([&] { return receiver.Idle(); }));
      receiver.Stop();
      EXPECT_EQ(store.Rows(), (std::vector{1, 2, 4, 5, 6, 7}));
      const std::string aside = test::ReadFile(folder / "quarantine.txt");
      EXPECT_EQ(std::count(aside.begin(), aside.end(), '\n'), 1)
          << operation << " " << static_cast<int>(fault);
      EXPECT_EQ(receiver.Counted().Quarantined, 1u);
      happened = store.FaultHappened();
    }
    EXPECT_GT(operation, 8);
  }
}

TEST(StoreWriter, AFullStoreIsAnOutageAndNoFaultOfARow) {
  const DatabaseError errors[] = {{"database or disk is full", "HY000", 13, ""},
                                  {"could not extend file", "53100", 1, ""},
                                  {"The table 'EventTrap' is full", "HY000", 1114, ""},
                                  {"Duplicate entry '8' for key 'PRIMARY'", "23000", 1062, ""}};
  for (const DatabaseError& error : errors) {
    const test::TempFolder folder;
    FaultyStore store;
    store.FullError = error;
    store.Full = true;
    Receiver receiver(folder.Path(), store);
    receiver.Take(1, 7);
    receiver.Start();
    EXPECT_TRUE(test::WaitUntil([&] { return !receiver.StoreAvailable(); })) << error.what();
    const int tries = store.Tries;
    EXPECT_TRUE(test::WaitUntil([&] { return store.Tries > tries + 2 * kQuick.RowTroubles; }));
    EXPECT_FALSE(std::filesystem::exists(folder / "quarantine.txt")) << error.what();
    store.Full = false;
    ASSERT_TRUE(test::WaitUntil([&] { return receiver.Idle(); }));
    receiver.Stop();
    EXPECT_EQ(store.Rows(), Range(1, 7));
    EXPECT_EQ(receiver.Counted().Quarantined, 0u);
  }
}

TEST(StoreWriter, AStoreThatDoesNotAnswerIsReportedAndItsCallIsLeftAlone) {
  const test::TempFolder folder;
  FaultyStore store;
  store.Halted = true;
  Receiver receiver(folder.Path(), store);
  receiver.Take(1, 3);
  receiver.Start();
  EXPECT_TRUE(test::WaitUntil([&] { return !receiver.StoreAvailable(); }));
  receiver.Take(4, 7);
  EXPECT_EQ(store.Tries, 1);
  store.Halted = false;
  store.Halted.notify_all();
  EXPECT_TRUE(test::WaitUntil([&] { return receiver.Idle() && receiver.StoreAvailable(); }));
  receiver.Stop();
  EXPECT_EQ(store.Rows(), Range(1, 7));
  EXPECT_GE(receiver.SpooledCount(), 3u);
  const std::string& log = receiver.Log();
  EXPECT_NE(log.find("has not answered for"), std::string::npos) << log;
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
}

TEST(Quarantine, HasABoundAndGivesBackWhatWasNotSkipped) {
  const test::TempFolder folder;
  SpooledTrap trap;
  trap.Row.EventDescription.assign(300, 'x');
  const std::string line = QuarantineLine(trap, "no");
  Quarantine quarantine(folder / "aside.txt", 2 * line.size());
  EXPECT_TRUE(quarantine.Add(trap, "no"));
  EXPECT_TRUE(quarantine.Add(trap, "no"));
  EXPECT_FALSE(quarantine.Add(trap, "no"));
  quarantine.TakeBack();  // nothing was added
  EXPECT_EQ(test::ReadFile(folder / "aside.txt"), line + line);
  std::filesystem::remove(folder / "aside.txt");
  EXPECT_TRUE(quarantine.Add(trap, "no"));
  quarantine.TakeBack();
  quarantine.TakeBack();
  EXPECT_EQ(test::ReadFile(folder / "aside.txt"), "");
}

}  // namespace
}  // namespace korvane::receiver
