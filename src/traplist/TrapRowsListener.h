// How a list of traps tells its view of changes: whole batches, each announced before and confirmed after it
// happens, so that a view repaints once per batch.  Called on the user-interface thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace korvane::traplist {

class TrapRowsListener {
 public:
  virtual ~TrapRowsListener() = default;

  // Around everything that belongs to one change; what comes between may be several of the calls below.
  virtual void BatchBegins() = 0;
  virtual void BatchEnds() = 0;

  // Row numbers ascending; the same span is handed to both calls.
  virtual void RowsAboutToBeRemoved(std::span<const std::uint32_t> rows) = 0;
  virtual void RowsRemoved(std::span<const std::uint32_t> rows) = 0;
  virtual void RowsAboutToBeAppended(std::size_t count) = 0;
  virtual void RowsAppended() = 0;
  virtual void RowsAboutToBeReset() = 0;
  virtual void RowsReset() = 0;
  virtual void RowChanged(std::size_t row) = 0;
};

// A model that nobody watches tells this one.
class NoTrapRowsListener : public TrapRowsListener {
 public:
  void BatchBegins() override {}
  void BatchEnds() override {}
  void RowsAboutToBeRemoved(std::span<const std::uint32_t>) override {}
  void RowsRemoved(std::span<const std::uint32_t>) override {}
  void RowsAboutToBeAppended(std::size_t) override {}
  void RowsAppended() override {}
  void RowsAboutToBeReset() override {}
  void RowsReset() override {}
  void RowChanged(std::size_t) override {}
};

}  // namespace korvane::traplist
