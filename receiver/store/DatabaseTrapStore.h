// The trap store in the database of the data source.  Beside EventTrap it uses one row of Receiver_State,
// which holds how far this spool is stored and moves in the same transaction as the rows, and one of
// Receiver_Heartbeat; in a group of receivers also that of Receiver_Duty.  A transaction that collides with
// another one is run once more.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "receiver/store/EmbeddedInsert.h"
#include "receiver/store/TrapStore.h"
#include "store/BatchInsert.h"
#include "store/Connection.h"

namespace korvane::receiver {

class DatabaseTrapStore : public TrapStore {
 public:
  // Of an embedded store: warn is told what an administrator should know of its files, on the calling thread;
  // turns are those of all who write to it in this process.
  explicit DatabaseTrapStore(std::string dataSource, EmbeddedInsert::Warn warn = {},
                             WriteTurns* turns = nullptr)
      : dataSource_(std::move(dataSource)), warn_(std::move(warn)), turns_(turns) {}

  std::uint64_t Open(std::string_view spoolId, std::uint64_t highestPossible,
                     std::uint64_t remembered) override;
  void Store(std::span<const SpooledTrap> traps, std::uint64_t previous) override;
  void Skip(std::uint64_t number, std::uint64_t previous) override;
  void Claim(std::optional<DutyClaim> claim) override { claim_ = std::move(claim); }
  void With(const std::function<void(store::Connection&)>& work) override;
  void Probe() override;
  void Beat(const store::ReceiverCondition& condition, bool stopped) override;
  std::filesystem::path Folder() const override;
  void Close() noexcept override;

 private:
  void Introduce(std::uint64_t remembered);
  void Insert(const TrapRow& row);
  void StoreAll(std::span<const SpooledTrap> traps, std::uint64_t previous);
  void BeginClaim();
  void EndClaim();
  void StoreEmbedded(std::span<const SpooledTrap> traps, std::vector<std::string> statements);
  std::vector<std::string> MoveStatements(std::uint64_t from, std::uint64_t to) const;
  void Move(std::uint64_t from, std::uint64_t to);
  void NoteConfirmed(std::uint64_t number);
  WriteTurns* TurnsHere() const;

  std::string dataSource_;
  EmbeddedInsert::Warn warn_;
  WriteTurns* turns_;
  std::string spoolId_;
  std::string machine_;
  // Numbers of traps are given again: what consoles hold by number is void, and Store_Info has to say so.
  bool wentBack_ = false;
  std::uint64_t confirmed_ = 0;  // the highest number that the store is known to have had of this spool
  std::optional<DutyClaim> claim_;
  store::Connection connection_;
  // One of them adds the rows, by the engine.
  std::optional<store::BatchInsert> batch_;
  std::optional<EmbeddedInsert> embedded_;
};

}  // namespace korvane::receiver
