#include "categories/CategoryCopies.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "categories/CategoryStore.h"
#include "categories/CategoryTransaction.h"
#include "categories/CategoryWriter.h"
#include "common/ReplacedFile.h"
#include "common/Text.h"
#include "common/Translation.h"
#include "store/Codes.h"
#include "store/Retry.h"
#include "store/StoredOrder.h"
#include "store/Tables.h"

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
      throw std::runtime_error(Translated("The file is too long for a category file."));
    }
  }
  if (std::ferror(file.get()) != 0) {
    throw fail(errno);
  }
  return text;
}

// Any other code shows as the first one, too.
std::int32_t SeverityForFile(std::int32_t code) {
  return code >= 0 && code < static_cast<std::int32_t>(store::kSeverityNames.size()) ? code : 0;
}

// A file holds names once, ignoring case.  Empty: nothing speaks against it.
std::string WhyNotInOneFile(const std::vector<ExchangedCategory>& categories) {
  std::unordered_map<std::string, std::string_view> names;
  for (const ExchangedCategory& category : categories) {
    const auto [other, added] = names.try_emplace(FoldCase(category.Name), category.Name);
    if (!added) {
      return Phrase(
          "The names \"{}\" and \"{}\" differ in letter case only, and one file can't hold both. Export "
          "them one after the other.",
          VisibleText(other->second), VisibleText(category.Name));
    }
  }
  return {};
}

// The imported ones in the order of the file: those that take the place of others on the places of these,
// a new one before the next of them, and what follows the last of them behind all.
std::vector<std::string> OrderAfterImport(const std::vector<std::string>& before,
                                          const std::vector<const ExchangedCategory*>& imported,
                                          const std::unordered_map<std::string_view, std::string>& replaced) {
  std::unordered_set<std::string_view> gone;
  for (const auto& [name, old] : replaced) {
    gone.insert(old);
  }
  std::vector<std::string> order;
  auto next = imported.begin();
  for (const std::string& name : before) {
    if (!gone.contains(name)) {
      order.push_back(name);
      continue;
    }
    bool placed = false;
    for (; next != imported.end() && !placed; ++next) {
      order.push_back((*next)->Name);
      placed = replaced.contains((*next)->Name);
    }
  }
  for (; next != imported.end(); ++next) {
    order.push_back((*next)->Name);
  }
  return order;
}

std::vector<OfferedCategory> ReadCategories(store::Connection& connection) {
  CategoryTransaction transaction(connection);
  CategoryStore categories(transaction);
  std::vector<OfferedCategory> offered;
  std::unordered_set<std::string> names;
  for (std::string& name : categories.LoadCategoryTree()) {
    ExchangedCategory category{.Name = std::move(name), .Details = {}};
    category.Details = categories.LoadTrapDetails(category.Name);
    category.Details.Severity = SeverityForFile(category.Details.Severity);
    for (TrapDetail& trap : category.Details.Traps) {
      trap.TrapTableId = 0;
      trap.Severity = SeverityForFile(trap.Severity);
    }
    const bool first = names.insert(FoldCase(category.Name)).second;
    offered.push_back({.Category = std::move(category), .Chosen = first});
  }
  return offered;
}

void StoreInOneTransaction(const std::vector<OfferedCategory>& offered, store::Connection& connection,
                           const ImportProgress& progress) {
  CategoryTransaction transaction(connection);
  CategoryStore categories(transaction);
  CategoryWriter writer(transaction);
  const auto inUse = writer.NamesInUse();
  std::vector<const ExchangedCategory*> chosen;
  std::unordered_map<std::string_view, std::string> replaced;  // the stored name by that of the file
  std::vector<TrapDetail> traps;
  for (const OfferedCategory& each : offered) {
    if (!each.Chosen) {
      continue;
    }
    chosen.push_back(&each.Category);
    const std::vector<TrapDetail>& its = each.Category.Details.Traps;
    traps.insert(traps.end(), its.begin(), its.end());
    // Two may be there from before the second was refused; then it is the one of just this name.
    const auto [first, last] = inUse.equal_range(FoldCase(each.Category.Name));
    if (each.Exists && first != last) {
      const bool exact =
          std::any_of(first, last, [&](const auto& used) { return used.second == each.Category.Name; });
      replaced.emplace(each.Category.Name, exact ? each.Category.Name : first->second);
    }
  }
  transaction.BeforeChange();
  store::StoredOrder order(connection, store::kCategoryGroupMaster);
  const std::vector<std::string> before = order.Keys();
  if (progress) {
    writer.ReportTo([&](std::size_t written) { progress(written, traps.size()); });
  }
  writer.Expect(chosen.size(), traps);
  for (const ExchangedCategory* category : chosen) {
    if (const auto old = replaced.find(category->Name); old != replaced.end()) {
      categories.DeleteCategoryAllKinds(old->second);
    }
    try {
      writer.AddCategory(category->Name, category->Details.Description, category->Details.Severity,
                         category->Details.Traps);
    } catch (const RelationExists&) {
      // A relation that was left behind by an earlier category of this name serves as well.
    }
  }
  writer.Finish();
  if (!replaced.empty()) {
    order.Arrange(OrderAfterImport(before, chosen, replaced));
  }
  transaction.Commit();
}

}  // namespace

std::vector<OfferedCategory> CategoriesOfStore(store::Connection& connection) {
  return store::RetriedOnce(connection, [&] { return ReadCategories(connection); });
}

std::vector<OfferedCategory> CategoriesOfFile(std::string_view path) {
  std::vector<OfferedCategory> offered;
  for (ExchangedCategory& category : ReadCategoryFile(ReadFile(path))) {
    offered.push_back({.Category = std::move(category)});
  }
  return offered;
}

std::vector<OfferedCategory> CategoriesOfFile(std::string_view path, store::Connection& connection) {
  std::vector<OfferedCategory> offered = CategoriesOfFile(path);
  const auto inUse = store::RetriedOnce(connection, [&] {
    CategoryTransaction transaction(connection);
    return CategoryWriter(transaction).NamesInUse();
  });
  for (OfferedCategory& each : offered) {
    each.Exists = inUse.contains(FoldCase(each.Category.Name));
    each.Chosen = !each.Exists;
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
  if (std::string objection = WhyNotInOneFile(chosen); !objection.empty()) {
    return objection;
  }
  const std::string text = WriteCategoryFile(chosen);
  try {
    ReadCategoryFile(text);
  } catch (const CategoryFileError& error) {
    return Phrase("No console could import the file. {}", error.what());
  }
  ReplacedFile file(path);
  file.Write(text);
  file.Commit();
  return file.Error();
}

void StoreChosen(const std::vector<OfferedCategory>& offered, store::Connection& connection,
                 const ImportProgress& progress) {
  store::RetriedOnce(connection, [&] { StoreInOneTransaction(offered, connection, progress); });
}

}  // namespace korvane::categories
