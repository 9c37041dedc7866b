// The queue between reception and the trap store, kept in files.  Every trap passes through it: while the
// store keeps up its files are read back from the page cache and soon deleted, and while the store is away
// they grow.  One road for both cases, so that an outage or a kill needs no other code than a quiet day.
//
// Traps are numbered, ascending across restarts.  The trap store remembers the number it has reached together
// with the rows themselves, in one transaction; that number, not the state of the files, decides what is
// stored again, so nothing is lost or doubled wherever the process dies.
//
// Append and Sync belong to one thread, Read and MarkStored to another; the rest is safe from any, a place by
// one at a time.  What can't be written (disk full) is kept in memory in its place in the order and written
// later.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "receiver/spool/Files.h"
#include "receiver/spool/SegmentReader.h"
#include "receiver/spool/SpoolRecord.h"
#include "receiver/spool/StateFile.h"

namespace korvane::receiver {

struct SpoolOptions {
  std::uint64_t SegmentBytes = std::uint64_t{16} << 20;
  // Stored files are kept a while: a store that loses its last commits with the power (an embedded one that
  // does not sync each of them) then gets those traps again.
  std::uint64_t KeptBytes = std::uint64_t{64} << 20;
  std::chrono::seconds KeptTime{600};
  // What is stored and was not looked at for alerts stays longer than that, up to so much.
  std::uint64_t UnlookedBytes = std::uint64_t{512} << 20;
  // Stands in for pwrite and fdatasync where a test wants them to fail; 0 or an errno.
  std::function<int(const FileDescriptor&, std::string_view, std::uint64_t)> Write = WriteAt;
  std::function<int(const FileDescriptor&)> SyncFile = SyncData;
};

// Where somebody reads a spool.
class SpoolPlace {
 private:
  friend class Spool;
  std::optional<SegmentReader> reader_;
  std::uint64_t first_ = 0;  // which segment the reader is in
  std::uint64_t upTo_ = 0;   // the last number that was given out
};

class Spool {
 public:
  // Makes the folder where it is missing.  Throws std::system_error when the folder can't be used and
  // std::runtime_error when another process uses it.
  explicit Spool(const std::filesystem::path& folder, SpoolOptions options = {});

  const ReceiverState& State() const { return state_; }
  // The file "state" was lost while others of the folder were not: the store does not know this spool, and
  // what the file "stored" remembers decides.
  bool LostIdentity() const { return lostIdentity_; }
  // Every number of this run is greater; every number of an earlier run is not.
  std::uint64_t RunStart() const { return runStart_; }
  // The same of the run that a number is of: the first after it is one more.
  static std::uint64_t StartOfRun(std::uint64_t number);
  // Keys of the informs that earlier runs received last, found when the files were opened; the oldest first.
  const std::vector<std::uint64_t>& EarlierInforms() const { return earlierInforms_; }
  // When the last trap came that earlier runs left behind, UTC seconds; 0: there is none.
  std::int32_t EarlierEnd() const { return earlierEnd_; }
  // What the file beside the spool remembers as stored, for a store that knows nothing of this spool.
  std::uint64_t RememberedStored() const { return rememberedStored_; }

  void Append(std::span<const TrapRow> rows);
  // Writes and syncs everything appended so far; false when that isn't possible now.
  bool Sync();
  // The errno of the last write or sync, 0 when it went well.
  int LastError() const { return lastError_; }
  std::size_t UnwrittenBytes() const { return unwrittenBytes_; }
  std::uint64_t LastNumber() const { return lastNumber_; }

  // The traps after a number, in order, up to either limit (but at least one).  Throws std::system_error.
  std::vector<SpooledTrap> Read(std::uint64_t after, std::size_t maxRows, std::size_t maxBytes);
  // The same at another place, for somebody who reads again what was read before.
  std::vector<SpooledTrap> ReadAgain(SpoolPlace& place, std::uint64_t after, std::size_t maxRows,
                                     std::size_t maxBytes);
  // Everything up to the number is in the trap store.
  void MarkStored(std::uint64_t number);
  // What was stored up to this number needs not be kept for the alerts.
  void MarkLooked(std::uint64_t number) { lookedNumber_ = number; }
  const std::filesystem::path& Folder() const { return folder_; }
  // Waits until so many traps after the number are there, the time is over, or somebody calls Wake.
  void WaitForMore(std::uint64_t after, std::uint64_t count, std::chrono::milliseconds longest);
  void WaitForWake(std::chrono::milliseconds longest);
  void Wake();

  std::uint64_t StoredNumber() const { return storedNumber_; }
  std::uint64_t WaitingAfter(std::uint64_t number) const;
  std::uint64_t Waiting() const { return WaitingAfter(storedNumber_); }
  std::uint64_t DamagedRecords() const { return damaged_; }

 private:
  // A run of records with consecutive numbers: a file, or bytes not yet in one.
  struct Stretch {
    std::uint64_t First = 0;
    std::uint64_t Last = 0;
    std::uint64_t Count = 0;
  };
  struct Segment : Stretch {
    std::filesystem::path Path;
    std::uint64_t Bytes = 0;  // the end of its last record
    std::chrono::steady_clock::time_point Written = std::chrono::steady_clock::now();  // or found
  };
  struct Chunk : Stretch {
    std::string Bytes;
  };

  void LockFolder();
  void FindSegments();
  void AddSegment(const std::filesystem::path& file);
  void ReadMark();
  void WriteMark();
  bool WriteChunks();
  bool OpenSegment(const Chunk& chunk);
  int SyncCurrent();
  void Tidy();
  std::optional<Segment> SegmentAfter(std::uint64_t number) const;
  bool EnterSegment(SpoolPlace& place, const Segment& segment, std::uint64_t& damaged);
  std::vector<SpooledTrap> ReadFrom(SpoolPlace& place, std::uint64_t after, std::size_t maxRows,
                                    std::size_t maxBytes, std::uint64_t& damaged);
  void ReadFromMemory(std::uint64_t after, std::size_t maxRows, std::vector<SpooledTrap>& traps) const;

  const std::filesystem::path folder_;
  const SpoolOptions options_;
  FileDescriptor lock_;
  FileDescriptor mark_;
  ReceiverState state_;
  std::uint64_t runStart_ = 0;
  std::uint64_t rememberedStored_ = 0;
  bool lostIdentity_ = false;
  std::vector<std::uint64_t> earlierInforms_;
  std::int32_t earlierEnd_ = 0;

  mutable std::mutex mutex_;  // segments_, unwritten_
  std::condition_variable more_;
  std::uint64_t wakes_ = 0;
  std::deque<Segment> segments_;                        // by number; the last one is written to
  std::deque<std::shared_ptr<const Chunk>> unwritten_;  // after the last segment's end

  std::atomic<std::uint64_t> lastNumber_ = 0;
  std::atomic<std::uint64_t> storedNumber_ = 0;
  std::atomic<std::uint64_t> lookedNumber_ = ~std::uint64_t{0};  // nobody looks
  std::atomic<std::uint64_t> damaged_ = 0;
  std::atomic<std::size_t> unwrittenBytes_ = 0;
  std::atomic<int> lastError_ = 0;

  // Of the appending thread.
  FileDescriptor current_;
  bool segmentOpen_ = false;
  bool needsSync_ = false;

  // Of the reading thread.
  SpoolPlace place_;
  std::chrono::steady_clock::time_point lastTidy_;
};

}  // namespace korvane::receiver
