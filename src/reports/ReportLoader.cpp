#include "reports/ReportLoader.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <stop_token>
#include <utility>
#include <vector>

#include "store/DatabaseError.h"
#include "store/FailureWords.h"
#include "store/Statements.h"
#include "store/TrapReader.h"

namespace korvane::reports {

namespace {

// How often the reader looks at the clock: a block of the trap reader, between which a slow store makes it
// wait.
constexpr std::size_t kBlockRows = 256;
constexpr std::size_t kBatchGrowth = 4;

}  // namespace

// What the reader's thread and the loader share; the thread keeps it when it is left behind.
struct ReportLoader::Shared {
  std::mutex Mutex;
  std::condition_variable_any Changed;
  std::function<void()> Ready;  // null once nobody waits for it
  std::deque<std::unique_ptr<traplist::TrapBatch>> Queue;
  std::vector<std::unique_ptr<traplist::TrapBatch>> Spare;
  std::size_t QueuedRows = 0;
  std::size_t QueuedBytes = 0;
  std::int64_t Total = 0;
  bool ReadAll = false;
  bool Stopped = false;  // nothing is taken any more
  std::optional<std::string> Failure;
  std::optional<store::AcknowledgedBy> Acknowledgers;

  std::unique_ptr<traplist::TrapBatch> EmptyBatch() {
    const std::lock_guard lock(Mutex);
    if (Spare.empty()) {
      return std::make_unique<traplist::TrapBatch>();
    }
    std::unique_ptr<traplist::TrapBatch> batch = std::move(Spare.back());
    Spare.pop_back();
    return batch;
  }

  // Waits for room; false when the thread is to stop instead.
  bool Put(std::unique_ptr<traplist::TrapBatch> batch, const ReportLoaderOptions& options,
           std::stop_token stop) {
    std::unique_lock lock(Mutex);
    const bool room = Changed.wait(lock, std::move(stop), [&] {
      return QueuedRows < options.MostQueuedRows && QueuedBytes < options.MostQueuedBytes;
    });
    if (!room || Stopped) {
      return false;
    }
    QueuedRows += batch->Count();
    QueuedBytes += batch->TextBytes();
    Queue.push_back(std::move(batch));
    if (Queue.size() == 1 && Ready) {
      Ready();
    }
    return true;
  }

  void SetTotal(std::int64_t total) {
    const std::lock_guard lock(Mutex);
    Total = total;
  }

  void End(std::optional<std::string> failure) {
    const std::lock_guard lock(Mutex);
    ReadAll = true;
    Failure = std::move(failure);
    if (Ready) {
      Ready();
    }
  }
};

// The read itself, on its thread.
class ReportLoader::RangeRead {
 public:
  RangeRead(OpenConnection open, std::int32_t fromTime, std::int32_t toTime,
            const ReportLoaderOptions& options)
      : open_(std::move(open)), fromTime_(fromTime), toTime_(toTime), options_(options) {}

  void Run(Shared& shared, const std::stop_token& stop, intake::CancellableConnection& cancellable) const {
    std::unique_ptr<traplist::TrapBatch> batch = shared.EmptyBatch();
    std::optional<std::string> failure;
    try {
      const std::shared_ptr<store::Connection> connection = open_();
      cancellable.Use(connection);
      Read(shared, *connection, batch, stop);
      if (batch && batch->Count() > 0) {
        shared.Put(std::exchange(batch, nullptr), options_, stop);
      }
      ReadAcknowledgers(shared, *connection, stop);
    } catch (const std::exception& error) {
      failure = store::FailureInAllWords(error);
    }
    if (batch && batch->Count() > 0) {
      shared.Put(std::move(batch), options_, stop);
    }
    cancellable.Use(nullptr);
    shared.End(std::move(failure));
  }

 private:
  using Clock = std::chrono::steady_clock;

  // What is left in the batch has not been handed over.
  void Read(Shared& shared, store::Connection& connection, std::unique_ptr<traplist::TrapBatch>& batch,
            const std::stop_token& stop) const {
    store::TrapReader reader(connection, store::ReportStatement(fromTime_, toTime_));
    std::size_t wanted = options_.FirstBatchRows;
    std::size_t read = 0;
    bool counted = false;
    Clock::time_point begun = Clock::now();
    store::IncomingTrap trap;
    while (!stop.stop_requested() && reader.Next(trap)) {
      batch->Append(trap);
      ++read;
      const bool full = batch->Count() >= wanted || batch->TextBytes() >= options_.LargestBatchBytes;
      if (!full && (read % kBlockRows != 0 || Clock::now() - begun < options_.LongestBatch)) {
        continue;
      }
      if (!shared.Put(std::move(batch), options_, stop)) {
        return;
      }
      batch = shared.EmptyBatch();
      wanted = std::min(wanted * kBatchGrowth, options_.LargestBatchRows);
      if (!counted && read >= options_.RowsBeforeCount) {
        counted = true;
        Count(shared, connection);
      }
      begun = Clock::now();
    }
  }

  // After the rows: what is noted later than a row was read is told to whoever shows it.
  void ReadAcknowledgers(Shared& shared, store::Connection& connection, const std::stop_token& stop) const {
    store::AcknowledgedBy acknowledgers;
    try {
      acknowledgers.Read(connection, fromTime_, [&stop] { return !stop.stop_requested(); });
    } catch (const store::DatabaseError&) {
      return;  // all rows are there; nobody is named as who acknowledged them
    }
    const std::lock_guard lock(shared.Mutex);
    if (!stop.stop_requested()) {
      shared.Acknowledgers = std::move(acknowledgers);
    }
  }

  // Only for what is long enough to be watched, and once its first rows are on the screen.
  void Count(Shared& shared, store::Connection& connection) const {
    try {
      store::Recordset rows = connection.OpenRecordset(store::CountReportStatement(fromTime_, toTime_));
      if (rows.Next()) {
        shared.SetTotal(rows.Integer(std::size_t{0}));
      }
    } catch (const store::DatabaseError&) {
      // The rows come without a count; if the store is gone they say so themselves.
    }
  }

  OpenConnection open_;
  std::int32_t fromTime_;
  std::int32_t toTime_;
  ReportLoaderOptions options_;
};

ReportLoader::ReportLoader(ReportLoaderOptions options)
    : options_(options), shared_(std::make_shared<Shared>()) {}

ReportLoader::~ReportLoader() {
  Stop();
}

bool ReportLoader::Start(OpenConnection open, std::int32_t fromTime, std::int32_t toTime,
                         std::function<void()> ready) {
  shared_->Ready = std::move(ready);
  return worker_.Start([shared = shared_, read = RangeRead(std::move(open), fromTime, toTime, options_)](
                           const std::stop_token& stop, intake::CancellableConnection& cancellable) {
    read.Run(*shared, stop, cancellable);
  });
}

std::unique_ptr<traplist::TrapBatch> ReportLoader::Take() {
  const std::lock_guard lock(shared_->Mutex);
  if (shared_->Queue.empty()) {
    return nullptr;
  }
  std::unique_ptr<traplist::TrapBatch> batch = std::move(shared_->Queue.front());
  shared_->Queue.pop_front();
  shared_->QueuedRows -= batch->Count();
  shared_->QueuedBytes -= batch->TextBytes();
  shared_->Changed.notify_all();
  return batch;
}

void ReportLoader::GiveBack(std::unique_ptr<traplist::TrapBatch> batch) {
  batch->Clear();
  const std::lock_guard lock(shared_->Mutex);
  shared_->Spare.push_back(std::move(batch));
}

bool ReportLoader::HasMore() const {
  const std::lock_guard lock(shared_->Mutex);
  return !shared_->Queue.empty();
}

bool ReportLoader::Ended() const {
  const std::lock_guard lock(shared_->Mutex);
  return shared_->ReadAll && shared_->Queue.empty();
}

std::optional<std::string> ReportLoader::Failure() const {
  const std::lock_guard lock(shared_->Mutex);
  return shared_->Failure;
}

std::int64_t ReportLoader::Total() const {
  const std::lock_guard lock(shared_->Mutex);
  return shared_->Total;
}

std::optional<store::AcknowledgedBy> ReportLoader::TakeAcknowledgers() {
  const std::lock_guard lock(shared_->Mutex);
  return std::exchange(shared_->Acknowledgers, std::nullopt);
}

void ReportLoader::Stop() {
  {
    const std::lock_guard lock(shared_->Mutex);
    shared_->Stopped = true;
    shared_->Ready = nullptr;
    shared_->Queue.clear();
    shared_->QueuedRows = 0;
    shared_->QueuedBytes = 0;
  }
  worker_.Stop(options_.StopPatience);
}

}  // namespace korvane::reports
