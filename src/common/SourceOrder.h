// The order of systems by what they are called, in every list: IPv4 addresses by their numbers, then IPv6
// addresses by theirs, then names by their texts.  Any bytes are welcome.  Safe from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace korvane {

// Decides between addresses, and between them and names; between two names all of it is equal.
struct SourceKey {
  explicit SourceKey(std::string_view source);
  bool operator==(const SourceKey&) const = default;
  bool operator<(const SourceKey& other) const {
    return Kind == other.Kind ? Bytes < other.Bytes : Kind < other.Kind;
  }

  static constexpr std::uint8_t kName = 2;
  std::uint8_t Kind = kName;  // 0: IPv4, 1: IPv6
  std::array<std::uint8_t, 16> Bytes{};
};

}  // namespace korvane
