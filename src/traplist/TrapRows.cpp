#include "traplist/TrapRows.h"

#include <functional>
#include <utility>

#include "traplist/SharedValues.h"

namespace korvane::traplist {

namespace {

struct OriginKey {
  std::string_view Source;
  std::string_view SystemName;
  std::string_view SystemAddress;
  bool operator==(const OriginKey&) const = default;
};

struct Origin {
  Origin() = default;
  explicit Origin(const OriginKey& key)
      : Source(key.Source), SystemName(key.SystemName), SystemAddress(key.SystemAddress) {}
  OriginKey Key() const { return {Source, SystemName, SystemAddress}; }

  std::string Source;
  std::string SystemName;
  std::string SystemAddress;
};

// One source has one name and address but for the moment it is renamed, so its text alone spreads well.
struct OriginHash {
  std::size_t operator()(const OriginKey& key) const { return std::hash<std::string_view>()(key.Source); }
};

struct KindKey {
  std::string_view EnterpriseOid;
  std::string_view OwnName;
  const store::TrapDefinition* Definition;
  std::int32_t SpecificTrap;
  std::int32_t GenericTrap;
  bool operator==(const KindKey&) const = default;
};

struct Kind {
  Kind() = default;
  explicit Kind(const KindKey& key)
      : EnterpriseOid(key.EnterpriseOid),
        OwnName(key.OwnName),
        Definition(key.Definition),
        SpecificTrap(key.SpecificTrap),
        GenericTrap(key.GenericTrap) {}
  KindKey Key() const { return {EnterpriseOid, OwnName, Definition, SpecificTrap, GenericTrap}; }

  std::string EnterpriseOid;
  std::string OwnName;
  const store::TrapDefinition* Definition = nullptr;
  std::int32_t SpecificTrap = 0;
  std::int32_t GenericTrap = 0;
};

struct KindHash {
  std::size_t operator()(const KindKey& key) const {
    const auto codes = (std::uint64_t{static_cast<std::uint32_t>(key.SpecificTrap)} << 32) |
                       static_cast<std::uint32_t>(key.GenericTrap);
    return std::hash<std::string_view>()(key.EnterpriseOid) ^ (codes * 0x9E3779B97F4A7C15U);
  }
};

}  // namespace

struct TrapRows::Origins : SharedValues<Origin, OriginKey, OriginHash> {};
struct TrapRows::Kinds : SharedValues<Kind, KindKey, KindHash> {};

TrapRows::TrapRows() : origins_(std::make_unique<Origins>()), kinds_(std::make_unique<Kinds>()) {}
TrapRows::~TrapRows() = default;

TrapRows::TrapRows(TrapRows&& other) noexcept : TrapRows() {
  *this = std::move(other);
}

TrapRows& TrapRows::operator=(TrapRows&& other) noexcept {
  std::swap(blocks_, other.blocks_);
  std::swap(first_, other.first_);
  std::swap(count_, other.count_);
  std::swap(texts_, other.texts_);
  std::swap(origins_, other.origins_);
  std::swap(kinds_, other.kinds_);
  std::swap(notes_, other.notes_);
  std::swap(index_, other.index_);
  std::swap(dropped_, other.dropped_);
  return *this;
}

void TrapRows::Append(const store::IncomingTrap& trap) {
  const std::size_t at = first_ + count_;
  if (at / kBlockRows == blocks_.size()) {
    blocks_.push_back(std::make_unique<StoredRow[]>(kBlockRows));
  }
  StoredRow& row = blocks_[at / kBlockRows][at % kBlockRows];
  row.VarBinds = texts_.Add(trap.VarBinds);
  row.SequenceNumber = trap.SequenceNumber;
  row.EventTime = trap.EventTime;
  row.Origin = origins_->Add({trap.Source, trap.SystemName, trap.SystemAddress});
  row.Kind =
      kinds_->Add({trap.EnterpriseOid, trap.OwnName, trap.Definition, trap.SpecificTrap, trap.GenericTrap});
  row.Severity = trap.Severity;
  row.Acknowledged = trap.EventAck != 0;
  row.HasNotes = !trap.EventNotes.empty();
  if (row.HasNotes) {
    notes_.insert_or_assign(row.SequenceNumber, std::string(trap.EventNotes));
  }
  ++count_;
  if (index_) {
    Index(count_ - 1);
  }
}

void TrapRows::Release(const StoredRow& row) {
  texts_.Release(row.VarBinds);
  origins_->Release(row.Origin);
  kinds_->Release(row.Kind);
  if (row.HasNotes) {
    notes_.erase(row.SequenceNumber);
  }
}

void TrapRows::DropFront(std::size_t count) {
  if (count >= count_) {
    Clear();
    return;
  }
  for (std::size_t i = 0; i < count; ++i) {
    const StoredRow& row = Row(i);
    if (index_) {
      const auto entry = index_->find(row.SequenceNumber);
      if (entry != index_->end() && entry->second == dropped_ + i) {
        index_->erase(entry);
      }
    }
    Release(row);
  }
  first_ += count;
  count_ -= count;
  dropped_ += count;
  blocks_.erase(blocks_.begin(), blocks_.begin() + static_cast<std::ptrdiff_t>(first_ / kBlockRows));
  first_ %= kBlockRows;
}

void TrapRows::Remove(std::span<const std::uint32_t> rows) {
  if (rows.empty()) {
    return;
  }
  if (rows.size() == count_) {
    Clear();
    return;
  }
  std::size_t kept = rows.front();
  auto next = rows.begin();
  for (std::size_t i = rows.front(); i < count_; ++i) {
    if (next != rows.end() && *next == i) {
      Release(Row(i));
      ++next;
    } else {
      Row(kept++) = Row(i);
    }
  }
  count_ = kept;
  index_.reset();
  FreeUnusedBlocks();
  if (texts_.IsSparse()) {
    RepackTexts();
  }
}

void TrapRows::Clear() {
  const std::uint64_t dropped = dropped_ + count_;
  *this = TrapRows();
  dropped_ = dropped;
}

void TrapRows::FreeUnusedBlocks() {
  blocks_.resize((first_ + count_ + kBlockRows - 1) / kBlockRows);
}

void TrapRows::RepackTexts() {
  TextArena packed;
  for (std::size_t i = 0; i < count_; ++i) {
    Row(i).VarBinds = packed.Add(Row(i).VarBinds.View());
  }
  texts_ = std::move(packed);
}

store::IncomingTrap TrapRows::At(std::size_t row) const {
  const StoredRow& stored = Row(row);
  const Origin& origin = origins_->At(stored.Origin);
  const Kind& kind = kinds_->At(stored.Kind);
  store::IncomingTrap trap;
  trap.Source = origin.Source;
  trap.SystemName = origin.SystemName;
  trap.SystemAddress = origin.SystemAddress;
  trap.EnterpriseOid = kind.EnterpriseOid;
  trap.VarBinds = stored.VarBinds.View();
  if (stored.HasNotes) {
    const auto notes = notes_.find(stored.SequenceNumber);
    trap.EventNotes = notes != notes_.end() ? std::string_view(notes->second) : std::string_view();
  }
  trap.Definition = kind.Definition;
  trap.OwnName = kind.OwnName;
  trap.SpecificTrap = kind.SpecificTrap;
  trap.GenericTrap = kind.GenericTrap;
  trap.Severity = stored.Severity;
  trap.EventTime = stored.EventTime;
  trap.SequenceNumber = stored.SequenceNumber;
  trap.EventAck = stored.Acknowledged ? 1 : 0;
  return trap;
}

std::string_view TrapRows::SourceAt(std::size_t row) const {
  return origins_->At(Row(row).Origin).Source;
}

std::string_view TrapRows::SystemNameAt(std::size_t row) const {
  return origins_->At(Row(row).Origin).SystemName;
}

std::string_view TrapRows::TrapNameAt(std::size_t row) const {
  const Kind& kind = kinds_->At(Row(row).Kind);
  return kind.Definition->TrapName.empty() ? kind.OwnName : kind.Definition->TrapName;
}

std::size_t TrapRows::OriginBound() const {
  return origins_->Bound();
}
std::size_t TrapRows::KindBound() const {
  return kinds_->Bound();
}

void TrapRows::Index(std::size_t row) const {
  index_->emplace(Row(row).SequenceNumber, dropped_ + row);
}

std::optional<std::size_t> TrapRows::Find(std::int32_t sequenceNumber) const {
  if (!index_) {
    index_.emplace();
    index_->reserve(count_);
    for (std::size_t i = 0; i < count_; ++i) {
      Index(i);
    }
  }
  const auto entry = index_->find(sequenceNumber);
  if (entry == index_->end()) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(entry->second - dropped_);
}

void TrapRows::SetNotes(std::size_t row, std::string_view notes) {
  StoredRow& stored = Row(row);
  stored.HasNotes = !notes.empty();
  if (stored.HasNotes) {
    notes_.insert_or_assign(stored.SequenceNumber, std::string(notes));
  } else {
    notes_.erase(stored.SequenceNumber);
  }
}

}  // namespace korvane::traplist
