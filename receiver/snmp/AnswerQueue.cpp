#include "receiver/snmp/AnswerQueue.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace korvane::receiver {

AnswerQueue::AnswerQueue() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!event_.IsOpen()) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
}

void AnswerQueue::Add(const std::vector<std::uint64_t>& tokens) {
  const std::lock_guard lock(mutex_);
  tokens_.insert(tokens_.end(), tokens.begin(), tokens.end());
  eventfd_write(event_.Number(), 1);
}

std::vector<std::uint64_t> AnswerQueue::TakeAll() {
  const std::lock_guard lock(mutex_);
  eventfd_t ignored = 0;
  eventfd_read(event_.Number(), &ignored);
  return std::exchange(tokens_, {});
}

}  // namespace korvane::receiver
