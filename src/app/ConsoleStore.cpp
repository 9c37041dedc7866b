#include "app/ConsoleStore.h"

namespace korvane::app {

ConsoleStore::ConsoleStore() {
  Names.UseVerdicts(verdicts_);
}

void ConsoleStore::OpenDatabase() {
  store::OpenDatabase(Database);
}

void ConsoleStore::LoadSystems() {
  SystemList.LoadSystems(Database);
}

void ConsoleStore::ReloadCategoryInformation() {
  Categories.ReloadCategoryInformation(Database);
}

void ConsoleStore::LoadFilters() {
  Filters.LoadFilters(Database);
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
