// The rows of one list of traps, compact: what repeats from row to row (systems, kinds of trap) is stored
// once and counted, a row owns only its bindings and its notes.  Used by the Traps windows and the reports;
// rows stand in the order they arrived in, and other orders are laid over them by TrapOrder.
// User-interface thread only.  Row numbers count from 0 and change when rows before them go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/TrapRecord.h"
#include "traplist/TextArena.h"

namespace korvane::traplist {

class TrapRows {
 public:
  TrapRows();
  ~TrapRows();
  TrapRows(TrapRows&&) noexcept;
  TrapRows& operator=(TrapRows&&) noexcept;

  std::size_t Count() const { return count_; }
  bool Empty() const { return count_ == 0; }
  // What the bindings take: of all that rows hold the part that a sender can make long.
  std::size_t BindingBytes() const { return texts_.LivingBytes(); }

  // Copies what it keeps; only the definition stays shared, which must outlive the rows.
  void Append(const store::IncomingTrap& trap);
  void DropFront(std::size_t count);
  // The rows ascending, each once; one pass over the list, however many they are.
  void Remove(std::span<const std::uint32_t> rows);
  void Clear();

  // The whole trap, but for how its bindings divide.  Its texts hold until the row goes, rows are removed, or
  // its notes are replaced.
  store::IncomingTrap At(std::size_t row) const;

  // Single fields, for what looks at many rows.
  std::int32_t SequenceNumberAt(std::size_t row) const { return Row(row).SequenceNumber; }
  std::int32_t EventTimeAt(std::size_t row) const { return Row(row).EventTime; }
  std::int32_t SeverityAt(std::size_t row) const { return Row(row).Severity; }
  bool IsAcknowledgedAt(std::size_t row) const { return Row(row).Acknowledged; }
  bool HasNotesAt(std::size_t row) const { return Row(row).HasNotes; }
  std::string_view VarBindsAt(std::size_t row) const { return Row(row).VarBinds.View(); }
  std::string_view SourceAt(std::size_t row) const;
  std::string_view SystemNameAt(std::size_t row) const;
  std::string_view TrapNameAt(std::size_t row) const;

  // Rows with the same numbers have the same source, system name and address; or the same enterprise OID,
  // codes and definition.  The numbers are below the bound and are used again once no row has them.
  std::uint32_t OriginAt(std::size_t row) const { return Row(row).Origin; }
  std::uint32_t KindAt(std::size_t row) const { return Row(row).Kind; }
  std::size_t OriginBound() const;
  std::size_t KindBound() const;

  // The row of a SequenceNumber.  The first call builds an index, which is kept up to date from then on.
  std::optional<std::size_t> Find(std::int32_t sequenceNumber) const;

  void SetNotes(std::size_t row, std::string_view notes);
  void SetAcknowledged(std::size_t row, bool acknowledged) { Row(row).Acknowledged = acknowledged; }

 private:
  struct StoredRow {
    TextArena::Stored VarBinds;
    std::int32_t SequenceNumber = 0;
    std::int32_t EventTime = 0;
    std::uint32_t Origin = 0;
    std::uint32_t Kind = 0;
    std::int32_t Severity = 0;
    bool Acknowledged = false;
    bool HasNotes = false;
  };
  struct Origins;
  struct Kinds;

  static constexpr std::size_t kBlockRows = 1024;

  const StoredRow& Row(std::size_t row) const {
    const std::size_t at = first_ + row;
    return blocks_[at / kBlockRows][at % kBlockRows];
  }
  StoredRow& Row(std::size_t row) {
    const std::size_t at = first_ + row;
    return blocks_[at / kBlockRows][at % kBlockRows];
  }
  void Release(const StoredRow& row);
  void Index(std::size_t row) const;
  void FreeUnusedBlocks();
  void RepackTexts();

  std::vector<std::unique_ptr<StoredRow[]>> blocks_;
  std::size_t first_ = 0;  // rows of the first block that are gone
  std::size_t count_ = 0;
  TextArena texts_;
  std::unique_ptr<Origins> origins_;
  std::unique_ptr<Kinds> kinds_;
  std::unordered_map<std::int32_t, std::string> notes_;  // by SequenceNumber; few traps have any

  // SequenceNumber to row plus everything dropped from the front so far; not there until it is asked for.
  mutable std::optional<std::unordered_map<std::int32_t, std::uint64_t>> index_;
  std::uint64_t dropped_ = 0;
};

}  // namespace korvane::traplist
