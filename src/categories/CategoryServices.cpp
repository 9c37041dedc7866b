#include "categories/CategoryServices.h"

#include "store/DatabaseError.h"

namespace korvane::categories {

void CategoriesSaved(const CategoryServices& services) {
  try {
    services.Categories.ReloadCategoryInformation(services.Shared);
  } catch (const store::DatabaseError& error) {
    services.Prompt.ShowFailure(
        "Could not read category information from the Database. If the problem persists, please contact "
        "product support.",
        error.what());
  }
  services.Names.ClearCache();
  services.Windows.CategoriesChanged();
}

}  // namespace korvane::categories
