#include "store/Renumbering.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "store/ChangeLog.h"
#include "store/Recordset.h"
#include "store/Tables.h"
#include "store/TrapNumbers.h"
#include "store/TrapTableSwap.h"

namespace korvane::store {
namespace {

constexpr std::int64_t kRowsOfAPortion = 10'000;
constexpr std::size_t kEntriesAtOnce = 200;
// After each portion, for whoever wants to write to an embedded store.
constexpr auto kBreath = std::chrono::milliseconds(25);
constexpr auto kBeforeNextTry = std::chrono::seconds(2);
constexpr std::int64_t kFarBelow = std::numeric_limits<std::int32_t>::min();

constexpr std::array<std::string_view, 9> kColumnsBesideNumber = {
    "EventTime",        "Source",         "EnterpriseOid", "GenericTrap", "SpecificTrap",
    "EventDescription", "Event_ExtDescr", "EventNotes",    "EventAck"};

// A number that may be longer than 32 bits; nothing without a row, or for NULL.
std::optional<std::int64_t> LongNumber(Connection& connection, const std::string& select) {
  Recordset rows = connection.OpenRecordset(select);
  if (!rows.Next() || rows.IsNull("Found")) return std::nullopt;
  const std::string text = rows.Text("Found");
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Others write too: what is locked just now is tried again.  Outside a transaction only.
template <class Work>
auto Patiently(Work work) {
  constexpr int kTries = 60;
  constexpr std::array<std::int32_t, 4> kInUse = {5, 6, 1205, 1213};  // SQLite's and MariaDB's
  constexpr std::array<std::string_view, 3> kStates = {"40001", "40P01", "55P03"};
  for (int tried = 1;; ++tried) {
    try {
      return work();
    } catch (const DatabaseError& error) {
      const bool inUse = std::ranges::find(kInUse, error.NativeCode()) != kInUse.end() ||
                         std::ranges::find(kStates, error.SqlState()) != kStates.end();
      if (!inUse || tried == kTries) throw;
    }
    std::this_thread::sleep_for(kBreath);
  }
}

std::string NewIdentity() {
  std::random_device source;
  return fmt::format("{:08x}{:08x}{:08x}{:08x}", source(), source(), source(), source());
}

// Of the rows aside that belong to the traps above the one number, up to the other, only those stay that are
// like their trap.
void RemoveStale(Connection& connection, const std::string& from, std::int64_t shift, std::int64_t above,
                 std::int64_t to) {
  std::string same;
  for (const std::string_view column : kColumnsBesideNumber) {
    same += fmt::format(" AND o.{0} = {1}.{0}", column, kTrapsAside);
  }
  connection.Execute(fmt::format(
      "DELETE FROM {1} WHERE SequenceNumber > {3} AND SequenceNumber <= {4} AND NOT EXISTS (SELECT 1 FROM "
      "{0} o "
      "WHERE o.SequenceNumber = {1}.SequenceNumber + {2} AND o.SequenceNumber > {5} AND o.SequenceNumber <= "
      "{6}{7})",
      from, kTrapsAside, shift, above - shift, to - shift, above, to, same));
}

// Adds the traps of these numbers: all of them where none is there yet, else those that are missing.
void AddTraps(Connection& connection, const std::string& from, std::int64_t shift, std::int64_t above,
              std::int64_t to, bool someAreThere) {
  const std::string missing = fmt::format(
      " AND NOT EXISTS (SELECT 1 FROM {0} n WHERE n.SequenceNumber = o.SequenceNumber - {1} AND "
      "n.SequenceNumber > {2} AND n.SequenceNumber <= {3})",
      kTrapsAside, shift, above - shift, to - shift);
  connection.Execute(fmt::format(
      "INSERT INTO {} (SequenceNumber, {}) SELECT o.SequenceNumber - {}, o.{} FROM {} o WHERE "
      "o.SequenceNumber > "
      "{} AND o.SequenceNumber <= {}{}",
      kTrapsAside, fmt::join(kColumnsBesideNumber, ", "), shift, fmt::join(kColumnsBesideNumber, ", o."),
      from, above, to, someAreThere ? missing : std::string()));
}

// What of an entry's numbers the kept traps have, by their new numbers.
std::vector<NumberRange> Moved(const std::vector<NumberRange>& numbers, const RenumberPlan& plan) {
  // Above the end, everything was written down as the last number there is.
  const bool damaged = plan.Last > kLastTrapNumber;
  std::vector<NumberRange> moved;
  for (const NumberRange& range : numbers) {
    const std::int64_t first = std::max<std::int64_t>(range.First - plan.Shift(), 1);
    const std::int64_t last = range.Last - plan.Shift();
    if (last < 1 || (damaged && range.Last == kLastTrapNumber)) continue;
    moved.push_back({static_cast<std::int32_t>(first), static_cast<std::int32_t>(last)});
  }
  return moved;
}

}  // namespace

std::string RenumberPlan::Objection() const {
  if (Unfinished) {
    return "Another run is under way, or one was broken off. When none is under way, clear up with "
           "\"korvane-renumber --clear-up\".";
  }
  if (!Obstacle.empty()) return Obstacle;
  if (NewLast() > kLastTrapNumber) {
    return fmt::format("The kept traps span {} numbers, and there are {}. Have old traps deleted first.",
                       NewLast(), kLastTrapNumber);
  }
  if (Given - NewLast() <= 0) {
    return "Nothing would be gained: the oldest kept trap has number 1. Have old traps deleted first.";
  }
  if (Free && *Free < BytesNeeded) {
    return fmt::format("The disk of the store has {} MiB free, and the work needs {} MiB.", *Free >> 20,
                       BytesNeeded >> 20);
  }
  return {};
}

Renumbering::Renumbering(Connection& connection)
    : connection_(connection), swap_(MakeTrapTableSwap(connection)) {}

Renumbering::~Renumbering() = default;

RenumberPlan Renumbering::Plan() {
  RenumberPlan plan;
  plan.Unfinished = swap_->Unfinished();
  if (plan.Unfinished) return plan;
  plan.Obstacle = swap_->Obstacle();
  const auto number = [this](std::string_view aggregate) {
    return LongNumber(connection_,
                      fmt::format("SELECT {}(SequenceNumber) AS Found FROM {}", aggregate, kEventTrap))
        .value_or(0);
  };
  plan.First = number("MIN");
  plan.Last = number("MAX");
  // One engine counts on behind the end.
  plan.Given = std::max(std::min(swap_->LastGiven(), kLastTrapNumber), plan.Last);
  const TrapTableSwap::Size size = swap_->Measure();
  plan.Bytes = size.Bytes;
  plan.BytesNeeded = size.Needed;
  plan.Free = size.Free;
  return plan;
}

bool Renumbering::Run(const RenumberPlan& plan, const Progress& progress) {
  try {
    const std::string identity = NewIdentity();
    swap_->MakeAside(plan.NewLast(), identity);
    if (Copy(std::string(kEventTrap), plan, RenumberStage::Copying, progress)) {
      swap_->Complete();
      const std::string from = Patiently([this] {
        connection_.Rollback();
        return swap_->Close();
      });
      swap_->MakeRoom(
          LongNumber(connection_, fmt::format("SELECT MAX(SequenceNumber) AS Found FROM {}", from))
              .value_or(plan.Shift()) -
          plan.Shift());
      if (Copy(from, plan, RenumberStage::Closed, progress)) {
        if (!connection_.InTransaction()) connection_.BeginTransaction();
        MoveChangeLog(plan);
        const std::int64_t last =
            LongNumber(connection_, fmt::format("SELECT MAX(SequenceNumber) AS Found FROM {}", kTrapsAside))
                .value_or(0);
        swap_->Swap(identity, last);
        TidyUp(identity);
        return true;
      }
    }
  } catch (const DatabaseError&) {
    connection_.Rollback();
    try {
      swap_->TakeBack();
    } catch (const DatabaseError&) {  // NOLINT(bugprone-empty-catch): what failed first says more
    }
    throw;
  }
  connection_.Rollback();
  swap_->TakeBack();
  return false;
}

// The server may just be back, or another program hold what is needed for a moment.
void Renumbering::TidyUp(const std::string& identity) {
  constexpr int kTries = 3;
  for (int tried = 1;; ++tried) {
    try {
      Patiently([&] { swap_->TidyUp(identity); });
      return;
    } catch (const DatabaseError& error) {
      if (tried == kTries) {
        warning_ = fmt::format(
            "The traps have their new numbers, but what was left to do failed ({}). Run \"korvane-renumber "
            "--clear-up\", and start the consoles anew.",
            error.what());
        return;
      }
    }
    std::this_thread::sleep_for(kBeforeNextTry);
  }
}

void Renumbering::ClearUp() {
  swap_->TakeBack();
}

// In portions that hold up nobody for long.  The second time they find most rows there.
bool Renumbering::Copy(const std::string& from, const RenumberPlan& plan, RenumberStage stage,
                       const Progress& progress) {
  const double span = static_cast<double>(std::max<std::int64_t>(plan.Last - plan.First, 1));
  std::int64_t above = kFarBelow;
  while (true) {
    const std::optional<std::int64_t> to = LongNumber(
        connection_,
        fmt::format("SELECT MAX(SequenceNumber) AS Found FROM (SELECT SequenceNumber FROM {} WHERE "
                    "SequenceNumber > {} ORDER BY SequenceNumber LIMIT {}) AS t",
                    from, above, kRowsOfAPortion));
    if (stage == RenumberStage::Closed) {
      // Behind the last trap nothing stays.
      const std::int64_t end = std::max(plan.Last, above) + kLastTrapNumber;
      RemoveStale(connection_, from, plan.Shift(), above, to.value_or(end));
    }
    if (!to) return true;
    if (stage == RenumberStage::Copying) {
      Patiently([&] { AddTraps(connection_, from, plan.Shift(), above, *to, false); });
    } else {
      AddTraps(connection_, from, plan.Shift(), above, *to, true);
    }
    above = *to;
    const double done = static_cast<double>(above - plan.First) / span;
    if (!progress(stage, std::clamp(done, 0.0, 1.0))) return false;
    if (stage == RenumberStage::Copying) std::this_thread::sleep_for(kBreath);
  }
}

// Entries on traps of which none is kept go: what they say, nobody can ask for any more.
void Renumbering::MoveChangeLog(const RenumberPlan& plan) {
  std::int64_t last = 0;
  while (true) {
    const std::vector<Change> entries =
        ReadChanges(connection_, fmt::format("Change_ID > {} AND Numbers <> ''", last), kEntriesAtOnce);
    if (entries.empty()) return;
    last = entries.back().ChangeId;
    std::string cases;
    std::vector<std::int32_t> kept;
    std::vector<std::int32_t> gone;
    for (const Change& entry : entries) {
      const std::vector<NumberRange> moved = Moved(entry.Traps.Numbers, plan);
      (moved.empty() ? gone : kept).push_back(entry.ChangeId);
      if (!moved.empty()) cases += fmt::format(" WHEN {} THEN '{}'", entry.ChangeId, NumbersText(moved));
    }
    if (!kept.empty()) {
      connection_.Execute(fmt::format("UPDATE {} SET Numbers = CASE Change_ID{} END WHERE Change_ID IN ({})",
                                      kChangeLog, cases, fmt::join(kept, ", ")));
    }
    if (!gone.empty()) {
      connection_.Execute(
          fmt::format("DELETE FROM {} WHERE Change_ID IN ({})", kChangeLog, fmt::join(gone, ", ")));
    }
  }
}

}  // namespace korvane::store
