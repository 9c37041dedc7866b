#include "app/ConsoleStore.h"

#include "store/Acknowledge.h"

namespace korvane::app {

ConsoleStore::ConsoleStore(BusyIndicator& busy) {
  Database.CallBeside(busy);
  Names.UseVerdicts(verdicts_);
}

void ConsoleStore::OpenDatabase() {
  store::OpenDatabase(Database);
}

store::ReadOutcome ConsoleStore::LoadSystems() {
  return SystemList.LoadSystems(Database);
}

store::ReadOutcome ConsoleStore::ReloadCategoryInformation() {
  return Categories.ReloadCategoryInformation(Database);
}

store::ReadOutcome ConsoleStore::LoadFilters() {
  return Filters.LoadFilters(Database);
}

void ConsoleStore::SaveSystems() {
  SystemList.SaveSystems(Database);
}

store::Acknowledgement ConsoleStore::AcknowledgeAll(std::int32_t beforeTime, const store::GoOn& goOn) {
  return store::AcknowledgeAll(Database, beforeTime, goOn);
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
