// The clocks of this machine, and what its time service says of them.
#pragma once

#include "receiver/clock/ClockWitness.h"

namespace korvane::receiver {

class Clocks {
 public:
  virtual ~Clocks() = default;
  virtual ClockReading Read() = 0;
  // True when a time service of the machine keeps the wall clock right by another machine's.  May take
  // seconds.
  virtual bool Synchronized() = 0;
};

class MachineClocks : public Clocks {
 public:
  ClockReading Read() override;
  // As systemd-timedated answers, whichever program keeps the time: the kernel's own answer is behind a
  // system call that also sets the clock and that the service's unit denies it.  False where nobody answers.
  bool Synchronized() override;
};

}  // namespace korvane::receiver
