// The two commands that carry categories between consoles as files (*.dvcat): which to export and where to,
// which file to import and what becomes of categories that are there already.  User-interface thread;
// what is wrong with a
// file is said through the prompts, and a DatabaseError is left to the frame.
#pragma once

#include "categories/CategoryServices.h"

class QWidget;

namespace korvane::categories {

void ExportCategories(const CategoryServices& services, QWidget* parent);
void ImportCategories(const CategoryServices& services, QWidget* parent);

}  // namespace korvane::categories
