#include "common/StripLines.h"

#include <algorithm>

namespace korvane {
namespace {

// Of what the operator does the log says nothing.
bool IsLogged(StripKind kind) {
  return kind != StripKind::Told && kind != StripKind::Done;
}

bool LooksTheSame(const StripLine& a, const StripLine& b) {
  return a.Text == b.Text && a.Icon == b.Icon && a.Note == b.Note && a.Details == b.Details &&
         a.Button == b.Button;
}

}  // namespace

void StripLines::Set(StripKind kind, StripLine line) {
  std::optional<StripLine>& place = At(kind);
  const bool same = place && LooksTheSame(*place, line);
  if (IsLogged(kind) && (!place || place->Text != line.Text)) {
    log_.TryWriteLog(line.Text);
  }
  place = std::move(line);
  if (!same) {
    TellListener();
  }
}

void StripLines::Clear(StripKind kind) {
  if (std::optional<StripLine> gone = std::exchange(At(kind), std::nullopt)) {
    if (IsLogged(kind)) {
      log_.TryWriteLog("No longer: " + gone->Text);
    }
    TellListener();
  }
}

void StripLines::Tell(std::string text, std::string button, std::function<void()> action) {
  Set(StripKind::Told, {.Text = std::move(text),
                        .Button = std::move(button),
                        .Action = std::move(action),
                        .Until = clock_.MonotonicMilliseconds() + kToldFor});
}

void StripLines::Done(std::string text) {
  Set(StripKind::Done, {.Text = std::move(text), .Until = clock_.MonotonicMilliseconds() + kToldFor});
}

void StripLines::Press(StripKind kind) {
  if (const StripLine* line = Line(kind); line != nullptr && line->Action) {
    const std::function<void()> action = line->Action;  // it may clear the line
    action();
  }
}

void StripLines::Tick() {
  const std::int64_t now = clock_.MonotonicMilliseconds();
  bool changed = false;
  for (std::optional<StripLine>& line : lines_) {
    if (line && line->Until && now >= *line->Until) {
      line.reset();
      changed = true;
    }
  }
  if (changed) {
    TellListener();
  }
}

const StripLine* StripLines::Line(StripKind kind) const {
  const std::optional<StripLine>& line = lines_[static_cast<std::size_t>(kind)];
  return line ? &*line : nullptr;
}

std::optional<std::int64_t> StripLines::NextEnd() const {
  std::optional<std::int64_t> next;
  for (const std::optional<StripLine>& line : lines_) {
    if (line && line->Until) {
      next = std::min(next.value_or(*line->Until), *line->Until);
    }
  }
  return next;
}

void StripLines::TellListener() const {
  if (changed_) {
    changed_();
  }
}

}  // namespace korvane
