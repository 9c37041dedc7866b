#include "common/Number.h"

#include <fmt/format.h>

#include <stdexcept>

#include "common/Text.h"
#include "common/Translation.h"

namespace korvane {

std::int32_t TypedNumber(std::string_view text, std::int32_t least) {
  const std::string_view typed = WithoutBlanks(text);
  std::int32_t number = 0;
  const char* const end = typed.data() + typed.size();
  const auto [stop, error] = std::from_chars(typed.data(), end, number);
  if (stop != end || error == std::errc::invalid_argument) {
    throw std::invalid_argument(Phrase("'{}' is not a whole number.", text));
  }
  const bool tooLong = error == std::errc::result_out_of_range;
  if (tooLong && typed.front() != '-') {
    throw std::invalid_argument(Phrase("'{}' is too large. The largest number is 2,147,483,647.", text));
  }
  if (tooLong || number < least) {
    throw std::invalid_argument(Phrase("'{}' is too small.", text));
  }
  return number;
}

}  // namespace korvane
