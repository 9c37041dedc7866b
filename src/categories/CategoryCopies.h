// Carries categories between the store and category files: writes chosen ones into a file, and takes those of
// a file into the store.  User-interface thread; an import is one transaction on a connection of its own.
#pragma once

#include <cstddef>
#include <functional>
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

// All trap categories of the store in their order, none of them with a code that no file may hold.  Of names
// that differ in letter case only the first one is chosen.  Throws DatabaseError.
std::vector<OfferedCategory> CategoriesOfStore(store::Connection& connection);
// Those of a file, all of them chosen.  Throws CategoryFileError, or std::runtime_error when the file can't
// be read.
std::vector<OfferedCategory> CategoriesOfFile(std::string_view path);
// The same, each with whether the store has it; one that it has is not chosen.  Throws
// DatabaseError as well.
std::vector<OfferedCategory> CategoriesOfFile(std::string_view path, store::Connection& connection);

// The chosen ones, as a file that can be imported.  Empty: written; else why not, and a file that was there
// is as it was.
std::string WriteChosen(const std::vector<OfferedCategory>& offered, std::string_view path);
// How many of the traps are written.
using ImportProgress = std::function<void(std::size_t written, std::size_t traps)>;

// The chosen ones; one that is there is replaced whole, with its groups of every kind.  Afterwards they stand
// in the order in which they were offered: those that replace on the places of the replaced, new ones before
// the next of these or at the end.  All or nothing: throws DatabaseError.
void StoreChosen(const std::vector<OfferedCategory>& offered, store::Connection& connection,
                 const ImportProgress& progress = {});

}  // namespace korvane::categories
