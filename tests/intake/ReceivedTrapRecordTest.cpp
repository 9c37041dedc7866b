// The forty bytes, field by field, and the strings' ownership.
#include "intake/ReceivedTrapRecord.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <stdexcept>
#include <string>

namespace korvane::intake {
namespace {

class TestMemory : public StringMemory {
 public:
  std::string Read(std::uint32_t address) override {
    if (address == Unreadable) throw std::runtime_error("can't read");
    return Strings.at(address);
  }
  void Release(std::uint32_t address) noexcept override { ++Released[address]; }

  std::map<std::uint32_t, std::string> Strings;
  std::map<std::uint32_t, int> Released;
  std::uint32_t Unreadable = 0;
};

using Record = std::array<std::byte, kReceivedTrapBytes>;

Record RecordOf(const std::array<unsigned char, kReceivedTrapBytes>& bytes) {
  Record record{};
  for (std::size_t i = 0; i < bytes.size(); ++i) record[i] = std::byte{bytes[i]};
  return record;
}

TestMemory FiveStrings() {
  TestMemory memory;
  memory.Strings = {{0x01020304, "src"},
                    {0x80000005, "1.3.6"},
                    {0x0c, std::string("first\0pad", 9)},
                    {0xffffffff, ""},
                    {0x18, "d\x80\xe9"}};
  return memory;
}

const std::array<unsigned char, kReceivedTrapBytes> kRecord = {
    0x04, 0x03, 0x02, 0x01,  // Source
    0x05, 0x00, 0x00, 0x80,  // EnterpriseOid
    0xfe, 0xff, 0xff, 0xff,  // SpecificTrap -2
    0x0c, 0x00, 0x00, 0x00,  // first part of the bindings
    0xff, 0xff, 0xff, 0xff,  // second part
    0x15, 0xcd, 0x5b, 0x07,  // SequenceNumber 123456789
    0x18, 0x00, 0x00, 0x00,  // EventDescription
    0x06, 0x00, 0x00, 0x00,  // GenericTrap
    0xff, 0xff, 0xff, 0x7f,  // EventTime, the largest
    0x00, 0x00, 0x00, 0x80,  // time key, the smallest
};

TEST(ReceivedTrapRecord, EveryFieldLiesWhereItBelongs) {
  TestMemory memory = FiveStrings();
  const ReceivedTrap trap = DecodeReceivedTrap(RecordOf(kRecord), memory);
  EXPECT_EQ(trap.Source, "src");
  EXPECT_EQ(trap.EnterpriseOid, "1.3.6");
  EXPECT_EQ(trap.SpecificTrap, -2);
  EXPECT_EQ(trap.VarBindsFirst, std::string("first\0pad", 9));  // cut later, as every delivered text
  EXPECT_EQ(trap.VarBindsSecond, "");
  EXPECT_EQ(trap.SequenceNumber, 123'456'789);
  EXPECT_EQ(trap.EventDescription, "d\xe2\x82\xac\xc3\xa9");
  EXPECT_EQ(trap.GenericTrap, 6);
  EXPECT_EQ(trap.EventTime, 2'147'483'647);
  EXPECT_EQ(trap.TimeKey, -2'147'483'647 - 1);
  EXPECT_EQ(memory.Released, (std::map<std::uint32_t, int>{
                                 {0x01020304, 1}, {0x80000005, 1}, {0x0c, 1}, {0xffffffff, 1}, {0x18, 1}}));
}

TEST(ReceivedTrapRecord, NullAddressesAreEmptyTextsAndNothingToRelease) {
  TestMemory memory;
  const ReceivedTrap trap = DecodeReceivedTrap(Record{}, memory);
  EXPECT_EQ(
      trap.Source + trap.EnterpriseOid + trap.VarBindsFirst + trap.VarBindsSecond + trap.EventDescription,
      "");
  EXPECT_EQ(trap.SequenceNumber, 0);
  EXPECT_TRUE(memory.Released.empty());
}

TEST(ReceivedTrapRecord, AStringThatCannotBeReadStillReleasesAllFive) {
  TestMemory memory = FiveStrings();
  memory.Unreadable = 0x0c;
  EXPECT_THROW(DecodeReceivedTrap(RecordOf(kRecord), memory), std::runtime_error);
  EXPECT_EQ(memory.Released.size(), 5U);
  for (const auto& [address, times] : memory.Released) EXPECT_EQ(times, 1) << address;
}

TEST(ReceivedTrapRecord, Windows1252) {
  EXPECT_EQ(Windows1252ToUtf8(std::string_view("A\0\x7f", 3)), std::string_view("A\0\x7f", 3));
  EXPECT_EQ(Windows1252ToUtf8("\x80\x85\x93\x94\x99\x9f"),
            "\xe2\x82\xac\xe2\x80\xa6\xe2\x80\x9c\xe2\x80\x9d\xe2\x84\xa2\xc5\xb8");
  EXPECT_EQ(Windows1252ToUtf8("\x81\x8d\x8f\x90\x9d"), "\xc2\x81\xc2\x8d\xc2\x8f\xc2\x90\xc2\x9d");
  EXPECT_EQ(Windows1252ToUtf8("\xa0\xc4\xff"), "\xc2\xa0\xc3\x84\xc3\xbf");
}

}  // namespace
}  // namespace korvane::intake
