// Packets between the thread that takes them from the sockets and the one that decodes them, in order.  Put
// and Close belong to the first, Next to the second, the rest is safe from any.
//
// Bounded in bytes, and takes memory only for what is in it.  A quarter is divided among the sockets and the
// rest is for all, so that a flood on one address leaves room for what comes to another.  What finds none is
// dropped and counted.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "receiver/capture/CapturedPacket.h"
#include "receiver/spool/Files.h"

namespace korvane::receiver {

class PacketRing {
 public:
  // A packet costs its length and some sixty bytes.  The memory is at most three blocks of a sixteenth
  // (128 KiB to 4 MiB) more.  Throws std::system_error.
  explicit PacketRing(std::size_t bytes);
  ~PacketRing();
  PacketRing(const PacketRing&) = delete;
  PacketRing& operator=(const PacketRing&) = delete;

  // Before the first Put: its number is that of the calls before.
  void AddSocket();
  void Put(std::span<const CapturedPacket> packets);
  // Nothing more comes.
  void Close();

  // The oldest packet; its bytes stay until the next call.  Nothing while there is none.
  std::optional<CapturedPacket> Next();
  // Readable from a Put or Close until Next has found nothing.
  int Descriptor() const { return event_.Number(); }
  bool ClosedAndEmpty() const { return closed_ && Waiting() == 0; }
  std::uint64_t Waiting() const { return put_ - taken_; }
  std::uint64_t Dropped() const { return dropped_; }

 private:
  class Block;

  std::size_t CommonWith(std::size_t socket, std::size_t bytes) const;
  bool PutOne(const CapturedPacket& packet);
  std::unique_ptr<Block> FreshBlock();
  bool NextBlock();

  const std::size_t bytes_;
  const std::size_t blockBytes_;
  FileDescriptor event_;
  std::atomic<std::uint64_t> put_ = 0;
  std::atomic<std::uint64_t> taken_ = 0;
  std::atomic<std::uint64_t> dropped_ = 0;
  std::atomic<bool> closed_ = false;

  std::mutex mutex_;
  std::deque<std::unique_ptr<Block>> blocks_;  // the last one is being filled
  std::unique_ptr<Block> spare_;
  std::vector<std::size_t> used_;  // bytes by socket, those of the block that is being read included
  std::size_t common_ = 0;         // of them beyond the sockets' own shares
  bool readerWaits_ = true;

  std::unique_ptr<Block> reading_;  // of the decoding thread
};

}  // namespace korvane::receiver
