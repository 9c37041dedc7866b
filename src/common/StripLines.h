// What the strip at the foot of the frame says: one line of each kind at most, with a button at most. Whoever
// knows of a state sets its line and clears it when the state is over; what merely happened carries the time
// at which it goes by itself.  The strip shows the lines and calls Tick; nobody else knows it.
// User-interface thread only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "common/Log.h"
#include "common/Prompts.h"
#include "platform/Platform.h"

namespace korvane {

// From the top of the strip to its bottom.
// Done has what the operator did and can't take back, so that it leaves alone what can: Told.
// Stopped has counts that were not loaded to their end, and stays until they are.
// Replaced stays until the operator has seen it.  Limits has what comes to an end: disk, numbers, packets.
enum class StripKind : std::uint8_t {
  StoreAway,
  Replaced,
  Stopped,
  ReceiverSilent,
  Limits,
  Elsewhere,
  Done,
  Told
};
inline constexpr std::size_t kStripKinds = 8;

struct StripLine {
  std::string Text = {};  // plain, whoever wrote it
  PromptIcon Icon = PromptIcon::Information;
  std::string Note = {};     // behind the text and quieter: what changes often, such as the next try
  std::string Details = {};  // as the tool tip: a driver's words, say
  std::string Button = {};   // its caption; empty: none
  std::function<void()> Action = {};
  std::optional<std::int64_t> Until = {};  // platform::Clock::MonotonicMilliseconds at which the line goes
};

class StripLines {
 public:
  static constexpr std::int64_t kToldFor = 30'000;  // milliseconds; how long something can be taken back

  // Both outlive it.
  StripLines(platform::Clock& clock, Log& log) : clock_(clock), log_(log) {}

  // Takes the place of the kind's line.  The log has the texts as they come, change and go, but for what the
  // operator did.
  void Set(StripKind kind, StripLine line);
  void Clear(StripKind kind);
  // Something that happened, for the next kToldFor.
  void Tell(std::string text, std::string button = {}, std::function<void()> action = {});
  // The same, of what can't be taken back.
  void Done(std::string text);
  // The button of the kind's line; nothing where there is none.  The action may set and clear lines, its own
  // as well.
  void Press(StripKind kind);
  // Drops what has had its time.
  void Tick();

  const StripLine* Line(StripKind kind) const;  // null: none
  // When the next line goes by itself.
  std::optional<std::int64_t> NextEnd() const;
  // Called after every change.
  void SetListener(std::function<void()> changed) { changed_ = std::move(changed); }

 private:
  std::optional<StripLine>& At(StripKind kind) { return lines_[static_cast<std::size_t>(kind)]; }
  void TellListener() const;

  platform::Clock& clock_;
  Log& log_;
  std::array<std::optional<StripLine>, kStripKinds> lines_;
  std::function<void()> changed_;
};

}  // namespace korvane
