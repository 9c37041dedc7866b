// A list of traps as its window shows it, for whatever walks it from top to bottom without a toolkit:
// printing, exporting, searching, the details of one trap.  A view: valid until the list changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "store/AcknowledgedBy.h"
#include "store/ChangeStamp.h"
#include "store/TrapRecord.h"
#include "traplist/TrapOrder.h"
#include "traplist/TrapRows.h"

namespace korvane::traplist {

struct ShownTraps {
  const TrapRows& Rows;
  const TrapOrder& Order;
  SourceShown Source = SourceShown::SourceText;
  std::int32_t TimeZoneBias = 0;                         // seconds; UTC = local time + bias
  const store::AcknowledgedBy* Acknowledgers = nullptr;  // of a list that has acknowledged traps

  std::size_t Count() const { return Rows.Count(); }
  // Positions count from 0 at the top.
  std::size_t RowAt(std::size_t position) const { return Order.RowAt(position); }
  store::IncomingTrap At(std::size_t position) const { return Rows.At(RowAt(position)); }
  // What the "Source" column shows of a trap.
  std::string_view SourceText(const store::IncomingTrap& trap) const {
    return Source == SourceShown::SourceText ? trap.Source : trap.SystemName;
  }
  // Who acknowledged it, as far as that is known.
  std::optional<store::ChangeStamp> AcknowledgedBy(const store::IncomingTrap& trap) const {
    return Acknowledgers != nullptr && trap.EventAck != 0
               ? Acknowledgers->Of(trap.SequenceNumber, trap.Source, trap.EventTime)
               : std::nullopt;
  }
};

}  // namespace korvane::traplist
