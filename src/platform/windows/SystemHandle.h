// A handle of the system that is closed at the end of its scope.
#pragma once

#include <memory>

#include "platform/windows/SystemHeaders.h"

namespace korvane::platform {

struct HandleCloser {
  void operator()(HANDLE handle) const {
    if (handle != INVALID_HANDLE_VALUE) {
      CloseHandle(handle);
    }
  }
};
using SystemHandle = std::unique_ptr<void, HandleCloser>;

struct LocalFreer {
  void operator()(void* memory) const { LocalFree(memory); }
};

}  // namespace korvane::platform
