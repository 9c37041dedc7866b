#include "traplist/TrapFinder.h"

#include <algorithm>
#include <array>
#include <utility>

#include "store/EventTime.h"

namespace korvane::traplist {
namespace {

// How much is looked at before the clock is: some 10 microseconds.
constexpr std::size_t kBytesPerClock = 16'384;
constexpr std::size_t kRowCost = 64;  // of a row without any bindings, in bytes

// Symbols as VisibleText writes them: the block of control pictures and the replacement character.
bool HasVisibleSymbols(std::string_view text) {
  return text.find("\xE2\x90") != std::string_view::npos ||
         text.find("\xEF\xBF\xBD") != std::string_view::npos;
}

// False: the text has a byte that no date and time of this locale has.  Each number, month, weekday and half
// of the day stands in one of these.
bool MayStandInDates(std::string_view folded) {
  std::array<bool, 256> used{};
  for (int i = 0; i < 60; ++i) {
    const std::string date = FoldCase(store::FormatDateTime({.Year = 1970 + i,
                                                             .Month = 1 + i % 12,
                                                             .Day = 1 + i % 28,
                                                             .Hour = i % 24,
                                                             .Minute = i,
                                                             .Second = i}));
    for (const char c : date) {
      used[static_cast<unsigned char>(c)] = true;
    }
  }
  return std::ranges::all_of(folded, [&used](char c) { return used[static_cast<unsigned char>(c)]; });
}

RowBits InShownOrder(const ShownTraps& list, const RowBits& rows) {
  if (!list.Order.SortedBy()) {
    return rows;
  }
  RowBits shown(rows.Size(), false);
  for (std::size_t position = 0; position < rows.Size(); ++position) {
    if (rows.Test(list.RowAt(position))) {
      shown.Set(position);
    }
  }
  return shown;
}

}  // namespace

void TrapFinder::Find(const ShownTraps& list, std::string_view text, std::size_t position) {
  std::string folded = FoldCase(text);
  if (folded.empty()) {
    Stop();
    return;
  }
  const std::size_t rows = list.Count();
  if (!folded_.empty() && folded.find(folded_) != std::string::npos) {
    open_.Merge(hits_);
  } else {
    open_ = RowBits(rows, true);
  }
  hits_ = RowBits(rows, false);
  next_ = position < rows ? list.RowAt(position) : 0;
  folded_ = std::move(folded);
  needle_ = CaseInsensitiveNeedle(text);
  hasSymbols_ = HasVisibleSymbols(text);
  dates_.reset();
  lastTime_.reset();
  if (MayStandInDates(folded_)) {
    dates_.emplace(list.TimeZoneBias);
  }
  ForgetShared();
}

void TrapFinder::Stop() {
  *this = TrapFinder();
}

bool TrapFinder::Step(const ShownTraps& list, std::chrono::microseconds budget) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + budget;
  std::size_t work = 0;
  while (open_.Count() > 0) {
    const std::optional<std::size_t> row = open_.FirstFrom(next_);
    if (!row) {
      next_ = 0;
      continue;
    }
    open_.Reset(*row);
    if (Matches(list, *row)) {
      hits_.Set(*row);
    }
    next_ = *row + 1;
    work += kRowCost + list.Rows.VarBindsAt(*row).size();
    if (work >= kBytesPerClock) {
      work = 0;
      if (Clock::now() >= end) {
        break;
      }
    }
  }
  return open_.Count() > 0;
}

bool TrapFinder::FoundIn(std::string_view text) const {
  return needle_.FoundIn(text) || (hasSymbols_ && needle_.FoundIn(VisibleText(text)));
}

template <class Text>
bool TrapFinder::FoundInShared(std::vector<Answer>& answers, std::size_t number, Text text) const {
  if (number >= answers.size()) {
    answers.resize(number + 1, Answer::NotAsked);
  }
  if (answers[number] == Answer::NotAsked) {
    answers[number] = FoundIn(text()) ? Answer::Hits : Answer::Misses;
  }
  return answers[number] == Answer::Hits;
}

// Bursts share a second.
bool TrapFinder::FoundInDate(std::int32_t eventTime) {
  if (lastTime_ != eventTime) {
    lastTime_ = eventTime;
    lastTimeHits_ = FoundIn(dates_->Of(eventTime));
  }
  return lastTimeHits_;
}

// Rows share few sources and names, which are asked once each.
bool TrapFinder::Matches(const ShownTraps& list, std::size_t row) {
  const TrapRows& rows = list.Rows;
  const auto source = [&] {
    return list.Source == SourceShown::SourceText ? rows.SourceAt(row) : rows.SystemNameAt(row);
  };
  const auto trapName = [&] { return rows.TrapNameAt(row); };
  return FoundInShared(origins_, rows.OriginAt(row), source) ||
         FoundInShared(kinds_, rows.KindAt(row), trapName) ||
         (dates_ && FoundInDate(rows.EventTimeAt(row))) || FoundIn(rows.VarBindsAt(row));
}

void TrapFinder::ForgetShared() {
  origins_.clear();
  kinds_.clear();
}

std::size_t TrapFinder::NumberOf(const ShownTraps& list, std::size_t position) const {
  if (position >= hits_.Size() || !hits_.Test(list.RowAt(position))) {
    return 0;
  }
  if (!list.Order.SortedBy()) {
    return hits_.CountBefore(position) + 1;
  }
  std::size_t number = 0;
  for (std::size_t place = 0; place <= position; ++place) {
    number += hits_.Test(list.RowAt(place)) ? 1U : 0U;
  }
  return number;
}

TrapFinder::Place TrapFinder::FirstFrom(const ShownTraps& list, std::size_t position) const {
  const auto roundTheEnd = [position](const RowBits& rows) {
    const auto behind = rows.FirstFrom(position);
    return behind ? behind : rows.FirstFrom(0);
  };
  const auto way = [position, this](std::size_t to) {
    return to >= position ? to - position : to + hits_.Size() - position;
  };
  const auto hit = roundTheEnd(InShownOrder(list, hits_));
  const auto open = roundTheEnd(InShownOrder(list, open_));
  return {.Settled = !open || (hit && way(*hit) < way(*open)), .Position = hit};
}

TrapFinder::Place TrapFinder::LastBefore(const ShownTraps& list, std::size_t position) const {
  const auto roundTheTop = [position](const RowBits& rows) {
    const auto before = rows.LastBefore(position);
    return before ? before : rows.LastBefore(rows.Size());
  };
  const auto way = [position, this](std::size_t to) {
    return to < position ? position - to : position + hits_.Size() - to;
  };
  const auto hit = roundTheTop(InShownOrder(list, hits_));
  const auto open = roundTheTop(InShownOrder(list, open_));
  return {.Settled = !open || (hit && way(*hit) < way(*open)), .Position = hit};
}

void TrapFinder::RowsAppended(std::size_t count) {
  if (HasText()) {
    open_.Append(count - open_.Size(), true);
    hits_.Append(count - hits_.Size(), false);
  }
}

void TrapFinder::RowsRemoved(std::span<const std::uint32_t> rows) {
  if (!HasText() || rows.empty()) {
    return;
  }
  const auto before = std::ranges::lower_bound(rows, next_) - rows.begin();
  next_ -= static_cast<std::size_t>(before);
  open_.Remove(rows);
  hits_.Remove(rows);
  // Numbers nobody uses any more may be given to others.
  ForgetShared();
}

void TrapFinder::RowsReset(std::size_t count) {
  if (HasText()) {
    open_ = RowBits(count, true);
    hits_ = RowBits(count, false);
    next_ = 0;
    ForgetShared();
  }
}

}  // namespace korvane::traplist
