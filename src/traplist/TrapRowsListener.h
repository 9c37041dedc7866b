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
  // Some of the rows between these two, both included.
  virtual void RowsChanged(std::size_t first, std::size_t last) = 0;
};

// The one listener of a model, which nobody need be.
class OneTrapRowsListener {
 public:
  OneTrapRowsListener() = default;
  OneTrapRowsListener(const OneTrapRowsListener&) = delete;
  OneTrapRowsListener& operator=(const OneTrapRowsListener&) = delete;

  // It must outlive this object or be taken away again (null).
  void Use(TrapRowsListener* listener) { listener_ = listener != nullptr ? listener : &nobody_; }
  TrapRowsListener* operator->() const { return listener_; }

 private:
  class Nobody : public TrapRowsListener {
    void BatchBegins() override {}
    void BatchEnds() override {}
    void RowsAboutToBeRemoved(std::span<const std::uint32_t>) override {}
    void RowsRemoved(std::span<const std::uint32_t>) override {}
    void RowsAboutToBeAppended(std::size_t) override {}
    void RowsAppended() override {}
    void RowsAboutToBeReset() override {}
    void RowsReset() override {}
    void RowsChanged(std::size_t, std::size_t) override {}
  };

  Nobody nobody_;
  TrapRowsListener* listener_ = &nobody_;
};

}  // namespace korvane::traplist
