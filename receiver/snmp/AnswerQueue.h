// Tokens of informs whose traps are safe, from the spooling thread to the listening one, which is woken by a
// descriptor in its poll.  Each token is there once and stands for an inform that the listener holds, so it
// is bounded by what the spooler lets wait and the listener by its own table.
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "receiver/spool/Files.h"

namespace korvane::receiver {

class AnswerQueue {
 public:
  // Throws std::system_error.
  AnswerQueue();

  void Add(const std::vector<std::uint64_t>& tokens);
  int Descriptor() const { return event_.Number(); }  // readable while there are any
  std::vector<std::uint64_t> TakeAll();

 private:
  FileDescriptor event_;
  std::mutex mutex_;
  std::vector<std::uint64_t> tokens_;
};

}  // namespace korvane::receiver
