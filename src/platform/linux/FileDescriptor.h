// A file descriptor that is closed at the end of its scope; -1: none.
#pragma once

#include <unistd.h>

#include <utility>

namespace korvane::platform {

class FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) : number_(number) {}
  ~FileDescriptor() { Close(); }
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    Close();
    number_ = std::exchange(other.number_, -1);
    return *this;
  }

  bool IsOpen() const { return number_ >= 0; }
  int Number() const { return number_; }
  void Close() {
    if (number_ >= 0) {
      close(std::exchange(number_, -1));
    }
  }

 private:
  int number_;
};

}  // namespace korvane::platform
