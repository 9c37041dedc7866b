#include "intake/SequenceSet.h"

#include <algorithm>
#include <utility>

namespace korvane::intake {

std::vector<SequenceSet::Run>::const_iterator SequenceSet::RunFor(std::int32_t number) const {
  // Nearly every number belongs to the last run or behind it.
  if (runs_.empty() || runs_.back().Last < number) {
    return runs_.end();
  }
  if (runs_.back().First <= number) {
    return runs_.end() - 1;
  }
  return std::lower_bound(runs_.begin(), runs_.end(), number,
                          [](const Run& run, std::int32_t value) { return run.Last < value; });
}

bool SequenceSet::Contains(std::int32_t number) const {
  const auto run = RunFor(number);
  return run != runs_.end() && run->First <= number;
}

void SequenceSet::Assign(std::vector<std::int32_t> numbers) {
  if (!std::is_sorted(numbers.begin(), numbers.end())) {
    std::sort(numbers.begin(), numbers.end());
  }
  runs_.clear();
  for (const std::int32_t number : numbers) {
    Insert(number);
  }
}

void SequenceSet::Erase(std::vector<std::int32_t> numbers) {
  runs_ = store::Without(runs_, store::SelectionOf(std::move(numbers)).Numbers);
}

bool SequenceSet::Insert(std::int32_t number) {
  const auto at = runs_.begin() + (RunFor(number) - runs_.cbegin());
  if (at != runs_.end() && at->First <= number) {
    return false;
  }
  // Differences in 64 bits: the numbers may stand at the ends of their range.
  const bool touchesNext = at != runs_.end() && std::int64_t{at->First} - number == 1;
  const bool touchesPrevious = at != runs_.begin() && std::int64_t{number} - (at - 1)->Last == 1;
  if (touchesNext && touchesPrevious) {
    (at - 1)->Last = at->Last;
    runs_.erase(at);
  } else if (touchesNext) {
    at->First = number;
  } else if (touchesPrevious) {
    (at - 1)->Last = number;
  } else {
    runs_.insert(at, Run{number, number});
  }
  return true;
}

}  // namespace korvane::intake
