#include "categories/CategoryExchange.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "categories/CategoryCopies.h"
#include "categories/frmCategoryChoice.h"
#include "common/Translation.h"
#include "store/DatabaseError.h"

namespace korvane::categories {
namespace {

constexpr std::string_view kFilesAre = Translatable("Category files");

constexpr std::string_view kProposedName = "Categories.dvcat";

FileQuestion Question(std::string caption, std::string_view path = {}) {
  return {.Caption = std::move(caption),
          .Path = std::string(path),
          .Kind = Translated(kFilesAre),
          .Extension = std::string(kCategoryFileExtension)};
}

bool AskWhich(CategoryChoice choice, std::vector<OfferedCategory>& offered, QWidget* parent) {
  return frmCategoryChoice(choice, offered, parent).exec() == QDialog::Accepted;
}

// "1 category was", "5 categories were".
std::string ChosenText(const std::vector<OfferedCategory>& offered) {
  const auto count = std::ranges::count(offered, true, &OfferedCategory::Chosen);
  return fmt::format("{} {}", count, count == 1 ? Translated("category was") : Translated("categories were"));
}

// What is in the file, or nothing after its message.
std::optional<std::vector<OfferedCategory>> ReadOffered(const CategoryServices& services,
                                                        const std::string& path) {
  try {
    return CategoriesOfFile(path, services.Shared);
  } catch (const std::exception& error) {
    services.Prompt.Show(Phrase("The file \"{}\" was not imported.\n{}", path, error.what()),
                         PromptIcon::Exclamation);
    return std::nullopt;
  }
}

}  // namespace

void ExportCategories(const CategoryServices& services, QWidget* parent) {
  std::vector<OfferedCategory> offered = CategoriesOfStore(services.Shared);
  if (!AskWhich(CategoryChoice::Export, offered, parent)) {
    return;
  }
  const std::optional<std::string> path =
      services.Prompt.AskSaveFile(Question(Translated("Export Categories"), kProposedName));
  if (!path) {
    return;
  }
  if (const std::string failure = WriteChosen(offered, *path); !failure.empty()) {
    services.Prompt.Show(
        Phrase("The categories could not be written to the file \"{}\".\n{}", *path, failure),
        PromptIcon::Exclamation);
    return;
  }
  services.Prompt.Show(Phrase("{} written to the file \"{}\".", ChosenText(offered), *path),
                       PromptIcon::Information);
}

void ImportCategories(const CategoryServices& services, QWidget* parent) {
  const std::vector<std::string> paths =
      services.Prompt.AskOpenFiles(Question(Translated("Import Categories")));
  if (paths.empty()) {
    return;
  }
  std::optional<std::vector<OfferedCategory>> offered = ReadOffered(services, paths.front());
  if (!offered || !AskWhich(CategoryChoice::Import, *offered, parent)) {
    return;
  }
  {
    const BusyScope busy(services.Busy, Translated("Saving New Data"));
    const std::unique_ptr<store::Connection> own = services.OpenConnection(kCategoryTimeouts);
    StoreChosen(*offered, *own, [&](std::size_t written, std::size_t traps) {
      services.Busy.ShowProgress(static_cast<std::int64_t>(written), static_cast<std::int64_t>(traps));
    });
  }
  CategoriesSaved(services);
  services.Prompt.Show(fmt::format("{} imported.", ChosenText(*offered)), PromptIcon::Information);
}

}  // namespace korvane::categories
