// What the receiver is told by its configuration, and what reaches its log.

#include <gtest/gtest.h>

#include "KeptLog.h"
#include "common/RegistryValues.h"
#include "receiver/Configuration.h"
#include "receiver/snmp/Listener.h"
#include "support/FakePlatform.h"

namespace korvane::receiver {
namespace {

TEST(ConfigurationTest, AbsentValuesHaveDefaultsAndListsAreSplit) {
  test::FakeRegistry registry;
  EXPECT_EQ(ReadConfiguration(registry).ListenAddresses, (std::vector<std::string>{"udp:162", "udp6:162"}));
  registry.PutText(kManagerKey, kListenAddressesValue, " udp:127.0.0.1:1162,udp6:[::1]:1162  udp:1163");
  registry.PutText(kManagerKey, kSpoolFolderValue, "/somewhere");
  registry.PutDword(kManagerKey, kSnmpFileValue, 7);
  const Configuration configuration = ReadConfiguration(registry);
  EXPECT_EQ(configuration.ListenAddresses,
            (std::vector<std::string>{"udp:127.0.0.1:1162", "udp6:[::1]:1162", "udp:1163"}));
  EXPECT_EQ(configuration.SpoolFolder, "/somewhere");
  EXPECT_EQ(configuration.SnmpFile, Configuration().SnmpFile);

  for (const char* good : {"udp:162", "udp6:1", "udp:0.0.0.0:65535", "udp6:[::]:162", "udp6:[fe80::1]:162"}) {
    EXPECT_EQ(ListenAddressProblem(good), "") << good;
  }
  for (const char* bad : {"", "162", "tcp:162", "udp:", "udp:0", "udp:65536", "udp:host:162", "udp:1.2.3:162",
                          "udp6:::1:162", "udp6:[::1]", "udp:1.2.3.4:", "udp:162x"}) {
    EXPECT_NE(ListenAddressProblem(bad), "") << bad;
  }
}

TEST(PacedLogTest, ALineInAWhileSaysHowManyWereLeftOut) {
  KeptLog log;
  PacedLog paced(log, std::chrono::seconds(10));
  const auto start = PacedLog::Clock::now();
  const auto warn = [&](int second) {
    paced.Warning([] { return std::string("packet"); }, start + std::chrono::seconds(second));
  };
  for (int i = 0; i < 20'000; ++i) warn(i / 2'000);
  EXPECT_EQ(log.Lines().size(), 1u);
  warn(10);
  paced.TellLeftOut();
  warn(11);
  paced.TellLeftOut();
  paced.TellLeftOut();
  EXPECT_EQ(log.Lines(), (std::vector<std::string>{"packet", "packet (19999 more such lines left out before)",
                                                   "1 more lines about packets left out"}));
}

TEST(ServiceLogTest, TextFromTheNetworkCannotForgeALineOrReachATerminal) {
  KeptLog log;
  log.Warning("user \x1B[2J\r\nerror: forged\x07 \xC2\x9B \xFF");
  const std::string written = log.Lines().at(0);
  for (const char c : written) EXPECT_GE(static_cast<unsigned char>(c), 0x20) << written;
  EXPECT_EQ(written.find("\xC2\x9B"), written.npos);
  EXPECT_EQ(written.find('\xFF'), written.npos);
  EXPECT_NE(written.find("error: forged"), written.npos);
}

}  // namespace
}  // namespace korvane::receiver
