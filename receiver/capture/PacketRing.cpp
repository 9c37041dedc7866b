#include "receiver/capture/PacketRing.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace korvane::receiver {
namespace {

// The largest packet of UDP fits even into the smallest block.
constexpr std::size_t kSmallestBlock = std::size_t{128} << 10;
constexpr std::size_t kLargestBlock = std::size_t{4} << 20;

struct PacketRecord {
  PacketHead Head;
  std::uint32_t Length = 0;
};

std::size_t RecordBytes(std::size_t length) {
  constexpr std::size_t kAlign = alignof(PacketRecord);
  return (sizeof(PacketRecord) + length + kAlign - 1) / kAlign * kAlign;
}

}  // namespace

// Records one behind the other, written once and read once.
class PacketRing::Block {
 public:
  Block(std::size_t bytes, std::size_t sockets)
      : bytes_(bytes), memory_(std::make_unique_for_overwrite<char[]>(bytes)), costs_(sockets) {}

  std::size_t Rest() const { return bytes_ - written_; }
  void Append(const CapturedPacket& packet, std::size_t cost) {
    const PacketRecord record = {.Head = packet.Head,
                                 .Length = static_cast<std::uint32_t>(packet.Bytes.size())};
    char* to = memory_.get() + written_;
    std::memcpy(to, &record, sizeof record);
    std::memcpy(to + sizeof record, packet.Bytes.data(), packet.Bytes.size());
    written_ += RecordBytes(packet.Bytes.size());
    costs_[packet.Head.Socket] += cost;
  }
  std::optional<CapturedPacket> Next() {
    if (read_ == written_) {
      return std::nullopt;
    }
    PacketRecord record;
    const char* from = memory_.get() + read_;
    std::memcpy(&record, from, sizeof record);
    read_ += RecordBytes(record.Length);
    return CapturedPacket{.Head = record.Head, .Bytes = {from + sizeof record, record.Length}};
  }
  const std::vector<std::size_t>& Costs() const { return costs_; }
  void Clear() {
    written_ = 0;
    read_ = 0;
    std::fill(costs_.begin(), costs_.end(), 0);
  }

 private:
  const std::size_t bytes_;
  std::unique_ptr<char[]> memory_;
  std::vector<std::size_t> costs_;  // by socket
  std::size_t written_ = 0;
  std::size_t read_ = 0;
};

PacketRing::PacketRing(std::size_t bytes)
    : bytes_(bytes),
      blockBytes_(std::clamp(bytes / 16, kSmallestBlock, kLargestBlock)),
      event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!event_.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
}

PacketRing::~PacketRing() = default;

void PacketRing::AddSocket() {
  used_.push_back(0);
}

// What the sockets would take of the room for all if this one had so many bytes.
std::size_t PacketRing::CommonWith(std::size_t socket, std::size_t bytes) const {
  const std::size_t share = bytes_ / 4 / used_.size();
  const auto beyond = [share](std::size_t used) { return used > share ? used - share : 0; };
  return common_ - beyond(used_[socket]) + beyond(bytes);
}

void PacketRing::Put(std::span<const CapturedPacket> packets) {
  const std::lock_guard lock(mutex_);
  std::uint64_t put = 0;
  for (const CapturedPacket& packet : packets) {
    put += PutOne(packet) ? 1 : 0;
  }
  put_ += put;
  dropped_ += packets.size() - put;
  if (put > 0 && std::exchange(readerWaits_, false)) {
    eventfd_write(event_.Number(), 1);
  }
}

bool PacketRing::PutOne(const CapturedPacket& packet) {
  const std::size_t size = RecordBytes(packet.Bytes.size());
  std::size_t& used = used_[packet.Head.Socket];
  const bool fits = !blocks_.empty() && size <= blocks_.back()->Rest();
  // What stays empty at the end of a block is taken too.
  const std::size_t cost = size + (fits || blocks_.empty() ? 0 : blocks_.back()->Rest());
  const std::size_t common = CommonWith(packet.Head.Socket, used + cost);
  if (common > common_ && common > bytes_ - bytes_ / 4) {
    return false;
  }
  if (!fits) {
    blocks_.push_back(FreshBlock());
  }
  blocks_.back()->Append(packet, cost);
  common_ = common;
  used += cost;
  return true;
}

std::unique_ptr<PacketRing::Block> PacketRing::FreshBlock() {
  return spare_ ? std::move(spare_) : std::make_unique<Block>(blockBytes_, used_.size());
}

void PacketRing::Close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  eventfd_write(event_.Number(), 1);
}

std::optional<CapturedPacket> PacketRing::Next() {
  do {
    if (auto packet = reading_ ? reading_->Next() : std::nullopt) {
      ++taken_;
      return packet;
    }
  } while (NextBlock());
  return std::nullopt;
}

bool PacketRing::NextBlock() {
  std::unique_ptr<Block> surplus;  // goes back to the system without the lock
  const std::lock_guard lock(mutex_);
  if (reading_) {
    for (std::size_t socket = 0; socket < used_.size(); ++socket) {
      const std::size_t left = used_[socket] - reading_->Costs()[socket];
      common_ = CommonWith(socket, left);
      used_[socket] = left;
    }
    reading_->Clear();
    (spare_ ? surplus : spare_) = std::move(reading_);
  }
  if (blocks_.empty()) {
    eventfd_t ignored = 0;
    eventfd_read(event_.Number(), &ignored);
    readerWaits_ = true;
    return false;
  }
  reading_ = std::move(blocks_.front());
  blocks_.pop_front();
  return true;
}

}  // namespace korvane::receiver
