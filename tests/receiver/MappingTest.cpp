// From notifications to rows: RFC 3584 and the text of the bindings, as plain functions on values.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "receiver/snmp/ObjectNames.h"
#include "receiver/snmp/TrapMapping.h"
#include "receiver/snmp/ValueText.h"

namespace korvane::receiver {
namespace {

const Oid kTrapOidName = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const Oid kEnterpriseName = {1, 3, 6, 1, 6, 3, 1, 1, 4, 3, 0};
const Oid kAddressName = {1, 3, 6, 1, 6, 3, 18, 1, 3, 0};
const Oid kCommunityName = {1, 3, 6, 1, 6, 3, 18, 1, 4, 0};
const Oid kUpTimeName = {1, 3, 6, 1, 2, 1, 1, 3, 0};

Value OidValue(Oid oid) {
  Value value;
  value.Type = ValueType::ObjectId;
  value.ObjectId = std::move(oid);
  return value;
}
Value Number(std::int64_t number) {
  Value value;
  value.Type = ValueType::Integer;
  value.Number = number;
  return value;
}
Value Bytes(ValueType type, std::string bytes) {
  Value value;
  value.Type = type;
  value.Bytes = std::move(bytes);
  return value;
}
Value Count(ValueType type, std::uint64_t count) {
  Value value;
  value.Type = type;
  value.Count = count;
  return value;
}

Notification V2(Oid trapOid, std::vector<Binding> more = {}) {
  Notification notification;
  notification.PeerAddress = "192.0.2.7";
  notification.ReceivedSeconds = 1'700'000'000;
  notification.Bindings = {{kUpTimeName, Count(ValueType::TimeTicks, 100)},
                           {kTrapOidName, OidValue(std::move(trapOid))}};
  notification.Bindings.insert(notification.Bindings.end(), more.begin(), more.end());
  return notification;
}

TEST(TrapMapping, Snmpv2IdentityFollowsRfc3584) {
  struct Case {
    Oid TrapOid;
    std::string Enterprise;
    int Generic, Specific;
  };
  const std::vector<Case> cases = {
      {{1, 3, 6, 1, 6, 3, 1, 1, 5, 1}, "1.3.6.1.6.3.1.1.5", 0, 0},
      {{1, 3, 6, 1, 6, 3, 1, 1, 5, 6}, "1.3.6.1.6.3.1.1.5", 5, 0},
      // Not among the six: below them, beside them, and above their last.
      {{1, 3, 6, 1, 6, 3, 1, 1, 5, 7}, "1.3.6.1.6.3.1.1.5", 6, 7},
      {{1, 3, 6, 1, 6, 3, 1, 1, 5, 0}, "1.3.6.1.6.3.1.1.5", 6, 0},
      {{1, 3, 6, 1, 6, 3, 1, 1, 5, 3, 1}, "1.3.6.1.6.3.1.1.5.3", 6, 1},
      // The 0 between enterprise and number belongs to neither; only one is taken.
      {{1, 3, 6, 1, 4, 1, 9, 0, 12}, "1.3.6.1.4.1.9", 6, 12},
      {{1, 3, 6, 1, 4, 1, 9, 12}, "1.3.6.1.4.1.9", 6, 12},
      {{1, 3, 6, 1, 4, 1, 9, 0, 0}, "1.3.6.1.4.1.9", 6, 0},
      {{1, 3, 6, 1, 4, 1, 9, 0, 0, 5}, "1.3.6.1.4.1.9.0", 6, 5},
      {{1, 3, 6, 1, 4, 1, 9, 0, 4294967295}, "1.3.6.1.4.1.9", 6, -1},
      // Too short to name anything.
      {{0, 0}, "0.0", 6, 0},
      {{5}, "0.0", 6, 5},
      {{}, "0.0", 6, 0},
  };
  for (const Case& c : cases) {
    const auto row = MapNotification(V2(c.TrapOid));
    ASSERT_TRUE(row);
    EXPECT_EQ(row->EnterpriseOid, c.Enterprise) << OidText(c.TrapOid);
    EXPECT_EQ(row->GenericTrap, c.Generic) << OidText(c.TrapOid);
    EXPECT_EQ(row->SpecificTrap, c.Specific) << OidText(c.TrapOid);
    EXPECT_EQ(row->EventDescription, "");
    EXPECT_EQ(row->EventTime, 1'700'000'000);
  }
}

TEST(TrapMapping, TheSameEventGivesTheSameRowInEveryVersion) {
  const Binding index = {{1, 3, 6, 1, 2, 1, 2, 2, 1, 1, 3}, Number(3)};
  Notification v1;
  v1.Version = SnmpVersion::V1;
  v1.PeerAddress = "192.0.2.7";
  v1.ReceivedSeconds = 1'700'000'000;
  v1.Enterprise = {1, 3, 6, 1, 4, 1, 99};
  v1.Generic = 2;
  v1.AgentAddress = {10, 0, 0, 1};
  v1.Bindings = {index};
  // As a forwarder translates it (RFC 3584, 3.1).
  Notification v2 =
      V2({1, 3, 6, 1, 6, 3, 1, 1, 5, 3}, {index,
                                          {kAddressName, Bytes(ValueType::IpAddress, {10, 0, 0, 1})},
                                          {kCommunityName, Bytes(ValueType::OctetString, "secret")},
                                          {kEnterpriseName, OidValue({1, 3, 6, 1, 4, 1, 99})}});
  Notification v3 = v2;
  v3.Version = SnmpVersion::V3;
  const auto row = MapNotification(v1);
  ASSERT_TRUE(row);
  EXPECT_EQ(row->EventDescription, "ifIndex.3 = 3");
  EXPECT_EQ(MapNotification(v2), row);
  EXPECT_EQ(MapNotification(v3), row);
}

TEST(TrapMapping, SourceIsTheAgentThatIsNamedElseTheSender) {
  Notification v1;
  v1.Version = SnmpVersion::V1;
  v1.PeerAddress = "192.0.2.7";
  EXPECT_EQ(MapNotification(v1)->Source, "192.0.2.7");
  v1.AgentAddress = {10, 1, 2, 3};
  EXPECT_EQ(MapNotification(v1)->Source, "10.1.2.3");

  const Oid trap = {1, 3, 6, 1, 4, 1, 9, 0, 1};
  EXPECT_EQ(MapNotification(V2(trap))->Source, "192.0.2.7");
  // Values that are no address of an agent are kept in the list and change nothing.
  for (const Value& value : {Bytes(ValueType::IpAddress, std::string(4, '\0')), Number(7),
                             Bytes(ValueType::IpAddress, "abc"), Bytes(ValueType::OctetString, "abcd")}) {
    const auto row = MapNotification(V2(trap, {{kAddressName, value}}));
    EXPECT_EQ(row->Source, "192.0.2.7");
    EXPECT_EQ(row->EventDescription, "snmpTrapAddress.0 = " + ValueText(value));
  }
}

TEST(TrapMapping, WithoutATrapOidThereIsNoTrap) {
  Notification notification = V2({1, 2});
  notification.Bindings.pop_back();
  EXPECT_FALSE(MapNotification(notification));
  notification.Bindings.push_back({kTrapOidName, Bytes(ValueType::OctetString, "1.2.3")});
  EXPECT_FALSE(MapNotification(notification));
  // In an unusual place it still counts.
  EXPECT_TRUE(MapNotification(V2({1, 3, 6, 1}, {{{1, 3}, Number(1)}})));
}

TEST(TrapMapping, DescriptionAndItsContinuationReadAsOneList) {
  const Oid trap = {1, 3, 6, 1, 4, 1, 9, 0, 1};
  std::vector<Binding> bindings;
  std::string whole;
  for (std::uint32_t i = 1; i <= 40; ++i) {
    bindings.push_back({{1, 3, 6, 1, 4, 1, 9, i}, Number(i)});
    whole +=
        (i == 1 ? "" : "; ") + std::string("1.3.6.1.4.1.9.") + std::to_string(i) + " = " + std::to_string(i);
  }
  const auto row = MapNotification(V2(trap, bindings));
  EXPECT_EQ(row->EventDescription + row->Event_ExtDescr, whole);
  EXPECT_LE(row->EventDescription.size(), kDescriptionBytes);
  EXPECT_GT(row->EventDescription.size(), kDescriptionBytes - 25);
  EXPECT_TRUE(row->Event_ExtDescr.starts_with("; 1.3.6.1.4.1.9.")) << row->Event_ExtDescr;

  // A first value of the largest size is cut between characters, whatever the offset, and nothing is lost.
  for (std::size_t offset = 0; offset < 4; ++offset) {
    std::string text(offset, 'x');
    while (text.size() < 65'000) text += "\xF0\x9F\x94\xA5";
    const auto longRow = MapNotification(V2(trap, {{{1, 3}, Bytes(ValueType::OctetString, text)}}));
    EXPECT_EQ(longRow->EventDescription + longRow->Event_ExtDescr, "1.3 = " + text);
    EXPECT_LE(longRow->EventDescription.size(), kDescriptionBytes);
    EXPECT_NE(static_cast<unsigned char>(longRow->Event_ExtDescr[0]) & 0xC0, 0x80);
  }
}

TEST(ValueText, EveryTypeHasAReadableForm) {
  const std::vector<std::pair<Value, std::string>> cases = {
      {Number(std::numeric_limits<std::int32_t>::min()), "-2147483648"},
      {Count(ValueType::Unsigned, 4294967295), "4294967295"},
      {Count(ValueType::Counter64, std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
      {Count(ValueType::TimeTicks, 0), "00:00:00.00"},
      {Count(ValueType::TimeTicks, 4294967295), "497d 02:27:52.95"},
      {Bytes(ValueType::IpAddress, {10, 0, 0, static_cast<char>(255)}), "10.0.0.255"},
      {Bytes(ValueType::IpAddress, "xyz"), "hex 78 79 7A"},
      {Bytes(ValueType::Opaque, "ab"), "hex 61 62"},
      {OidValue({1, 3, 6, 1, 4294967295}), "1.3.6.1.4294967295"},
      {Value{}, "null"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(ValueText(value), text);
  Value real;
  real.Type = ValueType::Float;
  real.Real = 21.5;
  EXPECT_EQ(ValueText(real), "21.5");
}

TEST(ValueText, OctetsAreTextOnlyWhenTheyCanBePrinted) {
  using namespace std::string_literals;
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", ""},
      {"it's \"quoted\" <b>%s</b> $(x)", "it's \"quoted\" <b>%s</b> $(x)"},
      {"two\r\nlines\tand a tab", "two\r\nlines\tand a tab"},
      {"Größe \xE2\x9D\x84 \xF0\x9F\x94\xA5", "Größe \xE2\x9D\x84 \xF0\x9F\x94\xA5"},
      {"ends in C's way\0\0"s, "ends in C's way"},
      {"\0"s, "hex 00"},
      {"a\0b"s, "hex 61 00 62"},
      {"\x1B[2J", "hex 1B 5B 32 4A"},
      {"\x08\x20\x0A\x8C\x6D\x41", "hex 08 20 0A 8C 6D 41"},
      {"\xC2\x9B", "hex C2 9B"},                // a control character of two bytes
      {"\xFF", "hex FF"},                       // no UTF-8 at all
      {"\xC3", "hex C3"},                       // cut off
      {"\xC0\xAF", "hex C0 AF"},                // overlong
      {"\xE0\x80\x80", "hex E0 80 80"},         // overlong
      {"\xF0\x8F\xBF\xBF", "hex F0 8F BF BF"},  // overlong
      {"\xED\xA0\x80", "hex ED A0 80"},         // a surrogate
      {"\xF4\x90\x80\x80", "hex F4 90 80 80"},  // beyond Unicode
  };
  for (const auto& [octets, text] : cases) EXPECT_EQ(OctetText(octets), text);
}

TEST(ObjectNames, ColumnsAndScalarsOfStandardMibsAreNamed) {
  const std::vector<std::pair<Oid, std::string>> cases = {
      {{1, 3, 6, 1, 2, 1, 2, 2, 1, 2, 10101}, "ifDescr.10101"},
      {{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 18, 3}, "ifAlias.3"},
      {{1, 3, 6, 1, 2, 1, 1, 5, 0}, "sysName.0"},
      {{1, 3, 6, 1, 2, 1, 15, 3, 1, 7, 192, 0, 2, 1}, "bgpPeerRemoteAddr.192.0.2.1"},
      {{1, 3, 6, 1, 2, 1, 2, 2, 1, 2}, "ifDescr"},
      {{1, 3, 6, 1, 2, 1, 2, 2, 1}, "1.3.6.1.2.1.2.2.1"},
      {{1, 3, 6, 1, 2, 1, 2, 2, 1, 99, 1}, "1.3.6.1.2.1.2.2.1.99.1"},
      {{1, 3, 6, 1, 4, 1, 9, 9}, "1.3.6.1.4.1.9.9"},
      {{0}, "0"},
      {{}, "0.0"},
  };
  for (const auto& [oid, text] : cases) EXPECT_EQ(ObjectText(oid), text);
}

}  // namespace
}  // namespace korvane::receiver
