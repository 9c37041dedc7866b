// What the Systems window shows: one row per system that has sent traps, with its counts of unacknowledged
// traps by severity, the six status texts, and which rows have news.  It also loads the counts at start-up,
// which settles the bounds of every load and starts the receiver link.
//
// The window only displays it; app/ constructs it, hands it to the intake as its SystemCounts, and attaches
// the intake.  User-interface thread only.  A database failure never leaves this class: it is logged, what
// was shown stays, and a later tick loads again.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/Desk.h"
#include "common/Translation.h"
#include "intake/Intake.h"
#include "intake/LinkWatch.h"
#include "intake/LoadBounds.h"
#include "intake/ReceiverLibrary.h"
#include "intake/RetryPause.h"
#include "intake/StoredTraps.h"
#include "intake/Systems.h"
#include "store/Connection.h"
#include "store/TrapSelection.h"
#include "systems/CountedTraps.h"
#include "systems/CriticalNews.h"

namespace korvane::systems {

inline constexpr std::array<std::string_view, 8> kSystemsCaptions = {
    Translatable("System Name"), Translatable("IP Address"), Translatable("Critical"),
    Translatable("Warning"),     Translatable("Major"),      Translatable("Information"),
    Translatable("Minor"),       Translatable("Clear")};
inline constexpr std::size_t kFirstCountColumn = 2;
// Severity codes of the count columns, from the left.
inline constexpr std::array<std::int32_t, 6> kCountColumnSeverities = {5, 4, 3, 2, 1, 0};

// The colour of a row with news.
inline constexpr std::array<std::uint8_t, 3> kNewsColour = {253, 116, 4};

inline constexpr std::size_t kStatusTexts = 6;

// What can be said of the window while it has no rows.
enum class NoRows {
  NotLoaded,
  NoneEver,    // no trap has ever come in, as far as the store knows
  NoNewTraps,  // and those that were stored before the start are not asked for
  Hidden,      // filters hide all there are
  NoTraps,
};

struct SystemRow {
  std::size_t SystemIndex = 0;             // in Systems
  std::array<std::int32_t, 6> Counts{};    // by severity code
  std::optional<std::int32_t> NewestTime;  // of all traps counted since the start, acknowledged or not
  bool News = false;                       // a trap has arrived that nobody has looked at

  std::int64_t Total() const;
};

// Asked at most once, at start-up, when there are more unacknowledged traps than the view limit.
class ViewOptionQuestion {
 public:
  virtual ~ViewOptionQuestion() = default;
  virtual intake::ViewOption AskViewOption(std::int64_t unacknowledgedTraps, std::int32_t maxViewTraps) = 0;
};

// Told of changes in batches: at the end of a tick, of a load, of an acknowledgement.
class SystemsListener {
 public:
  virtual ~SystemsListener() = default;
  virtual void RowsAboutToReset() = 0;  // the rows are still the old ones
  virtual void RowsReset() = 0;
  virtual void RowsAppended(std::size_t first, std::size_t count) = 0;
  virtual void RowsChanged(std::size_t first, std::size_t count) = 0;
  virtual void StatusChanged() = 0;
};

class SystemsModel : public intake::SystemCounts, public intake::StoredTrapsTaker {
 public:
  // All of it outlives this object.
  SystemsModel(Desk& desk, store::Connection& connection, intake::Systems& systems,
               intake::LoadBounds& bounds, intake::StoredTraps& stored, intake::ReceiverLibrary& library,
               ViewOptionQuestion& question);
  ~SystemsModel() override;

  // Before Load; the intake is constructed after this object, because it is given this object.
  void AttachIntake(intake::Intake& intake) { intake_ = &intake; }
  // Without one nobody is called when critical traps arrive.
  void AttachNews(CriticalNews& news) { news_ = &news; }
  void SetListener(SystemsListener* listener) { listener_ = listener; }

  // At start-up: counts, asks, sets the bounds of all loads and the high-water mark, loads the counts and the
  // Traps windows that wait, all by one read, starts the receiver link.  When the store fails, a later tick
  // does all of it.
  // A tick that finds the store in another state than the one that was loaded does it once more.
  void Load();
  // Counts again from the store.  Rows keep their places; one whose traps are all hidden now goes.
  void Reset();
  // The steps of a Reset, for one read of the store that serves the Traps windows as well.
  std::int64_t ExpectedTraps() const override;
  bool MayBeStopped() const override { return !tellReplaced_; }  // while there are counts to keep
  void LoadBegins() override;
  bool MayTake(const store::IncomingTrap&) const override { return true; }
  void TakeStored(const store::IncomingTrap& trap) override;
  void TakeHidden(const store::IncomingTrap& trap) override;
  void LoadEnds(const intake::LoadOutcome& outcome) override;

  // One tick of tmrCheckTraps; nothing while shutting down.  True when TakeMoreTraps should follow soon, see
  // Intake.
  bool CheckTraps();
  bool TakeMoreTraps();
  // One tick of tmrResolve: asks for a bounded number of names of systems known by address only, and of
  // addresses of those known by name only.
  void ResolveNames();

  void NoteDelivered(const store::IncomingTrap& trap) override;
  void UpdateSystemCounts(const store::IncomingTrap& trap, intake::Arrival arrival) override;
  void RefreshStatus() override;  // also hands the changes since the last call to the listener
  // Applies the rule of the row colour to every row: one without unacknowledged traps has no news.
  void UpdateColors();

  // Traps that were acknowledged in the store, or are gone from it, leave the counts.
  void TrapsAcknowledged(std::span<const store::TrapSelection> traps);

  // The operator selected the row or opened its window: it has no news any more.
  void OperatorSawRow(std::size_t row);

  std::size_t RowCount() const { return shown_.Rows.size(); }
  const SystemRow& Row(std::size_t row) const { return shown_.Rows[row]; }
  const intake::System& SystemOfRow(std::size_t row) const;
  std::optional<std::size_t> RowOfSystem(const intake::System& system) const;
  // The severity whose icon the row shows: the worst one that has a count.
  std::optional<std::int32_t> RowSeverity(std::size_t row) const;

  // The exclusive time bound that acknowledges everything counted for the system.
  std::int32_t AcknowledgeBound(const intake::System& system) const;

  NoRows WhyNoRows() const;

  std::array<std::string, kStatusTexts> StatusTexts(NumberText number = PlainNumber) const;
  std::int64_t TrapsPerMinute() const;

 private:
  struct Counts {
    std::vector<SystemRow> Rows;            // in the order the systems first sent a trap
    std::vector<std::uint32_t> RowOfIndex;  // by index in Systems; kNoRow
    CountedTraps Traps;
    std::array<std::int64_t, 6> Totals{};  // by severity code
    bool AnyHidden = false;                // by a filter

    std::uint32_t RowOf(std::size_t system) const;
    std::uint32_t AddRow(const SystemRow& row);
  };
  static constexpr std::uint32_t kNoRow = static_cast<std::uint32_t>(-1);

  std::int64_t LoadAtStart();
  void ReadBounds();
  void FindLowerBound();
  void StartOver();
  void SettleAnew();
  void Put(Counts fresh);
  std::optional<std::uint32_t> Count(Counts& counts, const store::IncomingTrap& trap, bool news);
  void TakeOut(const store::TrapSelection& traps);
  void Replace(Counts fresh);
  void TakeOut(const CountedTrap& trap);
  void MarkChanged(std::size_t row);
  void TellStopped();
  void TellListener();
  void TakeAnswer(std::size_t index, bool isName, const std::string& answer);
  std::size_t IndexOf(const intake::System& system) const;

  Desk& desk_;
  store::Connection& connection_;
  intake::Systems& systems_;
  intake::LoadBounds& bounds_;
  intake::StoredTraps& stored_;
  intake::ReceiverLibrary& library_;
  ViewOptionQuestion& question_;
  intake::Intake* intake_ = nullptr;
  CriticalNews* news_ = nullptr;
  SystemsListener* listener_ = nullptr;
  bool started_ = false;  // the receiver link; ticks before it do nothing
  bool startingOver_ = false;
  bool tellReplaced_ = false;  // once all of it is loaded
  Counts shown_;
  Counts loading_;  // by the load that is going on
  std::size_t rowsTold_ = 0;
  std::size_t changedFirst_ = 0;  // of the rows told
  std::size_t changedEnd_ = 0;    // at or before changedFirst_: nothing changed
  std::size_t nextToResolve_ = 0;
  intake::RetryPause firstLoad_;
  std::optional<intake::FailedLoad> firstFailure_;
  intake::LinkWatch link_{desk_, library_};
};

}  // namespace korvane::systems
