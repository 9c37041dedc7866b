// The values of one run that several subsystems share.  One object, owned by app/ and passed by reference;
// read and written on the user-interface thread only.
#pragma once

#include <cstdint>

namespace korvane {

struct ProcessState {
  bool gDebugMode = false;            // switches KVConsole.Log on, nothing else
  std::int32_t gMaxViewTraps = 1000;  // most rows of one Traps window, at least 1
  std::int32_t gTimeZoneBias = 0;     // seconds; UTC = local time + bias; read once at start-up
  std::int32_t gLastTrapTime = 0;     // the intake's high-water mark, in EventTime units
  bool gTrapsPending = false;         // at close, some system still had a non-zero count
  std::int16_t gAckAllAnswer = 0;     // 6 Yes, 7 No
  bool gShuttingDown = false;         // timers do nothing once set
};

}  // namespace korvane
