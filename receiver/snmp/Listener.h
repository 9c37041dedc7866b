// The sockets on which notifications arrive, and the answers to informs.  Reads packets with net-snmp's
// library, maps them and puts them into the queue.  Everything here runs on one thread, the library's.
#pragma once

#include <poll.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "receiver/Counters.h"
#include "receiver/ServiceLog.h"
#include "receiver/snmp/InformTable.h"
#include "receiver/snmp/SnmpLibrary.h"
#include "receiver/spool/TrapQueue.h"

struct snmp_pdu;
struct snmp_session;

namespace korvane::receiver {

// "udp:[ADDRESS:]PORT" or "udp6:[[ADDRESS]:]PORT" with a numeric address; empty when it is one, else what is
// wrong with it.
std::string ListenAddressProblem(std::string_view address);

class Listener {
 public:
  Listener(SnmpLibrary& library, TrapQueue& queue, Counters& counters, ServiceLog& log);
  ~Listener();

  // Informs of an earlier run, whose senders may not have seen our answer.
  void RememberInforms(std::span<const std::uint64_t> keys);
  // Opens a socket with as large a receive buffer as the system allows.  Throws std::runtime_error.
  void Listen(const std::string& address);

  // One entry for each socket, in the order of Listen.
  void AddPollEntries(std::vector<pollfd>& entries) const;
  // Takes in what waits at the sockets, at most a good number of packets at each, so that other work is not
  // starved.  True when there may be more.
  bool ReadPackets();
  // Sends the answers to informs whose traps are safe now.
  void SendAnswers(std::span<const std::uint64_t> tokens);
  // False while so many informs wait for their answer that no more may be read.
  bool HasRoom() const { return informs_.HasRoom(); }
  // Answers whose informs waited so long that others needed the room.
  std::uint64_t AnswersLetGo() const { return informs_.LetGo(); }
  // Says how many lines about packets were left out since the last one.
  void TellLeftOut() { packetLog_.TellLeftOut(); }

  // Packets the kernel dropped at our sockets.
  std::uint64_t DroppedByKernel() const;

 private:
  struct Socket;
  struct Packet;

  static int OnPacketParsed(snmp_session* session, snmp_pdu* pdu, int result);
  static int OnMessage(int operation, snmp_session* session, int requestId, snmp_pdu* pdu, void* listener);

  void ReadOne(Socket& socket);
  void Parsed(const snmp_pdu& pdu, int result);
  void Received(snmp_pdu& pdu);
  std::string Refusal(const snmp_pdu& pdu) const;
  void ReceivedInform(snmp_pdu& pdu, QueuedTrap& trap);
  void TakeIn(QueuedTrap& trap);
  void Count(const Packet& packet, const std::string& librarySaid);
  void SendAnswer(Answer& answer);

  SnmpLibrary& library_;
  TrapQueue& queue_;
  Counters& counters_;
  ServiceLog& log_;
  PacedLog packetLog_;
  std::vector<std::unique_ptr<Socket>> sockets_;
  InformTable informs_;
  std::vector<QueuedTrap> taken_;
  std::size_t takenBytes_ = 0;
  Packet* packet_ = nullptr;  // the one that is being read
};

}  // namespace korvane::receiver
