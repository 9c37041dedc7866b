// What start-up and shutdown ask of the windows and of the trap store.  ConsoleApp implements these over the
// real ones, tests over a call log, so that the order of both can be checked without a window or a database.
// User-interface thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "app/WindowPlacement.h"
#include "store/Acknowledge.h"
#include "store/ReadOutcome.h"

namespace korvane::app {

class SplashWindow {
 public:
  virtual ~SplashWindow() = default;
  virtual void Show() = 0;  // modeless, and painted when the call returns
  virtual void Close() = 0;
};

class MainWindow {
 public:
  virtual ~MainWindow() = default;
  virtual void SetPlacement(const WindowPlacement& placement) = 0;
  virtual WindowPlacement Placement() const = 0;
  virtual void SetCaption(std::string_view caption) = 0;
  virtual void Show() = 0;
  // Its child windows, without their close questions: they show what is about to be released.
  virtual void DestroyChildren() = 0;
};

class MainWindowMaker {
 public:
  virtual ~MainWindowMaker() = default;
  // The one frame window; called once.
  virtual MainWindow& CreateMainWindow(std::string_view installPath) = 0;
};

// The Systems window at close; without rows when the frame never came to opening it.
class SystemsWindow {
 public:
  virtual ~SystemsWindow() = default;
  virtual void DisableTimers() = 0;  // new traps and name resolution
  virtual std::size_t RowCount() const = 0;
  virtual std::int64_t RowTraps(std::size_t row) const = 0;  // of all trap-count columns
};

// The shared connection and what is kept in memory from it.
class SharedStore {
 public:
  virtual ~SharedStore() = default;
  virtual void OpenDatabase() = 0;  // a failure shows as that of the next read
  virtual store::ReadOutcome LoadSystems() = 0;
  virtual store::ReadOutcome ReloadCategoryInformation() = 0;
  virtual store::ReadOutcome LoadFilters() = 0;
  virtual void SaveSystems() = 0;  // throws DatabaseError
  // As store::AcknowledgeAll.
  virtual store::Acknowledgement AcknowledgeAll(std::int32_t beforeTime, const store::GoOn& goOn) = 0;
  virtual void CloseDatabase() = 0;  // recordsets first
  virtual void ReleaseLists() = 0;
};

}  // namespace korvane::app
