#include "intake/StoreLedger.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

#include "store/Tables.h"

namespace korvane::intake {
namespace {

struct RuleTable {
  std::string_view Table;
  store::ChangeKind Kind;
};

constexpr std::array<RuleTable, 4> kRules = {{{store::kTrapFilterGroup, store::ChangeKind::Filters},
                                              {store::kCategoryGroupMaster, store::ChangeKind::Categories},
                                              {store::kTrapGroup, store::ChangeKind::Categories},
                                              {store::kEventStructure, store::ChangeKind::TrapNames}}};

std::int64_t CountRows(store::Connection& connection, std::string_view table, std::string_view condition) {
  store::Recordset rows =
      connection.OpenRecordset(fmt::format("SELECT COUNT(*) FROM {}{}", table, condition));
  return rows.Next() ? rows.Integer(std::size_t{0}) : 0;
}

}  // namespace

void StoreLedger::Read(const StoreNews& news) {
  known_ = known_ && !news.Unexplained;
  for (const store::Change& change : news.Changes) {
    using store::ChangeKind;
    for (std::size_t rule = 0; rule < kRules.size(); ++rule) {
      changed_[rule] = changed_[rule] || kRules[rule].Kind == change.Kind;
    }
    const bool back = change.Kind == ChangeKind::Unacknowledged;
    if (back || change.Kind == ChangeKind::Acknowledged || change.Kind == ChangeKind::Purged) {
      known_ = known_ && change.Rows.has_value();
      expected_ += (back ? 1 : -1) * std::int64_t{change.Rows.value_or(0)};
    }
  }
}

StoreLedger::Counts StoreLedger::ReadCounts(store::Connection& connection) {
  Counts counts;
  counts.Unacknowledged = CountRows(connection, store::kEventTrap, " WHERE EventAck = 0");
  for (std::size_t rule = 0; rule < kRules.size(); ++rule) {
    counts.Rules[rule] = CountRows(connection, kRules[rule].Table, {});
  }
  return counts;
}

bool StoreLedger::Differs(store::Connection& connection) {
  const Counts now = ReadCounts(connection);
  bool differs = last_ && known_ && now.Unacknowledged != last_->Unacknowledged + expected_;
  for (std::size_t rule = 0; rule < kRules.size(); ++rule) {
    differs = differs || (last_ && !changed_[rule] && now.Rules[rule] != last_->Rules[rule]);
  }
  last_ = now;
  expected_ = 0;
  known_ = true;
  changed_ = {};
  return differs;
}

}  // namespace korvane::intake
