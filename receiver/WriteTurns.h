// Who of this process writes to an embedded store next.  It takes one writer at a time, and whoever finds it
// in use tries again after pauses that grow: beside a thread that stores without a pause another one would
// hardly ever come to it.  Here they wait for each other, and come in the order in which they asked.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace korvane::receiver {

class WriteTurns {
 public:
  // From its construction, which waits, to its end.  None without turns.
  class Turn {
   public:
    explicit Turn(WriteTurns* turns) : turns_(turns) {
      if (turns_ != nullptr) {
        std::unique_lock lock(turns_->mutex_);
        const std::uint64_t mine = turns_->next_++;
        turns_->ended_.wait(lock, [&] { return turns_->now_ == mine; });
      }
    }
    ~Turn() {
      if (turns_ != nullptr) {
        const std::lock_guard lock(turns_->mutex_);
        ++turns_->now_;
        turns_->ended_.notify_all();
      }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    WriteTurns* turns_;
  };

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  std::uint64_t next_ = 0;  // of the next who asks
  std::uint64_t now_ = 0;   // whose turn it is
};

}  // namespace korvane::receiver
