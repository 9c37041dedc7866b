// Carries categories between the store and category files: writes chosen ones into a file, and takes those of
// a file into the store.  User-interface thread; an import is one transaction on a connection of its own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "categories/CategoryFile.h"
#include "categories/CategoryServices.h"

namespace korvane::categories {

// One category that is offered for export or import.
struct OfferedCategory {
  ExchangedCategory Category;
  bool Exists = false;  // in the store, for an import
  bool Chosen = true;
};

// All trap categories of the store.  Throws DatabaseError.
std::vector<OfferedCategory> CategoriesOfStore(store::Connection& connection);
// Those of a file, each with whether the store has it; one that it has is not chosen.  Throws
// CategoryFileError, DatabaseError, or std::runtime_error when the file can't be read.
std::vector<OfferedCategory> CategoriesOfFile(std::string_view path, store::Connection& connection);

// The chosen ones.  Empty: written; else why not, and a file that was there is as it was.
std::string WriteChosen(const std::vector<OfferedCategory>& offered, std::string_view path);
// The chosen ones; one that is there is replaced whole, with its groups of every kind.  All or nothing:
// throws DatabaseError.
void StoreChosen(const std::vector<OfferedCategory>& offered, store::Connection& connection);

}  // namespace korvane::categories
