// The two commands that carry categories between consoles as files (*.dvcat): which to export and where to,
// which file to import and what becomes of categories that are there already.  User-interface thread;
// everything that goes wrong is said through the prompts.
#pragma once

#include "categories/CategoryServices.h"

class QWidget;

namespace korvane::categories {

void ExportCategories(const CategoryServices& services, QWidget* parent);
void ImportCategories(const CategoryServices& services, QWidget* parent);

}  // namespace korvane::categories
