// Category files (*.dvcat): chosen categories with their trap definitions as readable text, to be carried to
// another console.  docs/category-files.md describes the form.  Plain values and text; no store, no threads.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "categories/CategoryStore.h"

namespace korvane::categories {

inline constexpr std::string_view kCategoryFileExtension = "dvcat";

struct ExchangedCategory {
  std::string Name;
  CategoryDetails Details;  // without keys: TrapTableId is 0
  bool operator==(const ExchangedCategory&) const = default;
};

// What is wrong with a file, and in which line (from 1).  what(): "Line 7: ...".
class CategoryFileError : public std::runtime_error {
 public:
  CategoryFileError(std::size_t line, std::string_view reason);
  std::size_t Line() const { return line_; }

 private:
  std::size_t line_;
};

std::string WriteCategoryFile(const std::vector<ExchangedCategory>& categories);

// Accepts any bytes; throws CategoryFileError for all that is not exactly of the form, so that a damaged file
// never gives half of what it should.
std::vector<ExchangedCategory> ReadCategoryFile(std::string_view text);

}  // namespace korvane::categories
