#include "categories/CategoryCopies.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "categories/CategoryStore.h"
#include "categories/CategoryTransaction.h"
#include "categories/CategoryWriter.h"
#include "common/ReplacedFile.h"
#include "common/Text.h"

namespace korvane::categories {

namespace {

// Longer ones are nobody's categories.
constexpr std::size_t kLongestFile = std::size_t{64} << 20;

std::string ReadFile(std::string_view path) {
  const auto fail = [](int error) -> std::runtime_error {
    return std::runtime_error(std::generic_category().message(error) + ".");
  };
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(std::string(path).c_str(), "rb"),
                                                             std::fclose);
  if (!file) {
    throw fail(errno);
  }
  std::string text;
  std::array<char, 65'536> block{};
  while (const std::size_t got = std::fread(block.data(), 1, block.size(), file.get())) {
    text.append(block.data(), got);
    if (text.size() > kLongestFile) {
      throw std::runtime_error("The file is too long for a category file.");
    }
  }
  if (std::ferror(file.get()) != 0) {
    throw fail(errno);
  }
  return text;
}

}  // namespace

std::vector<OfferedCategory> CategoriesOfStore(store::Connection& connection) {
  CategoryTransaction transaction(connection);
  CategoryStore categories(transaction);
  std::vector<OfferedCategory> offered;
  for (std::string& name : categories.LoadCategoryTree()) {
    ExchangedCategory category{.Name = std::move(name), .Details = {}};
    category.Details = categories.LoadTrapDetails(category.Name);
    for (TrapDetail& trap : category.Details.Traps) {
      trap.TrapTableId = 0;
    }
    offered.push_back({.Category = std::move(category)});
  }
  return offered;
}

std::vector<OfferedCategory> CategoriesOfFile(std::string_view path, store::Connection& connection) {
  std::vector<OfferedCategory> offered;
  CategoryTransaction transaction(connection);
  const auto inUse = CategoryWriter(transaction).NamesInUse();
  for (ExchangedCategory& category : ReadCategoryFile(ReadFile(path))) {
    const bool exists = inUse.contains(FoldCase(category.Name));
    offered.push_back({.Category = std::move(category), .Exists = exists, .Chosen = !exists});
  }
  return offered;
}

std::string WriteChosen(const std::vector<OfferedCategory>& offered, std::string_view path) {
  std::vector<ExchangedCategory> chosen;
  for (const OfferedCategory& each : offered) {
    if (each.Chosen) {
      chosen.push_back(each.Category);
    }
  }
  ReplacedFile file(path);
  file.Write(WriteCategoryFile(chosen));
  file.Commit();
  return file.Error();
}

void StoreChosen(const std::vector<OfferedCategory>& offered, store::Connection& connection) {
  CategoryTransaction transaction(connection);
  CategoryStore categories(transaction);
  CategoryWriter writer(transaction);
  const auto inUse = writer.NamesInUse();
  for (const OfferedCategory& each : offered) {
    if (!each.Chosen) {
      continue;
    }
    const auto& [name, details] = each.Category;
    // Two may be there from before the second was refused; then it is the one of just this name.
    const auto [first, last] = inUse.equal_range(FoldCase(name));
    if (each.Exists && first != last) {
      const bool exact =
          std::any_of(first, last, [&](const auto& used) { return used.second == each.Category.Name; });
      categories.DeleteCategoryAllKinds(exact ? name : first->second);
    }
    try {
      writer.AddCategory(name, details.Description, details.Severity, details.Traps);
    } catch (const RelationExists&) {
      // A relation that was left behind by an earlier category of this name serves as well.
    }
  }
  transaction.Commit();
}

}  // namespace korvane::categories
