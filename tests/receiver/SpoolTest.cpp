// The spool against a disk that tears, corrupts, fills up and comes back.

#include <gtest/gtest.h>

#include <numeric>
#include <thread>

#include "KeptLog.h"
#include "receiver/spool/Spool.h"
#include "receiver/spool/Spooler.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::receiver {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

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

std::vector<int> Range(int first, int last) {
  std::vector<int> numbers(static_cast<std::size_t>(last - first + 1));
  std::iota(numbers.begin(), numbers.end(), first);
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
  const fs::path file = folder_ / "0000000000000001.spool";
  const std::size_t second = whole.find("KVtr", 1);
  for (std::size_t i = second; i < whole.size(); i += i < whole.find("KVtr", second + 1) ? 1 : 13) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x41);
    test::WriteFile(file, damaged);
    SegmentReader reader(file);
    std::vector<std::uint64_t> left;
    while (const auto trap = reader.Next(damaged.size())) {
      EXPECT_EQ(trap->Row, Row(static_cast<int>(trap->Number)));
      left.push_back(trap->Number);
    }
    EXPECT_EQ(left.size(), 4u) << "byte " << i;
    EXPECT_TRUE(std::is_sorted(left.begin(), left.end()));
    EXPECT_EQ(reader.Damages(), 1u) << "byte " << i;
  }
  const Spool spool(folder_.Path());  // the file is still damaged
  EXPECT_EQ(spool.DamagedRecords(), 1u);
  EXPECT_EQ(spool.Waiting(), 4u);
}

TEST_F(SpoolTest, NumbersAscendEvenWhenTheFilesOfTheLastRunAreGone) {
  std::uint64_t last = 0;
  for (int run = 0; run < 3; ++run) {
    Spool spool(folder_.Path());
    EXPECT_GE(spool.RunStart(), last);
    AppendRows(spool, 1, 2);
    last = spool.LastNumber();
    fs::remove(Files(folder_.Path()).back());
  }
  // With the identity lost too, the store must not take this spool for the old one.
  std::string id;
  {
    Spool spool(folder_.Path());
    AppendRows(spool, 1, 2);
    id = spool.State().SpoolId;
    last = spool.LastNumber();
  }
  test::WriteFile(folder_ / "state", "spool = nonsense\n");
  Spool spool(folder_.Path());
  EXPECT_NE(spool.State().SpoolId, id);
  EXPECT_GE(spool.RunStart(), last);
  EXPECT_EQ(ReadAll(spool, 0), Range(1, 2));
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

}  // namespace
}  // namespace korvane::receiver
