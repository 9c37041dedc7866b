// Takes packets from the sockets into the ring, on a thread of its own that does nothing else: however long
// decoding or a disk takes, the kernel's receive buffers are emptied.
//
// Packets of several sockets come in the order in which the kernel received them.  Where the process may (the
// unit's LimitNICE), the thread goes before others; it is no real-time thread, so a flood can't take a
// processor from the rest of the machine.
#pragma once

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "receiver/ServiceLog.h"
#include "receiver/capture/PacketRing.h"

namespace korvane::receiver {

// Packets lost since the start, and when that was first seen: seconds since 1970 UTC, 0 while there are none.
struct PacketLosses {
  std::uint64_t ByKernel = 0;    // the receive buffer of a socket was full
  std::uint64_t ByFullRing = 0;  // the ring was
  std::int64_t Since = 0;
};

class Capture {
 public:
  // Throws std::system_error.
  Capture(PacketRing& ring, ServiceLog& log);
  // Ends the thread.
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  // Before Start.  A bound UDP socket, which stays the caller's and must outlive this.
  void Add(int descriptor);
  void Start();
  // Lets it take what the kernel holds now, for some seconds at most, and then close the ring.
  void Stop();

  // From any thread, after Start.
  PacketLosses Losses();

 private:
  class TimeLine;
  class Source;

  void Run();
  void TellPriority();
  // False when nothing was there.
  bool Turn();
  void PassOn(std::chrono::steady_clock::time_point upTo);
  Source* Earliest(std::chrono::steady_clock::time_point upTo) const;
  bool ReadUpTo(std::chrono::steady_clock::time_point time) const;
  bool Pending() const;
  void Gather() const;
  void Wait();

  PacketRing& ring_;
  ServiceLog& log_;
  FileDescriptor stop_;  // readable when it is to end
  std::vector<std::unique_ptr<Source>> sources_;
  std::atomic<std::int64_t> lossesSince_ = 0;
  std::atomic<bool> stopping_ = false;

  // Of the thread.
  std::unique_ptr<TimeLine> timeLine_;
  std::vector<CapturedPacket> turn_;
  std::vector<pollfd> entries_;

  std::thread thread_;
};

// As large a receive buffer as the system allows up to the receiver's wish; what the socket then has, in
// bytes as the kernel counts them.
std::size_t EnlargeReceiveBuffer(int socket);
// How many packets of a common size (a linkDown of 160 octets) such a buffer holds.
std::size_t PacketsInBuffer(std::size_t bytes);

}  // namespace korvane::receiver
