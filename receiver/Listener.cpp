#include "Listener.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/sock_diag.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <stdexcept>

#include "NetSnmp.h"
#include "Notification.h"
#include "PduReader.h"
#include "TrapMapping.h"

namespace korvane::receiver {
namespace {

constexpr int kReceiveBufferBytes = 32 << 20;
constexpr int kPacketsPerTurn = 256;
constexpr auto kMalformedLogPause = std::chrono::seconds(10);

struct PduDeleter {
  void operator()(snmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};

// A response that only has to be sent.
struct InformAnswer : Answer {
  std::unique_ptr<snmp_pdu, PduDeleter> Response;
  void* Session = nullptr;
};

bool IsPort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() && port != 0;
}

std::string EngineIdOf(const snmp_pdu& pdu) {
  return pdu.securityEngineID == nullptr
             ? std::string()
             : std::string(reinterpret_cast<const char*>(pdu.securityEngineID), pdu.securityEngineIDLen);
}

std::string UserOf(const snmp_pdu& pdu) {
  return pdu.securityName == nullptr ? std::string() : std::string(pdu.securityName, pdu.securityNameLen);
}

// The kernel doubles the value and cuts it to net.core.rmem_max unless we may go beyond.
void EnlargeReceiveBuffer(int socket) {
  const int bytes = kReceiveBufferBytes;
  if (setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) {
    setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
  }
}

int ReceiveBufferOf(int socket) {
  int bytes = 0;
  socklen_t length = sizeof bytes;
  getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, &length);
  return bytes;
}

// A sender repeats an inform with its request ID and its bindings, sysUpTime.0 among them, from the same
// port.
std::uint64_t InformKey(const snmp_pdu& pdu, const Peer& peer) {
  std::string content = fmt::format("{} {} {}", peer.Address, peer.Port, pdu.reqid);
  for (const variable_list* variable = pdu.variables; variable != nullptr;
       variable = variable->next_variable) {
    content.append(reinterpret_cast<const char*>(variable->name), variable->name_length * sizeof(oid));
    content.append(reinterpret_cast<const char*>(variable->val.string), variable->val_len);
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

// net-snmp's transport with our hand between it and the socket: it tells whether there was a packet, and can
// give the library the same packet once more.  The library frees it with free(), so it is a plain structure.
struct Listener::Socket {
  struct Transport : netsnmp_transport {
    Socket* Owner;
  };

  ~Socket() {
    if (Session != nullptr) {
      snmp_sess_close(Session);
    }
  }

  static int Receive(netsnmp_transport* transport, void* buffer, int size, void** opaque, int* opaqueLength);

  int Descriptor = -1;
  void* Session = nullptr;
  int (*LibraryReceive)(netsnmp_transport*, void*, int, void**, int*) = nullptr;
  bool GotPacket = false;
  bool Replay = false;
  std::string LastPacket;
  std::string LastPeer;
};

struct Listener::Packet {
  explicit Packet(Socket& from) : From(from) {}

  Socket& From;
  int ParseResult = 0;
  bool Notification = false;
  bool Handshake = false;
  std::string Reason;  // why it is not acceptable
  std::string Peer;
  // Of an SNMPv3 message whose user was not known with its sender's engine.
  std::string User;
  std::string EngineId;
};

int Listener::Socket::Receive(netsnmp_transport* transport, void* buffer, int size, void** opaque,
                              int* opaqueLength) {
  Socket& socket = *static_cast<Transport*>(transport)->Owner;
  if (socket.Replay) {
    const std::size_t bytes = std::min(socket.LastPacket.size(), static_cast<std::size_t>(size));
    std::memcpy(buffer, socket.LastPacket.data(), bytes);
    *opaque = std::malloc(socket.LastPeer.size());
    if (*opaque == nullptr) {
      return -1;
    }
    std::memcpy(*opaque, socket.LastPeer.data(), socket.LastPeer.size());
    *opaqueLength = static_cast<int>(socket.LastPeer.size());
    return static_cast<int>(bytes);
  }
  const int got = socket.LibraryReceive(transport, buffer, size, opaque, opaqueLength);
  socket.GotPacket = got >= 0;
  if (got >= 0) {
    socket.LastPacket.assign(static_cast<const char*>(buffer), static_cast<std::size_t>(got));
    socket.LastPeer.assign(static_cast<const char*>(*opaque), *opaque != nullptr ? *opaqueLength : 0);
  }
  return got;
}

Listener::Listener(SnmpLibrary& library, TrapQueue& queue, Counters& counters, ServiceLog& log)
    : library_(library), queue_(queue), counters_(counters), log_(log) {}

Listener::~Listener() = default;

void Listener::Listen(const std::string& address) {
  if (const std::string problem = ListenAddressProblem(address); !problem.empty()) {
    throw std::runtime_error(fmt::format("can't listen on {}: {}", address, problem));
  }
  netsnmp_transport* opened = netsnmp_transport_open_server("snmptrap", address.c_str());
  if (opened == nullptr) {
    throw std::runtime_error(fmt::format("can't listen on {}: {}", address, std::strerror(errno)));
  }
  auto socket = std::make_unique<Socket>();
  auto* transport = static_cast<Socket::Transport*>(std::calloc(1, sizeof(Socket::Transport)));
  static_cast<netsnmp_transport&>(*transport) = *opened;
  std::free(opened);  // only the structure: what it points to went over
  transport->Owner = socket.get();
  socket->LibraryReceive = std::exchange(transport->f_recv, Socket::Receive);
  socket->Descriptor = transport->sock;
  EnlargeReceiveBuffer(transport->sock);
  fcntl(transport->sock, F_SETFL, fcntl(transport->sock, F_GETFL) | O_NONBLOCK);

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
  log_.Info(fmt::format("listening on {}, receive buffer {} KiB", address,
                        ReceiveBufferOf(socket->Descriptor) / 1024));
  sockets_.push_back(std::move(socket));
}

void Listener::RememberInforms(std::span<const std::uint64_t> keys) {
  for (const std::uint64_t key : keys) {
    informs_.Remember(key, std::chrono::steady_clock::now());
  }
}

void Listener::AddPollEntries(std::vector<pollfd>& entries) const {
  for (const auto& socket : sockets_) {
    entries.push_back({.fd = socket->Descriptor, .events = POLLIN, .revents = 0});
  }
}

bool Listener::ReadPackets() {
  bool more = false;
  for (const auto& socket : sockets_) {
    int packets = 0;
    do {
      ReadOne(*socket);
    } while (socket->GotPacket && ++packets < kPacketsPerTurn);
    more = more || socket->GotPacket;
  }
  if (!taken_.empty()) {
    queue_.Push(std::exchange(taken_, {}));
  }
  return more;
}

void Listener::ReadOne(Socket& socket) {
  netsnmp_large_fd_set ready;
  netsnmp_large_fd_set_init(&ready, socket.Descriptor + 1);
  NETSNMP_LARGE_FD_SET(socket.Descriptor, &ready);
  socket.GotPacket = false;
  Packet packet(socket);
  packet_ = &packet;
  snmp_sess_read2(socket.Session, &ready);
  if (socket.GotPacket && !packet.User.empty() && library_.Learn(packet.User, packet.EngineId)) {
    // The same packet again, now that its user is known with this engine.
    const Packet first = packet;
    packet.Reason.clear();
    packet.ParseResult = 0;
    socket.Replay = true;
    NETSNMP_LARGE_FD_SET(socket.Descriptor, &ready);
    snmp_sess_read2(socket.Session, &ready);
    socket.Replay = false;
    if (!packet.Notification) {
      library_.Forget(first.User, first.EngineId);
    }
  }
  packet_ = nullptr;
  netsnmp_large_fd_set_cleanup(&ready);
  if (socket.GotPacket) {
    Count(packet);
  }
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
  packet_->ParseResult = result;
  packet_->Peer = PeerOf(pdu).Address;
  if (result == SNMPERR_SUCCESS) {
    return;
  }
  packet_->Reason = snmp_api_errstring(result);
  const std::string engineId = EngineIdOf(pdu);
  // How the sender of an inform finds our engine and its clock (RFC 3414, 4): answered by the library.
  packet_->Handshake = (result == SNMPERR_USM_UNKNOWNENGINEID && engineId.empty()) ||
                       (result == SNMPERR_USM_NOTINTIMEWINDOW && engineId == library_.EngineId());
  if (result == SNMPERR_USM_UNKNOWNENGINEID || result == SNMPERR_USM_UNKNOWNSECURITYNAME) {
    packet_->User = UserOf(pdu);
    packet_->EngineId = engineId;
  }
}

int Listener::OnMessage(int operation, snmp_session*, int, snmp_pdu* pdu, void* listener) {
  if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && pdu != nullptr) {
    static_cast<Listener*>(listener)->Received(*pdu);
  }
  return 1;
}

std::string Listener::Refusal(const snmp_pdu& pdu) const {
  if (pdu.version == SNMP_VERSION_3) {
    const SnmpUser* user = library_.Access().FindUser(UserOf(pdu), EngineIdOf(pdu));
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
  const Peer peer = PeerOf(pdu);
  notification->PeerAddress = peer.Address;
  notification->ReceivedSeconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
          .count();
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
    ++counters_.Received;
    taken_.push_back(std::move(trap));
  }
}

void Listener::ReceivedInform(snmp_pdu& pdu, QueuedTrap& trap) {
  auto answer = std::make_unique<InformAnswer>();
  answer->Session = packet_->From.Session;
  answer->Response.reset(snmp_clone_pdu(&pdu));
  if (answer->Response == nullptr) {
    packet_->Notification = false;
    packet_->Reason = "an inform that can't be answered";
    return;
  }
  answer->Response->command = SNMP_MSG_RESPONSE;
  answer->Response->errstat = 0;
  answer->Response->errindex = 0;
  std::unique_ptr<Answer> kept = std::move(answer);
  const InformTable::Result result =
      informs_.Arrived(trap.Row.InformKey, kept, std::chrono::steady_clock::now());
  if (result.What == InformTable::Arrival::New) {
    ++counters_.Received;
    trap.InformToken = result.Token;
    taken_.push_back(std::move(trap));
    return;
  }
  ++counters_.Repeated;
  if (result.What == InformTable::Arrival::Answered) {
    SendAnswer(*kept);
  }
}

void Listener::SendAnswers(std::span<const std::uint64_t> tokens) {
  for (const std::uint64_t token : tokens) {
    for (const auto& answer : informs_.Safe(token, std::chrono::steady_clock::now())) {
      SendAnswer(*answer);
    }
  }
}

void Listener::SendAnswer(Answer& answer) {
  auto& inform = static_cast<InformAnswer&>(answer);
  snmp_pdu* response = inform.Response.release();
  if (snmp_sess_send(inform.Session, response) == 0) {
    snmp_free_pdu(response);
    return;
  }
  ++counters_.Answered;
}

void Listener::Count(const Packet& packet) {
  if (packet.Notification || packet.Handshake) {
    return;
  }
  ++counters_.Malformed;
  const auto now = std::chrono::steady_clock::now();
  if (now - lastMalformedLog_ < kMalformedLogPause) {
    ++unloggedMalformed_;
    return;
  }
  lastMalformedLog_ = now;
  log_.Warning(fmt::format("packet from {} not accepted: {}{}", packet.Peer.empty() ? "?" : packet.Peer,
                           packet.Reason.empty() ? "no SNMP message" : packet.Reason,
                           unloggedMalformed_ == 0
                               ? std::string()
                               : fmt::format(" ({} more since the last such line)", unloggedMalformed_)));
  unloggedMalformed_ = 0;
}

std::uint64_t Listener::DroppedByKernel() const {
  std::uint64_t dropped = 0;
  for (const auto& socket : sockets_) {
    std::array<std::uint32_t, SK_MEMINFO_VARS> figures{};
    socklen_t length = sizeof figures;
    if (getsockopt(socket->Descriptor, SOL_SOCKET, SO_MEMINFO, figures.data(), &length) == 0) {
      dropped += figures[SK_MEMINFO_DROPS];
    }
  }
  return dropped;
}

}  // namespace korvane::receiver
