#include "receiver/capture/Capture.h"

#include <fmt/format.h>
#include <linux/sock_diag.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <system_error>

namespace korvane::receiver {
namespace {

using std::chrono::steady_clock;

constexpr int kReceiveBufferBytes = 32 << 20;
// What the kernel charges a buffer for a packet of up to some 200 octets, measured on 6.x: a structure of its
// own and memory by powers of two, whatever the packet's length.
constexpr std::size_t kBufferBytesOfPacket = 832;

constexpr std::size_t kPacketsAtOnce = 64;
constexpr std::size_t kLongestPacket = 65536;
constexpr int kPriority = -10;
// While packets come faster than they are worth a turn each, a pause of so long lets some gather.  It is far
// below what the smallest receive buffer holds.
constexpr auto kGather = std::chrono::microseconds(500);
constexpr auto kSteady = std::chrono::milliseconds(1);
constexpr auto kLastTime = std::chrono::seconds(5);
constexpr auto kLossesPause = std::chrono::seconds(1);
// More than this between two clocks is no drift: the wall clock was set.
constexpr auto kClockStep = std::chrono::milliseconds(50);

std::int64_t RealTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

template <typename Value>
Value DataOf(const cmsghdr& part) {
  Value value;
  std::memcpy(&value, CMSG_DATA(&part), sizeof value);
  return value;
}

std::uint64_t KernelDrops(int socket) {
  std::array<std::uint32_t, SK_MEMINFO_VARS> figures{};
  socklen_t length = sizeof figures;
  const bool known = getsockopt(socket, SOL_SOCKET, SO_MEMINFO, figures.data(), &length) == 0;
  return known ? figures[SK_MEMINFO_DROPS] : 0;
}

}  // namespace

// The kernel's times of reception on a clock that nobody sets, so that packets of two sockets can be
// compared.
class Capture::TimeLine {
 public:
  // Once in a while, lest it follows a clock that was set.
  void Adjust() {
    const auto before = steady_clock::now();
    const auto offset = before.time_since_epoch() - std::chrono::nanoseconds(RealTime());
    now_ = steady_clock::now();
    const bool sure = now_ - before < kClockStep / 2;
    if (sure && std::chrono::abs(offset - offset_) > kClockStep) {
      offset_ = offset;
    }
  }
  // One that seems to come from the future was taken in before the clock was set back.
  steady_clock::time_point At(std::int64_t receivedAt) const {
    const steady_clock::time_point time(std::chrono::nanoseconds(receivedAt) + offset_);
    return std::min(time, now_ + 2 * kClockStep);
  }

 private:
  steady_clock::duration offset_{};
  steady_clock::time_point now_;
};

// One socket, with the packets that were taken from it and are not in the ring yet.
class Capture::Source {
 public:
  Source(int descriptor, std::uint32_t number)
      : descriptor_(descriptor),
        number_(number),
        room_(std::make_unique_for_overwrite<Room[]>(kPacketsAtOnce)) {
    // The kernel begins a moment later; until then a packet's time is that of its reading.
    const int on = 1;
    setsockopt(descriptor_, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    for (std::size_t i = 0; i < kPacketsAtOnce; ++i) {
      parts_[i] = {.iov_base = room_[i].data(), .iov_len = kLongestPacket};
    }
  }

  int Descriptor() const { return descriptor_; }
  bool Empty() const { return next_ == pending_.size(); }
  // Read in the last turn; its predecessors may have come to another socket after that was read.
  // No more than that time's packets wait in the kernel.
  bool ReadUpTo(steady_clock::time_point time) const {
    return pending_.empty() || pending_.back().Came > time;
  }
  bool Fresh() const { return fresh_; }
  void Settle() { fresh_ = false; }
  // On the time line; ascending.
  steady_clock::time_point First() const { return pending_[next_].Came; }
  steady_clock::time_point Last() const { return pending_.back().Came; }
  CapturedPacket Pop() { return pending_[next_++].Packet; }

  // Only while it is empty.
  void Fill(const TimeLine& timeLine) {
    for (std::size_t i = 0; i < kPacketsAtOnce; ++i) {
      messages_[i].msg_hdr = {.msg_name = &senders_[i],
                              .msg_namelen = sizeof senders_[i],
                              .msg_iov = &parts_[i],
                              .msg_iovlen = 1,
                              .msg_control = controls_[i].data(),
                              .msg_controllen = controls_[i].size(),
                              .msg_flags = 0};
    }
    const int got = recvmmsg(descriptor_, messages_.data(), kPacketsAtOnce, MSG_DONTWAIT, nullptr);
    pending_.clear();
    next_ = 0;
    const std::int64_t now = RealTime();
    auto came = steady_clock::time_point::min();
    for (int i = 0; i < got; ++i) {
      const CapturedPacket packet = Packet(static_cast<std::size_t>(i), now);
      came = std::max(came, timeLine.At(packet.Head.ReceivedAt));
      pending_.push_back({packet, came});
    }
    fresh_ = got > 0;
  }

 private:
  using Room = std::array<char, kLongestPacket>;
  struct Pending {
    CapturedPacket Packet;
    steady_clock::time_point Came;
  };
  struct alignas(cmsghdr) Control : std::array<char, 128> {};

  CapturedPacket Packet(std::size_t i, std::int64_t now) {
    msghdr& message = messages_[i].msg_hdr;
    CapturedPacket packet{.Head = {.ReceivedAt = now, .Socket = number_},
                          .Bytes = {room_[i].data(), messages_[i].msg_len}};
    std::memcpy(&packet.Head.From, &senders_[i],
                std::min<std::size_t>(message.msg_namelen, sizeof senders_[i]));
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
      if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPNS) {
        const auto time = DataOf<timespec>(*part);
        packet.Head.ReceivedAt = std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
      } else if (part->cmsg_level == SOL_IP && part->cmsg_type == IP_PKTINFO) {
        const auto to = DataOf<in_pktinfo>(*part);
        packet.Head.To = to.ipi_addr;
        packet.Head.Interface = to.ipi_ifindex;
      }
    }
    return packet;
  }

  const int descriptor_;
  const std::uint32_t number_;
  std::unique_ptr<Room[]> room_;  // memory is taken as far as packets are long
  std::array<SocketAddress, kPacketsAtOnce> senders_{};
  std::array<iovec, kPacketsAtOnce> parts_{};
  std::array<Control, kPacketsAtOnce> controls_{};
  std::array<mmsghdr, kPacketsAtOnce> messages_{};
  std::vector<Pending> pending_;
  std::size_t next_ = 0;
  bool fresh_ = false;
};

Capture::Capture(PacketRing& ring, ServiceLog& log)
    : ring_(ring),
      log_(log),
      stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      timeLine_(std::make_unique<TimeLine>()) {
  if (!stop_.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
}

Capture::~Capture() {
  Stop();
  if (thread_.joinable()) {
    thread_.join();
  }
}

void Capture::Add(int descriptor) {
  sources_.push_back(std::make_unique<Source>(descriptor, static_cast<std::uint32_t>(sources_.size())));
  ring_.AddSocket();
}

void Capture::Start() {
  thread_ = std::thread([this] { Run(); });
}

void Capture::Stop() {
  stopping_ = true;
  eventfd_write(stop_.Number(), 1);
}

PacketLosses Capture::Losses() {
  PacketLosses losses = {.ByFullRing = ring_.Dropped()};
  for (const auto& source : sources_) {
    losses.ByKernel += KernelDrops(source->Descriptor());
  }
  if (losses.ByKernel + losses.ByFullRing > 0) {
    std::int64_t never = 0;
    lossesSince_.compare_exchange_strong(never, RealTime() / 1'000'000'000);
  }
  losses.Since = lossesSince_;
  return losses;
}

void Capture::Run() {
  pthread_setname_np(pthread_self(), "capturing");
  TellPriority();
  auto lastTurn = steady_clock::now();
  auto lastLosses = lastTurn;
  while (!stopping_) {
    const bool any = Turn();
    const auto now = steady_clock::now();
    if (any && now - lastLosses >= kLossesPause) {
      Losses();
      lastLosses = now;
    }
    if (Pending()) {
      continue;
    }
    const bool fewAtATime = any && turn_.size() < kPacketsAtOnce / 2 && now - lastTurn < kSteady;
    lastTurn = any ? now : lastTurn;
    // Nothing after a wait means that the kernel refuses: not to be asked without end.
    if (fewAtATime || !any) {
      Gather();
    }
    if (!fewAtATime) {
      Wait();
    }
  }
  // What came before the stop is all in the kernel; what comes later in a storm would have no end.
  const auto stopped = steady_clock::now();
  const auto until = stopped + kLastTime;
  while (Turn() && steady_clock::now() < until && !ReadUpTo(stopped)) {
  }
  for (const auto& source : sources_) {
    source->Settle();
  }
  PassOn(steady_clock::time_point::max());
  ring_.Close();
}

// This thread's alone; a right it was not given costs nothing but the log's word.  One that was given ends
// here: it is not for the programs that alerts start.
void Capture::TellPriority() {
  if (setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kPriority) == 0) {
    log_.Info(fmt::format("packets are captured at priority {}", kPriority));
  } else {
    log_.Info(fmt::format("packets are captured without a priority of their own: {}",
                          std::generic_category().message(errno)));
  }
  const rlimit none{};
  setrlimit(RLIMIT_NICE, &none);
}

// Reads the sources that have no packet at hand, and then passes on in order what can have no predecessor any
// more: a packet that the turn before has read, and that is not later than the last one of another source
// that was not read now, nor than the first of one that was.
bool Capture::Turn() {
  timeLine_->Adjust();
  auto upTo = steady_clock::time_point::max();
  bool any = false;
  for (const auto& source : sources_) {
    source->Settle();
    if (source->Empty()) {
      source->Fill(*timeLine_);
    }
    if (sources_.size() == 1) {
      source->Settle();
    }
    if (!source->Empty()) {
      any = true;
      upTo = std::min(upTo, source->Fresh() ? source->First() : source->Last());
    }
  }
  PassOn(upTo);
  return any;
}

void Capture::PassOn(steady_clock::time_point upTo) {
  turn_.clear();
  while (Source* source = Earliest(upTo)) {
    turn_.push_back(source->Pop());
  }
  ring_.Put(turn_);
}

Capture::Source* Capture::Earliest(steady_clock::time_point upTo) const {
  Source* earliest = nullptr;
  for (const auto& source : sources_) {
    if (!source->Empty() && !source->Fresh() && source->First() <= upTo) {
      upTo = source->First();
      earliest = source.get();
    }
  }
  return earliest;
}

void Capture::Gather() const {
  pollfd end = {.fd = stop_.Number(), .events = POLLIN, .revents = 0};
  const timespec pause = {.tv_sec = 0, .tv_nsec = std::chrono::nanoseconds(kGather).count()};
  ppoll(&end, 1, &pause, nullptr);
}

void Capture::Wait() {
  entries_.clear();
  entries_.push_back({.fd = stop_.Number(), .events = POLLIN, .revents = 0});
  for (const auto& source : sources_) {
    entries_.push_back({.fd = source->Descriptor(), .events = POLLIN, .revents = 0});
  }
  poll(entries_.data(), entries_.size(), -1);
}

bool Capture::ReadUpTo(steady_clock::time_point time) const {
  return std::all_of(sources_.begin(), sources_.end(),
                     [time](const auto& source) { return source->ReadUpTo(time); });
}

bool Capture::Pending() const {
  return std::any_of(sources_.begin(), sources_.end(), [](const auto& source) { return !source->Empty(); });
}

std::size_t EnlargeReceiveBuffer(int socket) {
  const int wish = kReceiveBufferBytes;
  // The kernel doubles the value, and cuts it to net.core.rmem_max unless we may go beyond.
  if (setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &wish, sizeof wish) != 0) {
    setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &wish, sizeof wish);
  }
  int bytes = 0;
  socklen_t length = sizeof bytes;
  getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, &length);
  return static_cast<std::size_t>(bytes);
}

std::size_t PacketsInBuffer(std::size_t bytes) {
  return bytes / kBufferBytesOfPacket;
}

}  // namespace korvane::receiver
