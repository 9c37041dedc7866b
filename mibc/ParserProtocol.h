// What the parsing process writes to its reader: lines of fields separated by tabs, in which a backslash, a
// tab and a line end are escaped.  The last line is "done"; without it the parser did not come to its end.
//   module NAME
//   trap ENTERPRISE-OID CODE TRAP-NAME ENTERPRISE-NAME DESCRIPTION     of the module before it
//   fault FILE LINE REASON
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Definition.h"

namespace korvane::mibc {

inline constexpr std::string_view kParseOption = "--parse-one-file";

std::string ProtocolLine(std::span<const std::string_view> fields);

// Takes the output apart as it arrives.
class ProtocolReader {
 public:
  void Take(std::string_view bytes);
  bool Done() const { return done_; }
  bool Broken() const { return broken_; }  // a line was none of the above
  ReadFile Result() && { return std::move(result_); }

 private:
  void TakeLine(std::string_view line);

  std::string rest_;
  ReadFile result_;
  bool done_ = false;
  bool broken_ = false;
};

}  // namespace korvane::mibc
