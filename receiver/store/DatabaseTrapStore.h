// The trap store in the database of the data source.  Beside EventTrap it uses one row of Receiver_State,
// which holds how far this spool is stored and moves in the same transaction as the rows, and one of
// Receiver_Heartbeat.
#pragma once

#include <optional>
#include <string>

#include "receiver/store/TrapStore.h"
#include "store/BatchInsert.h"
#include "store/Connection.h"

namespace korvane::receiver {

class DatabaseTrapStore : public TrapStore {
 public:
  explicit DatabaseTrapStore(std::string dataSource) : dataSource_(std::move(dataSource)) {}

  std::uint64_t Open(std::string_view spoolId, std::uint64_t highestPossible,
                     std::uint64_t remembered) override;
  void Store(std::span<const SpooledTrap> traps, std::uint64_t previous) override;
  void Skip(std::uint64_t number, std::uint64_t previous) override;
  void Probe() override;
  void Beat(bool stopped) override;
  void Close() noexcept override;

 private:
  void Insert(const TrapRow& row);
  void MoveStoredNumber(std::uint64_t from, std::uint64_t to);

  std::string dataSource_;
  std::string spoolId_;
  std::string machine_;
  store::Connection connection_;
  std::optional<store::BatchInsert> batch_;
};

}  // namespace korvane::receiver
