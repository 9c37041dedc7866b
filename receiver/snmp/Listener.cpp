#include "receiver/snmp/Listener.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include "common/Number.h"
#include "receiver/capture/Capture.h"
#include "receiver/snmp/MessageHeader.h"
#include "receiver/snmp/NetSnmp.h"
#include "receiver/snmp/Notification.h"
#include "receiver/snmp/PduReader.h"
#include "receiver/snmp/TrapMapping.h"

namespace korvane::receiver {
namespace {

constexpr int kPacketsPerTurn = 256;
constexpr std::size_t kBytesPerTurn = std::size_t{2} << 20;
constexpr std::int64_t kNanosecondsOfSecond = 1'000'000'000;

bool IsPort(std::string_view text) {
  return NumberIn<std::uint16_t>(text).value_or(0) != 0;
}

std::string EngineIdOf(const snmp_pdu& pdu) {
  return pdu.securityEngineID == nullptr
             ? std::string()
             : std::string(reinterpret_cast<const char*>(pdu.securityEngineID), pdu.securityEngineIDLen);
}

std::string UserOf(const snmp_pdu& pdu) {
  return pdu.securityName == nullptr ? std::string() : std::string(pdu.securityName, pdu.securityNameLen);
}

// The library's own form of where a packet came from and was sent to, by which it answers; its length.
std::size_t SetTransportData(const PacketHead& packet, netsnmp_indexed_addr_pair& addresses) {
  if (packet.From.Any.sa_family == AF_INET6) {
    addresses.remote_addr.sin6 = packet.From.V6;
    return sizeof packet.From.V6;
  }
  addresses.remote_addr.sin = packet.From.V4;
  addresses.local_addr.sin.sin_family = AF_INET;
  addresses.local_addr.sin.sin_addr = packet.To;
  addresses.if_index = packet.Interface;
  return sizeof addresses;
}

// A sender repeats an inform with its request ID and its bindings, sysUpTime.0 among them, from the same
// port.
std::uint64_t InformKey(const snmp_pdu& pdu, const Peer& peer) {
  std::string content = fmt::format("{} {} {}", peer.Address, peer.Port, pdu.reqid);
  for (const variable_list* variable = pdu.variables; variable != nullptr;
       variable = variable->next_variable) {
    content.append(reinterpret_cast<const char*>(variable->name), variable->name_length * sizeof(oid));
    // A NULL or an exception may come with a length, and has no value all the same.
    if (variable->val.string != nullptr) {
      content.append(reinterpret_cast<const char*>(variable->val.string), variable->val_len);
    }
  }
  return std::max<std::uint64_t>(1, std::hash<std::string>()(content));
}

}  // namespace

std::string ListenAddressProblem(std::string_view address) {
  const std::size_t colon = address.find(':');
  const std::string_view transport = address.substr(0, colon);
  if (colon == std::string_view::npos || (transport != "udp" && transport != "udp6")) {
    return "expected udp:[ADDRESS:]PORT or udp6:[[ADDRESS]:]PORT";
  }
  std::string_view rest = address.substr(colon + 1);
  const std::size_t portStart = rest.rfind(':') == std::string_view::npos ? 0 : rest.rfind(':') + 1;
  if (!IsPort(rest.substr(portStart))) {
    return "the port must be a number from 1 to 65535";
  }
  if (portStart == 0) {
    return {};
  }
  rest = rest.substr(0, portStart - 1);
  std::array<char, sizeof(in6_addr)> octets{};
  if (transport == "udp6") {
    if (!rest.starts_with('[') || !rest.ends_with(']') ||
        inet_pton(AF_INET6, std::string(rest.substr(1, rest.size() - 2)).c_str(), octets.data()) != 1) {
      return "expected a numeric IPv6 address in brackets";
    }
  } else if (inet_pton(AF_INET, std::string(rest).c_str(), octets.data()) != 1) {
    return "expected a numeric IPv4 address";
  }
  return {};
}

// net-snmp's transport with our hand between it and the socket: the library gets the packets that we have
// captured, and what it sends can be kept instead.  The library frees it with free(), so it is a plain
// structure.
struct Listener::Socket {
  struct Transport : netsnmp_transport {
    Socket* Owner;
  };

  Socket(SnmpLibrary& library, std::size_t number) : Library(library), Number(number) {}
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() {
    if (Session != nullptr) {
      snmp_sess_close(Session);
    }
    netsnmp_large_fd_set_cleanup(&Ready);
  }

  static int Receive(netsnmp_transport* transport, void* buffer, int size, void** opaque, int* opaqueLength);
  static int Send(netsnmp_transport* transport, const void* buffer, int size, void** opaque,
                  int* opaqueLength);
  std::string Encoded(snmp_pdu& inform);

  SnmpLibrary& Library;
  const std::size_t Number;
  int Descriptor = -1;
  void* Session = nullptr;
  Transport* Wire = nullptr;  // the session's
  decltype(netsnmp_transport::f_send) LibrarySend = nullptr;
  netsnmp_large_fd_set Ready{};              // names the socket, so that the library reads
  const CapturedPacket* Captured = nullptr;  // what it then gets
  std::string* Kept = nullptr;               // where the next packet goes instead of the network
};

struct Listener::Packet {
  Socket& From;
  const CapturedPacket& Captured;
  bool Notification = false;
  bool Handshake = false;
  std::string Reason = {};  // why it is not acceptable
  // Of an SNMPv3 message.
  std::string User = {};
  std::string EngineId = {};
  bool Authentic = false;
};

int Listener::Socket::Receive(netsnmp_transport* transport, void* buffer, int size, void** opaque,
                              int* opaqueLength) {
  Socket& socket = *static_cast<Transport*>(transport)->Owner;
  const CapturedPacket* captured = std::exchange(socket.Captured, nullptr);
  auto* addresses = static_cast<netsnmp_indexed_addr_pair*>(
      captured == nullptr ? nullptr : std::calloc(1, sizeof(netsnmp_indexed_addr_pair)));
  if (addresses == nullptr) {
    errno = EAGAIN;
    return -1;
  }
  *opaque = addresses;
  *opaqueLength = static_cast<int>(SetTransportData(captured->Head, *addresses));
  if (const auto header = ReadUsmHeader(captured->Bytes)) {
    socket.Library.ExpectSender(header->User, header->EngineId);
  }
  return static_cast<int>(captured->Bytes.copy(static_cast<char*>(buffer), static_cast<std::size_t>(size)));
}

int Listener::Socket::Send(netsnmp_transport* transport, const void* buffer, int size, void** opaque,
                           int* opaqueLength) {
  Socket& socket = *static_cast<Transport*>(transport)->Owner;
  if (socket.Kept == nullptr) {
    return socket.LibrarySend(transport, buffer, size, opaque, opaqueLength);
  }
  socket.Kept->assign(static_cast<const char*>(buffer), static_cast<std::size_t>(size));
  return size;
}

// The library's own encoding of the response to an SNMPv3 inform, with the keys and the clock of this moment:
// an answer that is sent later than its time window allows has no one left to wait for it.  Takes the
// bindings out of the inform rather than copying them, since each is more than a kilobyte.
std::string Listener::Socket::Encoded(snmp_pdu& inform) {
  variable_list* bindings = std::exchange(inform.variables, nullptr);
  snmp_pdu* response = snmp_clone_pdu(&inform);
  if (response == nullptr) {
    inform.variables = bindings;
    return {};
  }
  response->variables = bindings;
  response->command = SNMP_MSG_RESPONSE;
  response->errstat = 0;
  response->errindex = 0;
  std::string packet;
  Kept = &packet;
  if (snmp_sess_send(Session, response) == 0) {
    snmp_free_pdu(response);
  }
  Kept = nullptr;
  return packet;
}

Listener::Listener(SnmpLibrary& library, PacketRing& ring, TrapQueue& queue, Counters& counters,
                   ServiceLog& log)
    : library_(library), ring_(ring), queue_(queue), counters_(counters), log_(log), packetLog_(log) {}

Listener::~Listener() = default;

int Listener::Listen(const std::string& address) {
  if (const std::string problem = ListenAddressProblem(address); !problem.empty()) {
    throw std::runtime_error(fmt::format("can't listen on {}: {}", address, problem));
  }
  netsnmp_transport* opened = netsnmp_transport_open_server("snmptrap", address.c_str());
  if (opened == nullptr) {
    throw std::runtime_error(fmt::format("can't listen on {}: {}", address, std::strerror(errno)));
  }
  auto socket = std::make_unique<Socket>(library_, sockets_.size());
  auto* transport = static_cast<Socket::Transport*>(std::calloc(1, sizeof(Socket::Transport)));
  static_cast<netsnmp_transport&>(*transport) = *opened;
  std::free(opened);  // only the structure: what it points to went over
  transport->Owner = socket.get();
  transport->f_recv = Socket::Receive;
  socket->LibrarySend = std::exchange(transport->f_send, Socket::Send);
  socket->Wire = transport;
  socket->Descriptor = transport->sock;
  netsnmp_large_fd_set_init(&socket->Ready, transport->sock + 1);
  const std::size_t buffer = EnlargeReceiveBuffer(transport->sock);

  netsnmp_session session;
  snmp_sess_init(&session);
  session.peername = SNMP_DEFAULT_PEERNAME;
  session.version = SNMP_DEFAULT_VERSION;
  session.community_len = SNMP_DEFAULT_COMMUNITY_LEN;
  session.retries = SNMP_DEFAULT_RETRIES;
  session.timeout = SNMP_DEFAULT_TIMEOUT;
  session.callback = OnMessage;
  session.callback_magic = this;
  session.myvoid = this;
  session.authenticator = nullptr;
  session.isAuthoritative = SNMP_SESS_UNKNOWNAUTH;
  socket->Session = snmp_sess_add(&session, transport, nullptr, OnPacketParsed);
  if (socket->Session == nullptr) {
    throw std::runtime_error(fmt::format("can't listen on {}: the SNMP library refuses it", address));
  }
  log_.Info(fmt::format("listening on {}, receive buffer {} KiB, enough for about {} packets", address,
                        buffer / 1024, PacketsInBuffer(buffer)));
  sockets_.push_back(std::move(socket));
  return sockets_.back()->Descriptor;
}

void Listener::RememberInforms(std::span<const std::uint64_t> keys) {
  for (const std::uint64_t key : keys) {
    informs_.Remember(key, std::chrono::steady_clock::now());
  }
}

bool Listener::ReadPackets() {
  bool more = true;
  for (int packets = 0; more && packets < kPacketsPerTurn && takenBytes_ < kBytesPerTurn; ++packets) {
    more = ReadOne();
  }
  if (!taken_.empty()) {
    queue_.Push(std::exchange(taken_, {}));
    takenBytes_ = 0;
  }
  return more;
}

bool Listener::ReadOne() {
  const std::optional<CapturedPacket> captured = ring_.Next();
  if (!captured) {
    return false;
  }
  Socket& socket = *sockets_[captured->Head.Socket];
  socket.Captured = &*captured;
  Packet packet{.From = socket, .Captured = *captured};
  packet_ = &packet;
  library_.BeginMessage();
  NETSNMP_LARGE_FD_SET(socket.Descriptor, &socket.Ready);  // the library takes it out as it reads
  snmp_sess_read2(socket.Session, &socket.Ready);
  const std::string librarySaid = library_.EndMessage(packet.User, packet.EngineId, packet.Authentic);
  packet_ = nullptr;
  socket.Captured = nullptr;
  Count(packet, librarySaid);
  return true;
}

int Listener::OnPacketParsed(snmp_session* session, snmp_pdu* pdu, int result) {
  static_cast<Listener*>(session->myvoid)->Parsed(*pdu, result);
  return 1;
}

// After the library has parsed a packet, well or not.
void Listener::Parsed(const snmp_pdu& pdu, int result) {
  if (packet_ == nullptr) {
    return;
  }
  if (pdu.version == SNMP_VERSION_3) {
    packet_->User = UserOf(pdu);
    packet_->EngineId = EngineIdOf(pdu);
    packet_->Authentic = result == SNMPERR_SUCCESS && pdu.securityLevel >= SNMP_SEC_LEVEL_AUTHNOPRIV;
  }
  if (result == SNMPERR_SUCCESS) {
    return;
  }
  packet_->Reason = snmp_api_errstring(result);
  // How the sender of an inform finds our engine and its clock (RFC 3414, 4): answered by the library.
  packet_->Handshake = (result == SNMPERR_USM_UNKNOWNENGINEID && packet_->EngineId.empty()) ||
                       (result == SNMPERR_USM_NOTINTIMEWINDOW && packet_->EngineId == library_.EngineId());
}

int Listener::OnMessage(int operation, snmp_session*, int, snmp_pdu* pdu, void* listener) {
  if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && pdu != nullptr) {
    static_cast<Listener*>(listener)->Received(*pdu);
  }
  return 1;
}

std::string Listener::Refusal(const snmp_pdu& pdu) const {
  if (pdu.version == SNMP_VERSION_3) {
    const SnmpUser* user = library_.Access().FindUser(packet_->User, packet_->EngineId);
    if (user == nullptr) {
      return "unknown user";
    }
    return pdu.securityLevel < static_cast<int>(user->Level()) ? "less secure than its user must be" : "";
  }
  const std::string_view community(reinterpret_cast<const char*>(pdu.community), pdu.community_len);
  return library_.Access().AcceptsCommunity(community) ? "" : "community not accepted";
}

void Listener::Received(snmp_pdu& pdu) {
  if (packet_ == nullptr) {
    return;
  }
  std::optional<Notification> notification = ReadPdu(pdu);
  if (!notification) {
    packet_->Reason = "neither a trap nor an inform";
    return;
  }
  packet_->Reason = Refusal(pdu);
  if (!packet_->Reason.empty()) {
    return;
  }
  const Peer& peer = SenderOf(packet_->Captured.Head.From);
  notification->PeerAddress = peer.Address;
  notification->ReceivedSeconds = packet_->Captured.Head.ReceivedAt / kNanosecondsOfSecond;
  std::optional<TrapRow> row = MapNotification(*notification);
  if (!row) {
    packet_->Reason = "a notification without snmpTrapOID.0";
    return;
  }
  packet_->Notification = true;
  QueuedTrap trap{.Row = std::move(*row), .InformToken = 0};
  if (pdu.command == SNMP_MSG_INFORM) {
    trap.Row.InformKey = InformKey(pdu, peer);
    ReceivedInform(pdu, trap);
  } else {
    TakeIn(trap);
  }
}

// Traps of one sender often come one behind the other.
const Peer& Listener::SenderOf(const SocketAddress& address) {
  const auto octets = [](const SocketAddress& of) {
    return std::string_view(reinterpret_cast<const char*>(&of), sizeof of);
  };
  if (octets(address) != octets(lastSender_)) {
    lastSender_ = address;
    lastPeer_ = PeerOf(address);
  }
  return lastPeer_;
}

void Listener::TakeIn(QueuedTrap& trap) {
  ++counters_.Received;
  takenBytes_ += trap.Row.EventDescription.size() + trap.Row.Event_ExtDescr.size();
  taken_.push_back(std::move(trap));
}

void Listener::ReceivedInform(snmp_pdu& pdu, QueuedTrap& trap) {
  Socket& socket = packet_->From;
  netsnmp_indexed_addr_pair addresses{};
  const std::size_t length = SetTransportData(packet_->Captured.Head, addresses);
  Answer answer = {
      .Socket = socket.Number, .Peer = {reinterpret_cast<const char*>(&addresses), length}, .Packet = {}};
  if (pdu.version == SNMP_VERSION_3) {
    answer.Packet = socket.Encoded(pdu);
  } else {
    answer.Packet = ResponseTo(packet_->Captured.Bytes);
  }
  const InformTable::Result result =
      informs_.Arrived(trap.Row.InformKey, answer, std::chrono::steady_clock::now());
  if (result.What == InformTable::Arrival::New) {
    trap.InformToken = result.Token;
    TakeIn(trap);
    return;
  }
  ++counters_.Repeated;
  if (result.What == InformTable::Arrival::Answered) {
    SendAnswer(answer);
  }
}

void Listener::SendAnswers(std::span<const std::uint64_t> tokens) {
  for (const std::uint64_t token : tokens) {
    if (auto answer = informs_.Safe(token, std::chrono::steady_clock::now())) {
      SendAnswer(*answer);
    }
  }
}

void Listener::SendAnswer(Answer& answer) {
  Socket& socket = *sockets_[answer.Socket];
  void* peer = answer.Peer.data();
  auto peerLength = static_cast<int>(answer.Peer.size());
  if (!answer.Packet.empty() &&
      socket.LibrarySend(socket.Wire, answer.Packet.data(), static_cast<int>(answer.Packet.size()), &peer,
                         &peerLength) >= 0) {
    ++counters_.Answered;
  }
}

void Listener::Count(const Packet& packet, const std::string& librarySaid) {
  const bool acceptable = packet.Notification || packet.Handshake;
  if (!acceptable) {
    ++counters_.Malformed;
  }
  if (library_.ForgotEngines()) {
    packetLog_.Warning([] {
      return std::string(
          "a user was heard from more SNMP engines than are remembered; the oldest are forgotten");
    });
  }
  if (packet.Handshake || (packet.Notification && librarySaid.empty())) {
    return;
  }
  packetLog_.Warning([&] {
    const std::string peer = PeerOf(packet.Captured.Head.From).Address;
    const std::string detail =
        librarySaid.empty() ? std::string() : fmt::format(" (SNMP library: {})", librarySaid);
    return fmt::format("packet from {} {}: {}{}", peer.empty() ? "?" : peer,
                       acceptable ? "accepted" : "not accepted",
                       !packet.Reason.empty() ? packet.Reason
                       : acceptable           ? "with a remark"
                                              : "no SNMP message",
                       detail);
  });
}

}  // namespace korvane::receiver
