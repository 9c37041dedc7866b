// The signal in the registry by which a console on this machine says that alerts were changed.  One thread.
#pragma once

#include <chrono>

#include "platform/Platform.h"
#include "receiver/ServiceLog.h"

namespace korvane::receiver {

class UpdateSignal {
 public:
  using Time = std::chrono::steady_clock::time_point;

  UpdateSignal(platform::RegistryStore& registry, ServiceLog& log) : registry_(registry), log_(log) {}

  // True when the alerts are to be read again; the signal is reset before.  One that can't be reset counts
  // once and is reported once; resetting it is tried again from time to time.
  bool Asked(Time now);

 private:
  platform::RegistryStore& registry_;
  ServiceLog& log_;
  bool stuck_ = false;
  Time tryAgain_;
};

}  // namespace korvane::receiver
