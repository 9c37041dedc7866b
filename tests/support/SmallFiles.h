// A full disk for the length of a scope: no file of this process grows beyond the limit.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

namespace korvane::test {

class SmallFiles {
 public:
  explicit SmallFiles(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit small{bytes, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  }
  ~SmallFiles() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  SmallFiles(const SmallFiles&) = delete;
  SmallFiles& operator=(const SmallFiles&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

}  // namespace korvane::test
