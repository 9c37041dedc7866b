// The sockets on which notifications arrive, and the answers to informs.  Decodes captured packets with
// net-snmp's library, maps them and puts them into the queue.  Everything here runs on one thread, the
// library's.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "receiver/Counters.h"
#include "receiver/ServiceLog.h"
#include "receiver/capture/PacketRing.h"
#include "receiver/snmp/InformTable.h"
#include "receiver/snmp/PduReader.h"
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
  // ring: what is captured from the sockets, each added to it in the order of Listen.
  Listener(SnmpLibrary& library, PacketRing& ring, TrapQueue& queue, Counters& counters, ServiceLog& log);
  ~Listener();

  // Informs of an earlier run, whose senders may not have seen our answer.
  void RememberInforms(std::span<const std::uint64_t> keys);
  // Opens a socket with as large a receive buffer as the system allows, for somebody to capture from; stays
  // its owner.  Throws std::runtime_error.
  int Listen(const std::string& address);

  // Takes in what waits in the ring, at most a good number of packets, so that other work is not starved.
  // True when there may be more.
  bool ReadPackets();
  // Sends the answers to informs whose traps are safe now.
  void SendAnswers(std::span<const std::uint64_t> tokens);
  // False while so many informs wait for their answer that no more may be read.
  bool HasRoom() const { return informs_.HasRoom(); }
  // Answers whose informs waited so long that others needed the room.
  std::uint64_t AnswersLetGo() const { return informs_.LetGo(); }
  // Says how many lines about packets were left out since the last one.
  void TellLeftOut() { packetLog_.TellLeftOut(); }

 private:
  struct Socket;
  struct Packet;

  static int OnPacketParsed(snmp_session* session, snmp_pdu* pdu, int result);
  static int OnMessage(int operation, snmp_session* session, int requestId, snmp_pdu* pdu, void* listener);

  bool ReadOne();
  const Peer& SenderOf(const SocketAddress& address);
  void Parsed(const snmp_pdu& pdu, int result);
  void Received(snmp_pdu& pdu);
  std::string Refusal(const snmp_pdu& pdu) const;
  void ReceivedInform(snmp_pdu& pdu, QueuedTrap& trap);
  void TakeIn(QueuedTrap& trap);
  void Count(const Packet& packet, const std::string& librarySaid);
  void SendAnswer(Answer& answer);

  SnmpLibrary& library_;
  PacketRing& ring_;
  TrapQueue& queue_;
  Counters& counters_;
  ServiceLog& log_;
  PacedLog packetLog_;
  std::vector<std::unique_ptr<Socket>> sockets_;
  InformTable informs_;
  std::vector<QueuedTrap> taken_;
  std::size_t takenBytes_ = 0;
  Packet* packet_ = nullptr;  // the one that is being read
  SocketAddress lastSender_{.V6 = {}};
  Peer lastPeer_;
};

}  // namespace korvane::receiver
