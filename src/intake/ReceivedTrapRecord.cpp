#include "intake/ReceivedTrapRecord.h"

#include <array>
#include <utility>

#include "platform/Utf8.h"

namespace korvane::intake {

namespace {

constexpr std::size_t kSource = 0;
constexpr std::size_t kEnterpriseOid = 4;
constexpr std::size_t kSpecificTrap = 8;
constexpr std::size_t kVarBindsFirst = 12;
constexpr std::size_t kVarBindsSecond = 16;
constexpr std::size_t kSequenceNumber = 20;
constexpr std::size_t kEventDescription = 24;
constexpr std::size_t kGenericTrap = 28;
constexpr std::size_t kEventTime = 32;
constexpr std::size_t kTimeKey = 36;

using Record = std::span<const std::byte, kReceivedTrapBytes>;

std::uint32_t Unsigned(Record record, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value |= std::to_integer<std::uint32_t>(record[offset + i]) << (8 * i);
  }
  return value;
}

std::int32_t Signed(Record record, std::size_t offset) {
  return static_cast<std::int32_t>(Unsigned(record, offset));
}

void Put(std::span<std::byte, kReceivedTrapBytes> record, std::size_t offset, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) {
    record[offset + i] = static_cast<std::byte>(value >> (8 * i));
  }
}

// Releases the record's strings when the record has been read or given up.
class RecordStrings {
 public:
  RecordStrings(Record record, StringMemory& memory, const AnsiToUtf8& toUtf8)
      : record_(record), memory_(memory), toUtf8_(toUtf8) {}
  ~RecordStrings() {
    for (const std::size_t offset :
         {kSource, kEnterpriseOid, kVarBindsFirst, kVarBindsSecond, kEventDescription}) {
      if (const std::uint32_t address = Unsigned(record_, offset); address != 0) {
        memory_.Release(address);
      }
    }
  }
  RecordStrings(const RecordStrings&) = delete;
  RecordStrings& operator=(const RecordStrings&) = delete;

  std::string Text(std::size_t offset) const {
    const std::uint32_t address = Unsigned(record_, offset);
    return address == 0 ? std::string() : toUtf8_(memory_.Read(address));
  }

 private:
  Record record_;
  StringMemory& memory_;
  const AnsiToUtf8& toUtf8_;
};

// Characters of the bytes 0x80 to 0x9F; every other byte is the character of its own number.
constexpr std::array<char16_t, 32> kUpperControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

}  // namespace

std::string Windows1252ToUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    const bool upperControl = byte >= 0x80 && byte < 0xA0;
    platform::AppendUtf8(text, upperControl ? kUpperControls[byte - 0x80U] : char32_t{byte});
  }
  return text;
}

ReceivedTrap DecodeReceivedTrap(Record record, StringMemory& memory, const AnsiToUtf8& toUtf8) {
  const RecordStrings strings(record, memory, toUtf8);
  return {.Source = strings.Text(kSource),
          .EnterpriseOid = strings.Text(kEnterpriseOid),
          .SpecificTrap = Signed(record, kSpecificTrap),
          .VarBindsFirst = strings.Text(kVarBindsFirst),
          .VarBindsSecond = strings.Text(kVarBindsSecond),
          .SequenceNumber = Signed(record, kSequenceNumber),
          .EventDescription = strings.Text(kEventDescription),
          .GenericTrap = Signed(record, kGenericTrap),
          .EventTime = Signed(record, kEventTime),
          .TimeKey = Signed(record, kTimeKey)};
}

void EncodeReceivedTrap(const ReceivedTrap& trap, std::span<std::byte, kReceivedTrapBytes> record,
                        StringMemory& memory, const Utf8ToAnsi& toAnsi) {
  const std::array<std::pair<std::size_t, const std::string*>, 5> texts = {
      {{kSource, &trap.Source},
       {kEnterpriseOid, &trap.EnterpriseOid},
       {kVarBindsFirst, &trap.VarBindsFirst},
       {kVarBindsSecond, &trap.VarBindsSecond},
       {kEventDescription, &trap.EventDescription}}};
  const std::array<std::pair<std::size_t, std::int32_t>, 5> numbers = {
      {{kSpecificTrap, trap.SpecificTrap},
       {kSequenceNumber, trap.SequenceNumber},
       {kGenericTrap, trap.GenericTrap},
       {kEventTime, trap.EventTime},
       {kTimeKey, trap.TimeKey}}};
  for (const auto& [offset, text] : texts) {
    Put(record, offset, text->empty() ? 0 : memory.Make(toAnsi(*text)));
  }
  for (const auto& [offset, number] : numbers) {
    Put(record, offset, static_cast<std::uint32_t>(number));
  }
}

}  // namespace korvane::intake
