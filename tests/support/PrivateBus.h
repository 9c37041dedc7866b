// A message bus of the test's own, and programs that live as long as an object of the test.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TempFolder.h"

namespace korvane::test {

// A program that is ended with the object.
class Companion {
 public:
  explicit Companion(std::vector<std::string> commandLine);
  ~Companion();
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  void Pause() const;
  void Resume() const;

 private:
  pid_t process_ = -1;
};

// Starts no service of this machine, unlike a bus of the stock configuration.
class PrivateBus {
 public:
  PrivateBus();  // throws std::runtime_error when the bus does not come up

  const std::string& Address() const { return address_; }

 private:
  TempFolder folder_;
  std::string address_;
  std::unique_ptr<Companion> daemon_;
};

}  // namespace korvane::test
