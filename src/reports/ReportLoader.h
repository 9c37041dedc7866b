// Reads the traps of a time range, and who acknowledged them, on a thread and a connection of its own and
// hands them over in batches, so that neither the shared connection nor a window waits for a long read.  The
// first batch is small and comes at once, the others grow.  One object per load; the calls are made on one
// thread, the user-interface thread, and none of them waits for the store.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "intake/StoreWorker.h"
#include "store/AcknowledgedBy.h"
#include "store/Connection.h"
#include "traplist/TrapBatch.h"

namespace korvane::reports {

struct ReportLoaderOptions {
  std::size_t FirstBatchRows = 256;  // as many as come in one block
  std::size_t LargestBatchRows = 16'384;
  std::size_t LargestBatchBytes = 4096UL * 1024;     // of texts
  std::chrono::milliseconds LongestBatch{50};        // a slow store's rows are shown as they come
  std::size_t MostQueuedRows = 65'536;               // beyond either bound the thread waits
  std::size_t MostQueuedBytes = 32UL * 1024 * 1024;  // of texts
  std::size_t RowsBeforeCount = 4096;                // fewer rows are there before a count would be
  std::chrono::milliseconds StopPatience{250};
};

class ReportLoader {
 public:
  // Called on the reader's thread, as the read begins; throws DatabaseError.
  using OpenConnection = std::function<std::unique_ptr<store::Connection>()>;

  explicit ReportLoader(ReportLoaderOptions options = {});
  ~ReportLoader();  // Stop
  ReportLoader(const ReportLoader&) = delete;
  ReportLoader& operator=(const ReportLoader&) = delete;

  // Both bounds inclusive.  ready is called on the reader's thread when there is something to take after
  // there was nothing, and at the end; it must be quick, may not call this object, and is not called any more
  // once Stop has returned.  False when no thread could be made.
  bool Start(OpenConnection open, std::int32_t fromTime, std::int32_t toTime, std::function<void()> ready);

  // The next batch in order, never an empty one; null when there is none now.
  std::unique_ptr<traplist::TrapBatch> Take();
  // A batch that was dealt with, for being filled again.
  void GiveBack(std::unique_ptr<traplist::TrapBatch> batch);

  bool HasMore() const;                        // a batch can be taken now
  bool Ended() const;                          // no batch is left and none will come
  std::optional<std::string> Failure() const;  // why it ended early, on one line
  std::int64_t Total() const;                  // rows of the range, 0 while not known
  // Who acknowledged which of them, read after the rows.  Once, after the end; nothing: that was not read.
  std::optional<store::AcknowledgedBy> TakeAcknowledgers();

  // What was not taken is gone.  Returns at once where the store answers, and otherwise within the patience
  // and a little; a thread that hangs in the driver is left behind.
  void Stop();

 private:
  struct Shared;
  class RangeRead;

  ReportLoaderOptions options_;
  std::shared_ptr<Shared> shared_;
  intake::StoreWorker worker_;
};

}  // namespace korvane::reports
