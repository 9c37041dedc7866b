// Carries traps from the spool to the trap store: batches of up to 4,000 rows or 200 ms, one transaction
// each, in order of reception.  A thread of its own runs Run; everything else here may be called from any
// thread.
//
// In a group of receivers that get the same traps it does so while it has the duty (Duty), and passes over
// what another one has stored.
//
// The store being away is a normal state: traps stay in the spool and the store is tried again with a growing
// pause.  A store that holds a call for long counts as away too.  A trap that the store refuses by itself is
// found by halving the batch and goes to the quarantine file, so that it never blocks the others.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "receiver/Counters.h"
#include "receiver/ServiceLog.h"
#include "receiver/spool/Quarantine.h"
#include "receiver/spool/Spool.h"
#include "receiver/store/DiskWatch.h"
#include "receiver/store/Duty.h"
#include "receiver/store/TrapStore.h"
#include "receiver/store/WatchedTrapStore.h"

namespace korvane::receiver {

struct WriterOptions {
  std::size_t BatchRows = 4000;
  std::size_t BatchBytes = std::size_t{4} << 20;
  std::chrono::milliseconds BatchTime{200};
  std::chrono::milliseconds FirstPause{250};  // after a failure; doubled up to the longest
  std::chrono::milliseconds LongestPause{5000};
  std::chrono::milliseconds BeatEvery{5000};
  // Failures of one row alone, while the store takes others, before it is put into quarantine; the second
  // number for errors that rather speak of the store than of the row.
  int RowFailures = 3;
  int RowTroubles = 20;
  // What a call into the store may take before the store counts as away.
  std::chrono::milliseconds LongestCall{15000};
  // Told of what was stored, in order, on the writing thread; must not wait.
  std::function<void(std::span<const SpooledTrap>)> Stored = {};
  // Told of what another receiver of the group has stored, likewise.
  std::function<void(std::span<const SpooledTrap>)> PassedOver = {};
  // Asked before each beat, on the writing thread, for what the beat tells; how full the disks are is filled
  // in here.
  std::function<store::ReceiverCondition()> Condition = {};
  DiskWatch::Measure UsedOfDisk = receiver::UsedOfDisk;
  DutyOptions Duty = {};
};

class StoreWriter {
 public:
  StoreWriter(Spool& spool, TrapStore& store, Quarantine quarantine, Counters& counters, ServiceLog& log,
              WriterOptions options = {});

  // Until Stop.
  void Run();
  // Lets Run end: after what can still be stored within the time, the rest stays in the spool.
  void Stop(std::chrono::milliseconds longest);

  // False while the store can't be reached, takes nothing, or has not answered for long.
  bool StoreAvailable() const { return available_; }
  // Traps of this run or found at its start that had to wait for the store.
  std::uint64_t SpooledCount() const;

 private:
  // One turn of Run: connect, wait for a batch, store it.  False when there is a reason to pause.
  bool Turn();
  bool Connect();
  bool Fill();
  bool StoreBatch();
  void LookAtDisks();
  // Between batches: false when the store does not take it.
  bool ShowAlive();
  store::ReceiverCondition Condition();
  std::span<const SpooledTrap> Batch() const { return std::span(batch_).subspan(batchStart_); }
  void DropFromBatch(std::size_t rows);
  void SayThatItEnds();
  bool AfterFailure(const store::DatabaseError& error, std::size_t rows);
  bool PutIntoQuarantine(const std::string& reason);
  // With the number that the store has reached.
  void SettleQuarantine(std::uint64_t stored);
  // Closes the store until the next try.  False.
  bool GiveUp(const store::DatabaseError& error);
  void TellDone(std::span<const SpooledTrap> traps);
  void Advance(std::uint64_t number);
  void Pause();
  // On the writing thread, or on the watching one while the writing one is held in the store.
  void NoteUnavailable(const std::string& reason);
  void NoteAvailable();
  bool Ended() const;

  Spool& spool_;
  Quarantine quarantine_;
  Counters& counters_;
  ServiceLog& log_;
  const WriterOptions options_;

  std::atomic<bool> stopping_ = false;
  std::atomic<std::int64_t> stopAt_ = 0;  // steady clock, milliseconds
  std::atomic<bool> available_ = true;
  std::atomic<std::uint64_t> outageFrom_ = 0;  // the last number that did not have to wait
  std::atomic<std::uint64_t> spooledBefore_ = 0;

  // Of the writing thread.
  bool connected_ = false;
  bool everConnected_ = false;
  std::int32_t diskUsed_ = 0;
  bool passes_ = false;            // the traps of the last transaction were passed over
  std::uint64_t stored_ = 0;       // as the trap store has it
  std::uint64_t countedUpTo_ = 0;  // traps up to here are in spooledBefore_ or did not wait
  // Read from the spool; those before the start are stored.
  std::vector<SpooledTrap> batch_;
  std::size_t batchStart_ = 0;
  std::size_t limit_ = 0;  // rows of the next transaction; less than a batch after a failure
  int failures_ = 0;       // in a row, of the first trap of the batch alone
  int troubles_ = 0;       // of the store, in a row
  std::chrono::milliseconds pause_{0};
  std::chrono::steady_clock::time_point lastReminder_;
  std::chrono::steady_clock::time_point lastBeat_;
  DiskWatch disks_;
  std::chrono::steady_clock::time_point lastLookAtDisks_;
  std::string aside_;  // what is to be said of the first trap of the batch once it is known to be skipped

  WatchedTrapStore store_;  // behind the others: its thread uses them
  Duty duty_;
};

}  // namespace korvane::receiver
