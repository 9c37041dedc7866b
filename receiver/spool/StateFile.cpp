#include "receiver/spool/StateFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <random>
#include <string_view>
#include <system_error>

#include "receiver/spool/Files.h"

namespace korvane::receiver {
namespace {

constexpr std::uint32_t kMostBoots = 2147483647;  // RFC 3414, 2.2.1

// The value of a "name = value" line; empty when there is none.
std::string_view Line(std::string_view content, std::string_view name) {
  while (!content.empty()) {
    const std::string_view line = content.substr(0, content.find('\n'));
    if (line.starts_with(name) && line.substr(name.size()).starts_with(" = ")) {
      return line.substr(name.size() + 3);
    }
    content.remove_prefix(std::min(content.size(), line.size() + 1));
  }
  return {};
}

// RFC 3411: the enterprise number with the first bit set (8072, that of the library whose formats we use),
// then a format octet of that enterprise (128: random), then octets that make it unique.
std::string NewEngineId() {
  return std::string("\x80\x00\x1f\x88\x80", 5) + RandomOctets(8);
}

// Seconds within which sums and differences can't overflow.
std::optional<std::int64_t> Seconds(std::string_view text) {
  constexpr std::int64_t kMost = std::int64_t{1} << 40;
  std::int64_t seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size() || seconds < 0 || seconds > kMost) {
    return std::nullopt;
  }
  return seconds;
}

std::optional<ReceiverState> Parse(std::string_view content) {
  ReceiverState state;
  state.SpoolId = Line(content, "spool");
  const auto engine = OctetsOf(Line(content, "engine-id"));
  const std::string_view starts = Line(content, "starts");
  const auto [end, error] = std::from_chars(starts.data(), starts.data() + starts.size(), state.Starts);
  if (state.SpoolId.size() != 32 || !OctetsOf(state.SpoolId) || !engine || engine->size() < 5 ||
      engine->size() > 32 || error != std::errc() || end != starts.data() + starts.size()) {
    return std::nullopt;
  }
  state.EngineId = *engine;
  return state;
}

}  // namespace

std::string RandomOctets(std::size_t count) {
  std::random_device device;
  std::string octets(count, '\0');
  std::generate(octets.begin(), octets.end(), [&] { return static_cast<char>(device()); });
  return octets;
}

std::string HexDigits(std::string_view octets) {
  std::string text;
  for (const char c : octets) {
    text += fmt::format("{:02x}", static_cast<unsigned char>(c));
  }
  return text;
}

std::optional<std::string> OctetsOf(std::string_view hexDigits) {
  std::string octets;
  for (std::size_t i = 0; i < hexDigits.size(); i += 2) {
    unsigned char octet = 0;
    const auto [end, error] = std::from_chars(
        hexDigits.data() + i, hexDigits.data() + std::min(i + 2, hexDigits.size()), octet, 16);
    if (error != std::errc() || end != hexDigits.data() + i + 2) {
      return std::nullopt;
    }
    octets += static_cast<char>(octet);
  }
  return octets;
}

ReceiverState CountStart(const std::filesystem::path& folder) {
  const std::filesystem::path file = folder / "state";
  std::optional<ReceiverState> state;
  if (std::filesystem::exists(file)) {
    state = Parse(ReadWholeFile(file));
  }
  if (!state) {
    state = ReceiverState{.SpoolId = HexDigits(RandomOctets(16)), .EngineId = NewEngineId(), .New = true};
  }
  if (state->Starts >= kMostBoots - 1) {
    // Boots may not start over with the same engine ID.
    state->EngineId = NewEngineId();
    state->Starts = 0;
  }
  ++state->Starts;
  ReplaceFile(file, fmt::format("spool = {}\nengine-id = {}\nstarts = {}\n", state->SpoolId,
                                HexDigits(state->EngineId), state->Starts));
  return *state;
}

std::optional<ClockMemory> ReadClockMemory(const std::filesystem::path& folder) {
  std::string content;
  try {
    content = ReadWholeFile(folder / "clock");
  } catch (const std::system_error&) {
    return std::nullopt;
  }
  const auto wall = Seconds(Line(content, "wall"));
  const auto even = Seconds(Line(content, "even"));
  if (!wall || !even) {
    return std::nullopt;
  }
  return ClockMemory{.Vouched = Seconds(Line(content, "vouched")), .Wall = *wall, .Even = *even};
}

void WriteClockMemory(const std::filesystem::path& folder, const ClockMemory& memory) {
  std::string content = fmt::format("wall = {}\neven = {}\n", memory.Wall, memory.Even);
  if (memory.Vouched) {
    content += fmt::format("vouched = {}\n", *memory.Vouched);
  }
  ReplaceFile(folder / "clock", content);
}

}  // namespace korvane::receiver
