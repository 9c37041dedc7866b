#include "params/FiltersForm.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "common/Translation.h"
#include "store/FailureWords.h"

namespace korvane::params {

namespace {

// A message names this many filters at most.
constexpr std::size_t kNamedFilters = 5;

std::string_view MessageOf(std::size_t filters) {
  return filters == 0   ? Translated("A trap filter that was replaced is still there.")
         : filters == 1 ? Translated("This trap filter was not saved.")
                        : Translated("These trap filters were not saved.");
}

std::string LinesOf(const std::vector<std::string>& filters) {
  std::string lines;
  for (std::size_t i = 0; i < std::min(filters.size(), kNamedFilters); ++i) {
    lines += fmt::format("{}{}", i == 0 ? "" : "\n", filters[i]);
  }
  if (filters.size() > kNamedFilters) {
    lines += Phrase("\n({} more)", filters.size() - kNamedFilters);
  }
  return lines;
}

}  // namespace

FiltersForm::FiltersForm(const FilterServices& services) : services_(services), store_(services_.Connection) {
  try {
    ReadRows();
    wasRead_ = true;
  } catch (const store::DatabaseError& error) {
    store::ShowFailure(services_.Prompt, Translated("The trap filters could not be read."), error,
                       store::Attempt::Reading);
  }
  namesKnown_ = true;
}

void FiltersForm::ReadRows() {
  for (StoredFilter& filter : store_.ReadFilters()) {
    rows_.push_back(RowOf(std::move(filter)));
  }
}

FiltersForm::Row FiltersForm::RowOf(StoredFilter filter) {
  return {.Values = filter.Values,
          .Texts = ShownTexts(filter.Values),
          .TrapTableId = filter.TrapTableId,
          .Stored = std::move(filter.Values)};
}

void FiltersForm::StoreChanged() {
  std::vector<StoredFilter> stored;
  try {
    stored = store_.ReadFilters();
  } catch (const store::DatabaseError&) {
    return;  // said elsewhere, and what is changed here is not lost
  }
  wasRead_ = true;
  std::vector<Row> rows;
  for (StoredFilter& filter : stored) {
    const auto own = std::ranges::find(rows_, filter.TrapTableId, &Row::TrapTableId);
    if (own != rows_.end()) {
      rows.push_back(std::move(*own));
      rows_.erase(own);
    } else if (std::ranges::find(replaced_, filter.TrapTableId) == replaced_.end()) {
      rows.push_back(RowOf(std::move(filter)));
    }
  }
  for (Row& row : rows_) {
    if (row.Unsaved()) {
      row.TrapTableId = 0;
      rows.push_back(std::move(row));
    }
  }
  rows_ = std::move(rows);
}

FilterTexts FiltersForm::ShownTexts(const FilterValues& filter) {
  if (namesKnown_) {
    try {
      return TextsOf(filter, services_.Names);
    } catch (const store::DatabaseError& error) {
      namesKnown_ = false;  // one message is enough
      store::ShowFailure(services_.Prompt,
                         Translated("The names of the traps could not be read, so the list shows numbers."),
                         error, store::Attempt::Reading);
    }
  }
  return PlainTextsOf(filter);
}

void FiltersForm::Add(FilterValues filter) {
  FilterTexts texts = ShownTexts(filter);
  rows_.push_back({.Values = std::move(filter), .Texts = std::move(texts)});
}

void FiltersForm::Replace(std::size_t row, FilterValues filter) {
  rows_[row].Texts = ShownTexts(filter);
  rows_[row].Values = std::move(filter);
}

bool FiltersForm::Remove(std::size_t row) {
  if (services_.Prompt.Ask(Translated("Are you sure you want to remove the selected Trap Filter?"),
                           PromptButtons::NoYes, PromptIcon::Question) != PromptAnswer::Yes) {
    return false;
  }
  if (const std::int32_t id = rows_[row].TrapTableId; id != 0) {
    try {
      store_.RemoveFilter(id);
    } catch (const store::DatabaseError& error) {
      store::ShowFailure(services_.Prompt, Translated("The trap filter was not removed."), error,
                         store::Attempt::Changing);
      return false;
    }
  }
  rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(row));
  return true;
}

bool FiltersForm::Save() {
  for (;;) {
    SaveAll();
    ReportFailures();
    const std::size_t unsaved = UnsavedCount();
    if (unsaved == 0) {
      return true;
    }
    const std::string question = Phrase(
        "{} could not be saved. Do you want to try again?\n\nNo closes the list and gives up what is not "
        "saved; "
        "Cancel goes back to the list.",
        unsaved == 1 ? std::string(Translated("1 filter")) : fmt::format("{} filters", unsaved));
    switch (services_.Prompt.Ask(question, PromptButtons::YesNoCancel, PromptIcon::Question)) {
      case PromptAnswer::Yes:
        break;
      case PromptAnswer::No:
        return true;
      default:
        return false;
    }
  }
}

void FiltersForm::SaveAll() {
  const BusyScope busy(services_.Busy, Translated("Saving New Data"));
  failures_.clear();
  for (Row& row : rows_) {
    if (!row.Unsaved()) {
      continue;
    }
    try {
      SaveRow(row);
    } catch (const store::DatabaseError& error) {
      NoteFailure(error, LineOf(row.Texts));
      if (!services_.Connection.IsOpen()) {
        return;  // each further row would wait for the database once more
      }
    }
  }
  RemoveReplaced();
}

void FiltersForm::SaveRow(Row& row) {
  const std::int32_t id = store_.SaveFilter(row.Values, LineOf(row.Texts), row.TrapTableId);
  if (row.TrapTableId != 0 && row.TrapTableId != id) {
    replaced_.push_back(row.TrapTableId);
  }
  row.TrapTableId = id;
  row.Stored = row.Values;
}

// After all rows, since another row may have taken the place of an edited one.
void FiltersForm::RemoveReplaced() {
  std::vector<std::int32_t> left;
  for (const std::int32_t id : std::exchange(replaced_, {})) {
    if (IsInUse(id)) {
      continue;
    }
    try {
      store_.RemoveFilter(id);
    } catch (const store::DatabaseError& error) {
      left.push_back(id);
      NoteFailure(error, {});
    }
  }
  replaced_ = std::move(left);
}

bool FiltersForm::IsInUse(std::int32_t trapTableId) const {
  return std::ranges::any_of(rows_, [&](const Row& row) { return row.TrapTableId == trapTableId; });
}

void FiltersForm::NoteFailure(const store::DatabaseError& error, std::string filter) {
  auto failure = std::ranges::find_if(
      failures_, [&](const Failure& noted) { return std::string_view(noted.Error.what()) == error.what(); });
  if (failure == failures_.end()) {
    failure = failures_.insert(failures_.end(), {.Error = error, .Filters = {}});
  }
  if (!filter.empty()) {
    failure->Filters.push_back(std::move(filter));
  }
}

void FiltersForm::ReportFailures() {
  for (const Failure& failure : failures_) {
    store::ShowFailure(services_.Prompt, MessageOf(failure.Filters.size()), failure.Error,
                       store::Attempt::OneOfSeveral, LinesOf(failure.Filters));
  }
}

std::size_t FiltersForm::UnsavedCount() const {
  return static_cast<std::size_t>(std::ranges::count_if(rows_, &Row::Unsaved)) + replaced_.size();
}

std::optional<std::size_t> FiltersForm::FirstUnsaved() const {
  const auto row = std::ranges::find_if(rows_, &Row::Unsaved);
  return row == rows_.end() ? std::nullopt : std::optional(static_cast<std::size_t>(row - rows_.begin()));
}

void FiltersForm::Apply() {
  if (const auto read = services_.Filters.LoadFilters(services_.Connection); !read) {
    services_.Prompt.ShowFailure(
        Translated("Could not read filter information from the Database. ") + SupportSentence(),
        read.Cause());
  }
  services_.Names.ClearCache();
  services_.Windows.FiltersChanged();
}

}  // namespace korvane::params
