// From the sockets to the thread that decodes: order, time of reception, bounds, and what a stop still takes.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "Counterparts.h"
#include "KeptLog.h"
#include "receiver/capture/Capture.h"

namespace korvane::receiver {
namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

std::int64_t RealNanoseconds() {
  return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

class PacketRingTest : public testing::Test {
 protected:
  PacketRingTest() {
    ring_.AddSocket();
    ring_.AddSocket();
  }
  void Put(std::uint32_t socket, const std::string& bytes) {
    ring_.Put(std::vector<CapturedPacket>{{.Head = {.Socket = socket}, .Bytes = bytes}});
  }
  // How many until one is dropped.
  int PutUntilFull(std::uint32_t socket, std::size_t length) {
    const std::uint64_t dropped = ring_.Dropped();
    int put = 0;
    for (; put < 1'000'000; ++put) {
      Put(socket, std::string(length, static_cast<char>(put)));
      if (ring_.Dropped() != dropped) break;
    }
    return put;
  }
  int TakeAll() {
    int taken = 0;
    while (ring_.Next()) ++taken;
    return taken;
  }

  PacketRing ring_{8 * kMiB};
};

TEST_F(PacketRingTest, KeepsOrderAndBytesOfEveryLengthAndItsBound) {
  const std::vector<std::size_t> lengths = {0, 1, 161, 65'507, 65'536, 7};
  for (int round = 0; round < 100; ++round) {
    for (const std::size_t length : lengths) Put(length % 2, std::string(length, static_cast<char>(round)));
    for (const std::size_t length : lengths) {
      const auto packet = ring_.Next();
      ASSERT_TRUE(packet);
      ASSERT_EQ(packet->Bytes, std::string(length, static_cast<char>(round)));
      ASSERT_EQ(packet->Head.Socket, length % 2);
    }
  }
  // What one socket may fill: three quarters and its half of the last; short packets cost more than they are
  // long.
  for (const std::size_t length :
       {std::size_t{1}, std::size_t{161}, std::size_t{1400}, std::size_t{65'000}}) {
    const int fit = PutUntilFull(0, length);
    EXPECT_LE(static_cast<std::size_t>(fit) * length, 7 * kMiB);
    EXPECT_GE(static_cast<std::size_t>(fit) * (length + 72), 5 * kMiB) << length;
    EXPECT_EQ(TakeAll(), fit);
    EXPECT_EQ(ring_.Waiting(), 0u);
  }
}

TEST_F(PacketRingTest, AFloodOnOneSocketLeavesRoomForAnother) {
  EXPECT_GT(PutUntilFull(0, 161), 30'000);
  const std::uint64_t dropped = ring_.Dropped();
  for (int i = 0; i < 1000; ++i) {
    Put(1, "inform");
    Put(0, std::string(161, 'x'));
  }
  EXPECT_EQ(ring_.Dropped(), dropped + 1000) << "the flood's own";
  std::map<std::uint32_t, int> taken;
  while (const auto packet = ring_.Next()) ++taken[packet->Head.Socket];
  EXPECT_EQ(taken[1], 1000);
  EXPECT_GT(PutUntilFull(0, 161), 30'000) << "all room comes back";
}

class CaptureTest : public testing::Test {
 protected:
  static FileDescriptor Bound(int family, SocketAddress& address) {
    FileDescriptor descriptor(socket(family, SOCK_DGRAM, 0));
    if (family == AF_INET) {
      address.V4 = {
          .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    } else {
      address.V6 = {.sin6_family = AF_INET6,
                    .sin6_port = 0,
                    .sin6_flowinfo = 0,
                    .sin6_addr = in6addr_loopback,
                    .sin6_scope_id = 0};
    }
    socklen_t length = sizeof address;
    EXPECT_EQ(
        bind(descriptor.Number(), &address.Any, family == AF_INET ? sizeof address.V4 : sizeof address.V6),
        0);
    getsockname(descriptor.Number(), &address.Any, &length);
    EnlargeReceiveBuffer(descriptor.Number());
    return descriptor;
  }
  void Send(int to, const std::string& packet) const {
    const SocketAddress& address = addresses_.at(static_cast<std::size_t>(to));
    const FileDescriptor& from = to == 0 ? from4_ : from6_;
    ASSERT_EQ(sendto(from.Number(), packet.data(), packet.size(), 0, &address.Any, sizeof address.V6),
              static_cast<ssize_t>(packet.size()));
  }

  static std::int64_t TimeOfNext(const FileDescriptor& from) {
    std::array<char, 128> control{};
    msghdr message{};
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    recvmsg(from.Number(), &message, 0);
    timespec time{};
    if (const cmsghdr* part = CMSG_FIRSTHDR(&message)) std::memcpy(&time, CMSG_DATA(part), sizeof time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
  }

  std::vector<SocketAddress> addresses_{2};
  FileDescriptor socket4_ = Bound(AF_INET, addresses_[0]);
  FileDescriptor socket6_ = Bound(AF_INET6, addresses_[1]);
  FileDescriptor from4_{socket(AF_INET, SOCK_DGRAM, 0)};
  FileDescriptor from6_{socket(AF_INET6, SOCK_DGRAM, 0)};
  KeptLog log_;
};

TEST_F(CaptureTest, PacketsOfAllSocketsComeInOrderWithTheirTimeAndAStopTakesTheLast) {
  PacketRing ring(16 * kMiB);
  Capture capture(ring, log_);
  capture.Add(socket4_.Number());
  capture.Add(socket6_.Number());
  // The kernel begins to note times a moment after the first socket asks for them.
  ASSERT_TRUE(test::WaitUntil([&] {
    Send(1, "probe");
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const std::int64_t read = RealNanoseconds();
    return TimeOfNext(socket6_) < read - 1'000'000;
  }));
  const std::int64_t before = RealNanoseconds();
  // Long before anybody reads, then while it runs, in runs of one socket and in turn.
  int sent = 0;
  const auto sendSome = [&] {
    for (int i = 0; i < 200; ++i) {
      Send(sent / 3 % 2 == 0 || sent % 7 == 0 ? 0 : 1, std::to_string(sent));
      ++sent;
    }
  };
  sendSome();
  const std::int64_t between = RealNanoseconds();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  capture.Start();
  for (int i = 0; i < 10; ++i) sendSome();
  Send(0, "");
  capture.Stop();
  int taken = 0;
  std::int64_t last = before;
  while (!ring.ClosedAndEmpty()) {
    const auto packet = ring.Next();
    if (!packet) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      continue;
    }
    ASSERT_EQ(packet->Bytes, taken < sent ? std::to_string(taken) : "");
    EXPECT_GE(packet->Head.ReceivedAt, last);
    last = packet->Head.ReceivedAt;
    EXPECT_TRUE(taken >= 200 || last <= between) << "when it came, not when it was read";
    ++taken;
  }
  EXPECT_EQ(taken, sent + 1);
  EXPECT_EQ(capture.Losses().Since, 0);
}

TEST_F(CaptureTest, WhatTheRingCantHoldIsCountedAndItGoesOn) {
  PacketRing ring(kMiB);
  Capture capture(ring, log_);
  capture.Add(socket4_.Number());
  const std::int64_t began = RealNanoseconds() / 1'000'000'000;
  capture.Start();
  for (int i = 0; i < 100; ++i) Send(0, std::string(60'000, 'x'));
  ASSERT_TRUE(test::WaitUntil(
      [&] { return ring.Waiting() + capture.Losses().ByFullRing + capture.Losses().ByKernel == 100; }));
  EXPECT_GT(capture.Losses().ByFullRing, 70u);
  EXPECT_GE(capture.Losses().Since, began);
  const std::uint64_t held = ring.Waiting();
  for (std::uint64_t i = 0; i < held; ++i) ASSERT_TRUE(ring.Next());
  EXPECT_FALSE(ring.Next());
  Send(0, "after");
  ASSERT_TRUE(test::WaitUntil([&] { return ring.Waiting() == 1; }));
  EXPECT_EQ(ring.Next()->Bytes, "after");
}

}  // namespace
}  // namespace korvane::receiver
