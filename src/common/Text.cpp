#include "common/Text.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "platform/Utf8.h"

namespace korvane {
namespace {

constexpr std::size_t kStackText = 4096;

bool IsAscii(char c) {
  return (static_cast<unsigned char>(c) & 0x80U) == 0;
}

char AsciiLower(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return static_cast<char>(byte + ((byte - static_cast<unsigned>('A') < 26U) ? 32 : 0));
}

// Lower case of eight ASCII characters at once.
std::uint64_t AsciiLowerEight(std::uint64_t eight) {
  constexpr std::uint64_t kEach = 0x0101010101010101U;
  // The top bit of each byte tells whether it is at least 'A', and whether it is beyond 'Z'.
  const std::uint64_t fromA = eight + kEach * (0x80 - 'A');
  const std::uint64_t beyondZ = eight + kEach * (0x7F - 'Z');
  return eight | (((fromA ^ beyondZ) & (kEach * 0x80)) >> 2);
}

// Lower case of the text in out; false when the text is not all ASCII.  Eight bytes a step, because it runs
// on every trap of a storm.
bool LowerAscii(std::string_view text, char* out) {
  constexpr std::uint64_t kTopBits = 0x8080808080808080U;
  std::size_t at = 0;
  for (; at + sizeof(std::uint64_t) <= text.size(); at += sizeof(std::uint64_t)) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text.data() + at, sizeof(eight));
    if ((eight & kTopBits) != 0) {
      return false;
    }
    eight = AsciiLowerEight(eight);
    std::memcpy(out + at, &eight, sizeof(eight));
  }
  for (; at < text.size(); ++at) {
    if (!IsAscii(text[at])) {
      return false;
    }
    out[at] = AsciiLower(text[at]);
  }
  return true;
}

// The character that starts the text, which is not empty, and its length in bytes; nothing valid: -1 and 1.
struct DecodedCharacter {
  std::int32_t Code;
  std::size_t Length;
};

DecodedCharacter Decode(std::string_view text) {
  utf8proc_int32_t code = -1;
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto length = std::min<std::size_t>(text.size(), 4);
  const utf8proc_ssize_t used = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(length), &code);
  if (used <= 0) {
    return {-1, 1};
  }
  return {code, static_cast<std::size_t>(used)};
}

// A broken byte (always 0x80 or more) becomes one of the two lead bytes that UTF-8 never uses and a
// continuation byte.  So the folded text stays self-synchronising: a search can't match inside a character.
void AppendBrokenByte(std::string& folded, char c) {
  const auto byte = static_cast<unsigned char>(c);
  folded.push_back(static_cast<char>(byte < 0xC0 ? 0xFE : 0xFF));
  folded.push_back(static_cast<char>(0x80U | (byte & 0x3FU)));
}

void AppendFolded(std::string& folded, std::int32_t code) {
  std::array<utf8proc_int32_t, 8> parts{};
  int boundClass = 0;
  const utf8proc_ssize_t count = utf8proc_decompose_char(
      code, parts.data(), static_cast<utf8proc_ssize_t>(parts.size()), UTF8PROC_CASEFOLD, &boundClass);
  if (count <= 0 || count > static_cast<utf8proc_ssize_t>(parts.size())) {
    platform::AppendUtf8(folded, static_cast<char32_t>(code));
    return;
  }
  for (utf8proc_ssize_t i = 0; i < count; ++i) {
    platform::AppendUtf8(folded, static_cast<char32_t>(parts[static_cast<std::size_t>(i)]));
  }
}

bool IsBidirectionalOrInvisible(std::int32_t code) {
  // Joiners stay: several scripts are spelled with them, and they move nothing.
  constexpr std::int32_t kZeroWidthNonJoiner = 0x200C;
  constexpr std::int32_t kZeroWidthJoiner = 0x200D;
  if (code == kZeroWidthNonJoiner || code == kZeroWidthJoiner) {
    return false;
  }
  return utf8proc_category(code) == UTF8PROC_CATEGORY_CF;
}

// The symbol that stands for a character which must not act in a cell; 0: the character may stand itself.
std::int32_t VisibleSymbol(std::int32_t code) {
  constexpr std::int32_t kControlPictures = 0x2400;
  constexpr std::int32_t kDeletePicture = 0x2421;
  constexpr std::int32_t kNewlinePicture = 0x2424;
  constexpr std::int32_t kReplacement = 0xFFFD;
  if (code < 0x20) {
    return kControlPictures + code;
  }
  if (code == 0x7F) {
    return kDeletePicture;
  }
  if (code < 0x7F) {
    return 0;
  }
  if (code == 0x85 || code == 0x2028 || code == 0x2029) {
    return kNewlinePicture;
  }
  const bool nonCharacter = (code & 0xFFFE) == 0xFFFE || (code >= 0xFDD0 && code <= 0xFDEF);
  if (code < 0xA0 || nonCharacter || IsBidirectionalOrInvisible(code)) {
    return kReplacement;
  }
  return 0;
}

// How many bytes from the front are printable ASCII; most texts are nothing else, so eight bytes a step.
std::size_t PlainPrefix(std::string_view text) {
  constexpr std::uint64_t kEach = 0x0101010101010101U;
  std::size_t at = 0;
  for (; at + sizeof(std::uint64_t) <= text.size(); at += sizeof(std::uint64_t)) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, text.data() + at, sizeof(eight));
    // The top bit of each byte: from 0x80 on, below 0x20, and 0x7F.  A carry or a borrow reaches only bytes
    // beside one that is odd itself.
    const std::uint64_t odd = eight | (eight - kEach * 0x20) | (eight + kEach);
    if ((odd & (kEach * 0x80)) != 0) {
      break;
    }
  }
  while (at < text.size() && text[at] >= 0x20 && text[at] < 0x7F) {
    ++at;
  }
  return at;
}

}  // namespace

std::string_view WithoutBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos ? std::string_view()
                                         : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

std::string_view TrimAtNul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

std::string FoldCase(std::string_view text) {
  std::string folded(text.size(), '\0');
  if (LowerAscii(text, folded.data())) {
    return folded;
  }
  folded.clear();
  for (std::size_t at = 0; at < text.size();) {
    if (IsAscii(text[at])) {
      folded.push_back(AsciiLower(text[at++]));
      continue;
    }
    const DecodedCharacter character = Decode(text.substr(at));
    if (character.Code < 0) {
      AppendBrokenByte(folded, text[at]);
    } else {
      AppendFolded(folded, character.Code);
    }
    at += character.Length;
  }
  return folded;
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t at = 0; at < common; ++at) {
    if (!IsAscii(a[at]) || !IsAscii(b[at])) {
      return FoldCase(a.substr(at)) == FoldCase(b.substr(at));
    }
    if (AsciiLower(a[at]) != AsciiLower(b[at])) {
      return false;
    }
  }
  return a.size() == b.size();
}

bool ContainsIgnoreCase(std::string_view text, std::string_view part) {
  return CaseInsensitiveNeedle(part).FoundIn(text);
}

CaseInsensitiveNeedle::CaseInsensitiveNeedle(std::string_view part)
    : folded_(FoldCase(part)), ascii_(std::ranges::all_of(folded_, IsAscii)) {}

bool CaseInsensitiveNeedle::FoundIn(std::string_view text) const {
  if (folded_.empty()) {
    return true;
  }
  if (text.size() > kStackText) {
    return FoldCase(text).find(folded_) != std::string::npos;
  }
  std::array<char, kStackText> lower;
  if (LowerAscii(text, lower.data())) {
    // Only an ASCII needle can stand in an ASCII text.
    return ascii_ && std::string_view(lower.data(), text.size()).find(folded_) != std::string_view::npos;
  }
  return FoldCase(text).find(folded_) != std::string::npos;
}

std::string VisibleText(std::string_view text) {
  std::string visible;
  AppendVisible(visible, text);
  return visible;
}

void AppendVisible(std::string& to, std::string_view text) {
  while (!text.empty()) {
    const std::size_t plain = PlainPrefix(text);
    to.append(text, 0, plain);
    text.remove_prefix(plain);
    if (text.empty()) {
      return;
    }
    const DecodedCharacter character = Decode(text);
    const std::int32_t symbol = character.Code < 0 ? 0xFFFD : VisibleSymbol(character.Code);
    if (symbol != 0) {
      platform::AppendUtf8(to, static_cast<char32_t>(symbol));
    } else {
      to.append(text, 0, character.Length);
    }
    text.remove_prefix(character.Length);
  }
}

}  // namespace korvane
