#include "receiver/spool/SpoolRecord.h"

#include <zlib.h>

#include <bit>
#include <cstring>

namespace korvane::receiver {
namespace {

constexpr std::string_view kMark = "KVtr";
constexpr std::size_t kHeaderBytes = 20;  // mark, length, checksum, number
static_assert(std::endian::native == std::endian::little, "spool files are little-endian");

template <typename Number>
void AppendNumber(std::string& bytes, Number value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void AppendText(std::string& bytes, std::string_view text) {
  AppendNumber(bytes, static_cast<std::uint32_t>(text.size()));
  bytes += text;
}

template <typename Number>
bool TakeNumber(std::string_view& bytes, Number& value) {
  if (bytes.size() < sizeof value) {
    return false;
  }
  std::memcpy(&value, bytes.data(), sizeof value);
  bytes.remove_prefix(sizeof value);
  return true;
}

bool TakeText(std::string_view& bytes, std::string& text) {
  std::uint32_t length = 0;
  if (!TakeNumber(bytes, length) || length > bytes.size()) {
    return false;
  }
  text = bytes.substr(0, length);
  bytes.remove_prefix(length);
  return true;
}

std::uint32_t Checksum(std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

bool ReadContent(std::string_view content, TrapRow& row) {
  return TakeNumber(content, row.InformKey) && TakeNumber(content, row.EventTime) &&
         TakeNumber(content, row.GenericTrap) && TakeNumber(content, row.SpecificTrap) &&
         TakeText(content, row.Source) && TakeText(content, row.EnterpriseOid) &&
         TakeText(content, row.EventDescription) && TakeText(content, row.Event_ExtDescr) && content.empty();
}

// Whether four texts fill the content behind its numbers.
bool FitsRow(std::string_view content) {
  constexpr std::size_t kNumbers = sizeof TrapRow::InformKey + sizeof TrapRow::EventTime +
                                   sizeof TrapRow::GenericTrap + sizeof TrapRow::SpecificTrap;
  if (content.size() < kNumbers) {
    return false;
  }
  content.remove_prefix(kNumbers);
  for (int text = 0; text < 4; ++text) {
    std::uint32_t length = 0;
    if (!TakeNumber(content, length) || length > content.size()) {
      return false;
    }
    content.remove_prefix(length);
  }
  return content.empty();
}

// Where the next record may begin: at a mark, or at the end when the last bytes can't be the start of one.
std::size_t NextMark(std::string_view bytes, std::size_t from) {
  const std::size_t found = bytes.find(kMark, from);
  if (found != std::string_view::npos) {
    return found;
  }
  for (std::size_t left = kMark.size() - 1; left > 0; --left) {
    if (bytes.size() >= from + left && bytes.ends_with(kMark.substr(0, left))) {
      return bytes.size() - left;
    }
  }
  return bytes.size();
}

}  // namespace

void AppendRecord(std::string& bytes, std::uint64_t number, const TrapRow& row) {
  const std::size_t start = bytes.size();
  bytes += kMark;
  bytes.append(8, '\0');  // length and checksum, known below
  AppendNumber(bytes, number);
  AppendNumber(bytes, row.InformKey);
  AppendNumber(bytes, row.EventTime);
  AppendNumber(bytes, row.GenericTrap);
  AppendNumber(bytes, row.SpecificTrap);
  AppendText(bytes, row.Source);
  AppendText(bytes, row.EnterpriseOid);
  AppendText(bytes, row.EventDescription);
  AppendText(bytes, row.Event_ExtDescr);
  const auto length = static_cast<std::uint32_t>(bytes.size() - start - kHeaderBytes);
  const std::uint32_t checksum = Checksum(std::string_view(bytes).substr(start + 12));
  std::memcpy(bytes.data() + start + 4, &length, sizeof length);
  std::memcpy(bytes.data() + start + 8, &checksum, sizeof checksum);
}

RecordRead ReadRecord(std::string_view bytes, std::size_t& position, SpooledTrap& trap) {
  const std::string_view rest = bytes.substr(position);
  const auto damaged = [&] {
    position = NextMark(bytes, position + 1);
    return RecordRead::Damaged;
  };
  if (rest.substr(0, kMark.size()) != kMark.substr(0, rest.size())) {
    return damaged();
  }
  if (rest.size() < kHeaderBytes) {
    return RecordRead::Incomplete;
  }
  std::string_view header = rest.substr(kMark.size());
  std::uint32_t length = 0;
  std::uint32_t checksum = 0;
  TakeNumber(header, length);
  TakeNumber(header, checksum);
  if (length > kMaxRecordContent) {
    return damaged();
  }
  if (rest.size() < kHeaderBytes + length) {
    return RecordRead::Incomplete;
  }
  const std::string_view checkedPart = rest.substr(12, kHeaderBytes - 12 + length);
  std::string_view content = checkedPart;
  // What is no record shows itself in its lengths, at once; a checksum over all that a false mark claims, at
  // each mark, would take a time that grows with the square of the damage.
  if (!TakeNumber(content, trap.Number) || !FitsRow(content) || Checksum(checkedPart) != checksum ||
      !ReadContent(content, trap.Row)) {
    return damaged();
  }
  position += kHeaderBytes + length;
  return RecordRead::Found;
}

}  // namespace korvane::receiver
