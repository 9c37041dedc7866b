#include "traplist/TrapBatch.h"

#include <string_view>

namespace korvane::traplist {

namespace {

std::uint32_t Length(std::string_view text) {
  return static_cast<std::uint32_t>(text.size());
}

}  // namespace

void TrapBatch::Append(const store::IncomingTrap& trap) {
  rows_.push_back({.Texts = texts_.size(),
                   .SourceLength = Length(trap.Source),
                   .EnterpriseOidLength = Length(trap.EnterpriseOid),
                   .VarBindsLength = Length(trap.VarBinds),
                   .NotesLength = Length(trap.EventNotes),
                   .SequenceNumber = trap.SequenceNumber,
                   .EventTime = trap.EventTime,
                   .GenericTrap = trap.GenericTrap,
                   .SpecificTrap = trap.SpecificTrap,
                   .EventAck = trap.EventAck});
  texts_.append(trap.Source).append(trap.EnterpriseOid).append(trap.VarBinds).append(trap.EventNotes);
}

void TrapBatch::Get(std::size_t row, store::IncomingTrap& trap) const {
  const Row& stored = rows_[row];
  const char* at = texts_.data() + stored.Texts;
  const auto next = [&at](std::uint32_t length) {
    const std::string_view text(at, length);
    at += length;
    return text;
  };
  trap.Source = next(stored.SourceLength);
  trap.EnterpriseOid = next(stored.EnterpriseOidLength);
  trap.VarBinds = next(stored.VarBindsLength);
  trap.EventNotes = next(stored.NotesLength);
  trap.SequenceNumber = stored.SequenceNumber;
  trap.EventTime = stored.EventTime;
  trap.GenericTrap = stored.GenericTrap;
  trap.SpecificTrap = stored.SpecificTrap;
  trap.EventAck = stored.EventAck;
}

void TrapBatch::Clear() {
  rows_.clear();
  texts_.clear();
}

}  // namespace korvane::traplist
