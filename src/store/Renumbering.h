// Has the numbers of the trap table free again: moves all kept traps down by a constant, so that the oldest
// gets number 1 and the next trap the number behind the newest.  Order and distances stay.  The change log is
// moved along, and the store gets a new identity, by which everybody who holds numbers notices and reads
// anew.
//
// Receivers and consoles may run.  The traps are copied aside in portions while everything goes on; then the
// table is closed, what was changed meanwhile is brought in line, and the copies take its place.  While it is
// closed traps wait in the receivers' spools.  Broken off at any point, nothing is lost: a run that fails
// takes back what it did, one that is killed leaves its copies, and on MariaDB the table closed, for ClearUp.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "store/Connection.h"

namespace korvane::store {

struct RenumberPlan {
  std::int64_t First = 0;  // numbers of the oldest and the newest kept trap; 0: there are none
  std::int64_t Last = 0;
  std::int64_t Given = 0;            // the last number that a trap ever got
  std::int64_t Bytes = 0;            // of the traps and their indices on disk, as far as the engine knows
  std::int64_t BytesNeeded = 0;      // on disk, during the work
  std::optional<std::int64_t> Free;  // of these; nothing: not known
  bool Unfinished = false;           // there is something to clear up
  std::string Obstacle = {};         // what else is in the way, in a sentence

  std::int64_t Shift() const { return First > 0 ? First - 1 : 0; }
  std::int64_t NewLast() const { return Last - Shift(); }
  // Why it can't be done, or need not, in a sentence; empty: it can.
  std::string Objection() const;
};

enum class RenumberStage { Copying, Closed };

class TrapTableSwap;

class Renumbering {
 public:
  // Nothing is open on the connection; it is of an engine that is known.  Throws DatabaseError.
  explicit Renumbering(Connection& connection);
  ~Renumbering();

  // Reads only.  Throws DatabaseError.
  RenumberPlan Plan();

  // Told of each portion, with the share that is done (0 to 1) of the stage; false: the run is to be broken
  // off.
  using Progress = std::function<bool(RenumberStage stage, double done)>;
  // By a plan without an objection.  False when it was broken off, and everything is as before.  Throws
  // DatabaseError; everything is as before then too, or Unfinished where that could not be.
  bool Run(const RenumberPlan& plan, const Progress& progress);

  // Of a run that was done: what did not succeed behind it, and what to do then; empty: all did.
  const std::string& Warning() const { return warning_; }

  // After a run that was killed: the traps are where they were, or where that run had them already, and
  // nothing else is left of it.  Not while another one is under way.  Throws DatabaseError.
  void ClearUp();

 private:
  bool Copy(const std::string& from, const RenumberPlan& plan, RenumberStage stage, const Progress& progress);
  void TidyUp(const std::string& identity);
  void MoveChangeLog(const RenumberPlan& plan);

  Connection& connection_;
  std::unique_ptr<TrapTableSwap> swap_;
  std::string warning_;
};

}  // namespace korvane::store
