#include "receiver/alerts/AlertMemory.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <string_view>
#include <system_error>

#include "receiver/spool/Files.h"
#include "receiver/spool/StateFile.h"

namespace korvane::receiver {
namespace {

constexpr std::string_view kMemoryFile = "alerts";

void AppendFiring(std::string& to, const PendingFiring& firing) {
  to += fmt::format("firing {} {} {} {} {}\n", firing.AlertId, firing.Actions, firing.Summary.Suppressed,
                    firing.Summary.OtherTraps, firing.Summary.Sources.size());
  for (const SourceCount& count : firing.Summary.Sources) {
    to += fmt::format("source {} {}\n", count.Traps, HexDigits(count.Source));
  }
  AppendRecord(to, firing.Trap.Number, firing.Trap.Row);
}

// Reads the file from its beginning; a word or number that is not as expected ends it.
class MemoryReader {
 public:
  explicit MemoryReader(std::string_view bytes) : bytes_(bytes) {}

  bool AtEnd() const { return at_ == bytes_.size(); }
  // Behind the word and a blank: as many numbers.
  template <std::size_t Count>
  std::optional<std::array<std::uint64_t, Count>> Numbers(std::string_view word) {
    std::array<std::uint64_t, Count> numbers{};
    if (!Skip(word)) {
      return std::nullopt;
    }
    for (std::uint64_t& number : numbers) {
      const char* const end = bytes_.data() + bytes_.size();
      const auto result = Skip(" ") ? std::from_chars(bytes_.data() + at_, end, number)
                                    : std::from_chars_result{end, std::errc::invalid_argument};
      if (result.ec != std::errc()) {
        return std::nullopt;
      }
      at_ = static_cast<std::size_t>(result.ptr - bytes_.data());
    }
    return numbers;
  }
  bool Skip(std::string_view text) {
    const bool found = bytes_.substr(at_).starts_with(text);
    at_ += found ? text.size() : 0;
    return found;
  }
  std::string_view RestOfLine() {
    const std::string_view line = bytes_.substr(at_, bytes_.find('\n', at_) - at_);
    at_ = std::min(bytes_.size(), at_ + line.size() + 1);
    return line;
  }
  bool Record(SpooledTrap& trap) { return ReadRecord(bytes_, at_, trap) == RecordRead::Found; }

 private:
  std::string_view bytes_;
  std::size_t at_ = 0;
};

std::optional<PendingFiring> ReadFiring(MemoryReader& reader) {
  const auto numbers = reader.Numbers<5>("firing");
  if (!numbers || !reader.Skip("\n")) {
    return std::nullopt;
  }
  PendingFiring firing{.AlertId = static_cast<std::int32_t>((*numbers)[0]),
                       .Actions = static_cast<ActionSet>((*numbers)[1]),
                       .Summary = {.Suppressed = (*numbers)[2], .Sources = {}, .OtherTraps = (*numbers)[3]}};
  for (std::uint64_t i = 0; i < (*numbers)[4]; ++i) {
    const auto traps = reader.Numbers<1>("source");
    if (!traps || !reader.Skip(" ")) {
      return std::nullopt;
    }
    const auto source = OctetsOf(reader.RestOfLine());
    if (!source) {
      return std::nullopt;
    }
    firing.Summary.Sources.push_back({.Source = *source, .Traps = (*traps)[0]});
  }
  return reader.Record(firing.Trap) ? std::optional(std::move(firing)) : std::nullopt;
}

}  // namespace

std::optional<AlertMemory> ReadAlertMemory(const std::filesystem::path& folder) {
  std::string bytes;
  try {
    bytes = ReadWholeFile(folder / kMemoryFile);
  } catch (const std::system_error&) {
    return std::nullopt;
  }
  MemoryReader reader(bytes);
  const auto looked = reader.Numbers<1>("looked");
  if (!looked || !reader.Skip("\n")) {
    return std::nullopt;
  }
  AlertMemory memory{.Looked = (*looked)[0]};
  while (!reader.AtEnd()) {
    std::optional<PendingFiring> firing = ReadFiring(reader);
    if (!firing) {
      break;  // what was read before it is whole
    }
    memory.Pending.push_back(std::move(*firing));
  }
  return memory;
}

void WriteAlertMemory(const std::filesystem::path& folder, const AlertMemory& memory) {
  std::string bytes = fmt::format("looked {}\n", memory.Looked);
  for (const PendingFiring& firing : memory.Pending) {
    AppendFiring(bytes, firing);
  }
  ReplaceFile(folder / kMemoryFile, bytes);
}

}  // namespace korvane::receiver
