// Registry keys and values as the text of a ".reg" file: "Windows Registry Editor Version 5.00", either as
// this product writes it (UTF-8, LF) or as the desktop it comes from exports it (UTF-16LE with byte-order
// mark, CR LF, long values continued with a backslash).  A value without a known form is kept and has no
// data; a file with a line that is no comment, key or value is damaged as a whole, because what was lost
// from it can't be known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

namespace korvane::platform {

class RegistryText {
 public:
  // Nothing when the bytes are no such file or damaged.
  static std::optional<RegistryText> Parse(std::string_view bytes);

  // keyPath: with its hive, as between the brackets of the file.  Both names compare ignoring case.
  std::optional<RegistryData> Value(std::string_view keyPath, std::string_view valueName) const;

  // The whole text, UTF-8 and LF, with this value set and every other line as it was.  Nothing when the key
  // is not there.
  std::optional<std::string> WithDword(std::string_view keyPath, std::string_view valueName,
                                       std::uint32_t value) const;

 private:
  struct ValueLines {
    std::string Written;  // the name as the file spells it, with its quotes
    std::size_t First = 0;
    std::size_t Count = 1;
    std::optional<RegistryData> Data;  // none: of a form that is not known, or taken away
  };
  struct Key {
    std::size_t End = 0;                       // behind the key's last value line, or behind its own
    std::map<std::string, ValueLines> Values;  // by the name in upper case
  };

  bool ReadLines();
  std::optional<std::size_t> ReadValue(std::size_t line, Key* key);
  void ReadKey(std::string_view line, std::size_t number, Key*& current);

  std::vector<std::string> lines_;
  std::map<std::string, Key> keys_;  // by the path in upper case
};

}  // namespace korvane::platform
