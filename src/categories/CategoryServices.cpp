#include "categories/CategoryServices.h"

#include "common/Translation.h"

namespace korvane::categories {

void CategoriesSaved(const CategoryServices& services) {
  if (const auto read = services.Categories.ReloadCategoryInformation(services.Shared); !read) {
    services.Prompt.ShowFailure(
        Translated(
            "Could not read category information from the Database. If the problem persists, please contact "
            "product support."),
        read.Cause());
  }
  services.Names.ClearCache();
  services.Windows.CategoriesChanged();
}

}  // namespace korvane::categories
