#include "categories/CategoryServices.h"

namespace korvane::categories {

void CategoriesSaved(const CategoryServices& services) {
  if (!services.Categories.ReloadCategoryInformation(services.Shared)) {
    services.Prompt.Show(
        "Could not read category information from the Database. If the problem persists, please contact "
        "product support.",
        PromptIcon::Critical);
  }
  services.Names.ClearCache();
  services.Windows.CategoriesChanged();
}

}  // namespace korvane::categories
