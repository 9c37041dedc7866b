// The systems that send traps: name, address, type, product modules, and the source texts under which their
// traps are stored.  Read from the systems tables at start-up, written back at close.  Found by name, address
// or source text ignoring case, through an index.  User-interface thread only.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "intake/Intake.h"
#include "store/Connection.h"
#include "store/ReadOutcome.h"
#include "store/TrapRecord.h"

namespace korvane::intake {

inline constexpr std::string_view kManualSystemType = "Manual";

class Systems;

struct System {
  // Whether a trap of exactly this source text is one of its own.
  bool Sends(std::string_view source) const;

  std::string Name;
  std::string Address;
  std::string Type;
  std::vector<std::string> Modules;
  std::vector<std::string> Sources;  // exact source texts of its traps, in the order they were first seen
  // Of the one system that stands for all further sources, whose texts nobody keeps.
  const Systems* FurtherOf = nullptr;
};

// What the one is called that stands for the sources beyond the bound.
inline constexpr std::string_view kFurtherSystems = "(further systems)";

class Systems : public intake::SystemDirectory {
 public:
  Systems();
  ~Systems() override;

  // Fills the list from System_Table and Module_Table; a database call that fails leaves it as it was.
  store::ReadOutcome LoadSystems(store::Connection& connection);
  // Writes back what changed and what is new (as "Manual"), in one transaction; deletes nothing, since other
  // products share the tables.  A row of theirs keeps its name.  A row that the database refuses does not
  // keep the others from being saved; its DatabaseError is thrown at the end.
  void SaveSystems(store::Connection& connection);
  void Clear();

  // Never adds a system: a source that is not known keeps its own text as name and address.
  void NameSystem(store::IncomingTrap& trap) override;

  // Index of the system of this source; adds one of type "Manual" when there is none.  Sources are the
  // senders' invention: once systems and texts take this much, about, every further text belongs to one
  // system more, kFurtherSystems.  A system of the table is never one of those, however many there are.
  static constexpr std::size_t kMostBytes = std::size_t{32} << 20U;
  std::size_t SystemOfSource(std::string_view source);
  bool IsFurther(std::string_view source) const;
  // The texts under which unacknowledged traps of the system may be stored.  Throws DatabaseError.
  static std::vector<std::string> SourcesOf(const System& system, store::Connection& connection);
  // The source texts, as far as known, of all traps whose system goes by this name or address, ignoring case;
  // nothing when there are texts that nobody keeps.
  std::optional<std::vector<std::string>> SourcesNamed(std::string_view nameOrAddressOrSource) const;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t FindSystem(std::string_view nameOrAddressOrSource) const;

  // A resolved name for a system known by its address only; its source texts stay.  Nothing for a name that
  // another system has: two rows of one name could not be told apart.
  void Rename(std::size_t index, std::string_view name);
  bool IsKnownByAddressOnly(std::size_t index) const;
  void SetAddress(std::size_t index, std::string_view address);

  std::size_t Count() const;
  const System& At(std::size_t index) const;  // the reference stays valid while the list lives

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::intake
