#include "app/ConsoleStore.h"

namespace korvane::app {

ConsoleStore::ConsoleStore() {
  Names.UseVerdicts(verdicts_);
}

void ConsoleStore::OpenDatabase() {
  store::OpenDatabase(Database);
}

bool ConsoleStore::LoadSystems() {
  return SystemList.LoadSystems(Database);
}

bool ConsoleStore::ReloadCategoryInformation() {
  return Categories.ReloadCategoryInformation(Database);
}

bool ConsoleStore::LoadFilters() {
  return Filters.LoadFilters(Database);
}

void ConsoleStore::SaveSystems() {
  SystemList.SaveSystems(Database);
}

void ConsoleStore::Execute(std::string_view statement) {
  Database.Execute(statement);
}

void ConsoleStore::CloseDatabase() {
  Names.ClearCache();
  Database.Close();
}

void ConsoleStore::ReleaseLists() {
  SystemList.Clear();
  Categories.Clear();
  Filters.Clear();
}

}  // namespace korvane::app
