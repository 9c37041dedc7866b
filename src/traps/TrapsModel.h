// What one Traps window is without its widgets: which traps it takes, the row limit, loading, the status
// texts, acknowledging and the question on closing.  frmTraps owns one and shows it; the intake offers it
// every new trap; the frame tells it of traps acknowledged elsewhere.  User-interface thread only.
// Traps offered during a tick stand aside until UpdateStatusBar puts them into the list as one batch.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/NumberText.h"
#include "common/Translation.h"
#include "intake/Intake.h"
#include "intake/SequenceSet.h"
#include "intake/StoredTraps.h"
#include "intake/ViewWindows.h"
#include "params/WindowParameters.h"
#include "store/TrapRecord.h"
#include "store/TrapSelection.h"
#include "traplist/TrapRows.h"
#include "traplist/TrapRowsListener.h"
#include "traplist/WhyEmpty.h"
#include "traps/TrapsServices.h"

namespace korvane::traps {

inline constexpr std::string_view kNoTrapsInWindow = Translatable("There are no traps in the active window.");

// 2 and 3 are the numbers that the kinds have always had; Selected windows take what their parameters accept.
enum class WindowKind : int { Selected = 1, PerSystem = 2, NoLiveTraps = 3 };

// What is left of the list when the operator stopped its last load.
enum class LoadStop : std::uint8_t {
  None,  // it was not stopped
  Part,  // what was read until then
  Kept,  // the rows of before
};

class TrapsModel : public intake::TrapsWindow, public intake::StoredTrapsTaker {
 public:
  // system: the system of a per-system window, null for the other kinds.
  TrapsModel(TrapsServices& services, intake::ViewWindows& windows, WindowKind kind,
             params::WindowParameters parameters, const intake::System* system = nullptr);
  ~TrapsModel() override;
  TrapsModel(const TrapsModel&) = delete;
  TrapsModel& operator=(const TrapsModel&) = delete;

  // One at most; it must outlive this object or be taken away again (null).
  void UseListener(traplist::TrapRowsListener* listener) { listener_.Use(listener); }

  void PublicAddTraps(const store::IncomingTrap& trap) override;
  void UpdateStatusBar() override;
  void StoreReplaced() override;

  // Loads the list anew from the store; also the first load.  The rows change in one batch at its end.  When
  // a statement fails the rows that were there stay, or where there were none those read so far, and
  // intake::StoredTraps loads the window again.
  void Reset();

  // Instead of the first Reset, before the Systems window loads: one read of the store serves both.
  void AwaitFirstLoad();

  // The steps of a Reset, for one read of the store that serves several windows.
  std::optional<std::vector<std::string>> OnlySources() const override;
  void LoadBegins() override;
  bool MayTake(const store::IncomingTrap& trap) const override;
  void TakeStored(const store::IncomingTrap& trap) override;
  void TakeHidden(const store::IncomingTrap& trap) override;
  void LoadEnds(const intake::LoadOutcome& outcome) override;

  const traplist::TrapRows& Rows() const { return rows_; }
  WindowKind Kind() const { return kind_; }
  const params::WindowParameters& Parameters() const { return matcher_.Parameters(); }
  const intake::System* PerSystem() const { return system_; }

  // Why the list may lack traps: the database's text; empty after a load that went well.
  const std::string& LoadFailure() const { return failure_; }
  LoadStop Stopped() const { return stopped_; }
  traplist::WhyEmpty Emptiness() const;  // of a list without rows

  std::string MaximumTrapsText(NumberText number = PlainNumber) const;
  static std::string SelectedTrapText(std::size_t position,
                                      NumberText number = PlainNumber);  // from 1; 0: none
  std::string TotalTrapsText(NumberText number = PlainNumber) const;

  // The rows as the list shows them from top to bottom; see AcknowledgeRows.
  void AcknowledgeSelected(std::span<const std::uint32_t> rows);

  // Traps that were acknowledged in the store, here or elsewhere, or are gone from it, leave the list.
  void RemoveAcknowledged(std::span<const store::TrapSelection> traps);

  bool AsksOnClosing() const;
  // A per-system window asks whether to acknowledge its system's traps, and does so.  False: the store
  // refused, which has been reported, or the operator stopped it; the window is to stay and shows what is
  // left.
  bool MayClose();
  // The window goes: lets go of the rows, which takes a moment when they are many.
  void Close();

  // The operator's notes on a trap were saved; nothing happens when it isn't in the list.
  void NotesSaved(std::int32_t sequenceNumber, std::string_view notes);

 private:
  bool Takes(const store::IncomingTrap& trap) const;
  bool IsKnown(std::int32_t sequenceNumber) const;
  void Hold(traplist::TrapRows& rows, const store::IncomingTrap& trap) const;
  void InsertPending();
  void RemoveRows(std::span<const std::uint32_t> rows);
  std::string_view SystemOf(std::span<const std::uint32_t> rows) const;
  void ResetRows();
  std::size_t Limit() const;
  std::size_t MostBytes() const;
  std::string SystemSource() const;

  TrapsServices& services_;
  intake::ViewWindows& windows_;
  WindowKind kind_;
  params::WindowMatcher matcher_;
  const intake::System* system_;
  traplist::OneTrapRowsListener listener_;

  traplist::TrapRows rows_;
  traplist::TrapRows pending_;
  // By the load that is going on.
  traplist::TrapRows loading_;
  std::vector<std::int32_t> taken_;
  bool loadingHidden_ = false;

  std::string failure_;
  LoadStop stopped_ = LoadStop::None;
  bool anyHidden_ = false;      // a filter hid what the last load would have taken
  bool anyOthers_ = false;      // there were traps for other windows
  intake::SequenceSet loaded_;  // taken by the last load, also those that the limit removed
  std::int32_t highestSequence_ = std::numeric_limits<std::int32_t>::min();  // of everything taken
};

}  // namespace korvane::traps
