// The receiver as a running service: owns its parts and threads, reacts to signals, and ends so that
// everything received is stored or spooled.
//
//   this thread   sockets, SNMP library, answers to informs, signals, counters
//   spooling      queue -> spool                (Spooler)
//   writing       spool -> trap store           (StoreWriter)
//   keeping       old traps                     (Housekeeping)
//   looking       stored traps -> alerts        (AlertRunner), and a thread for each kind of action
//   (ActionLane)
#pragma once

#include "Configuration.h"
#include "ServiceLog.h"
#include "platform/Platform.h"

namespace korvane::receiver {

// Signals the service takes through a descriptor: blocked before any thread starts.
void BlockServiceSignals();

// Until SIGTERM or SIGINT.  SIGUSR1 logs the counters, SIGHUP reads the file of SNMP users again, SIGUSR2
// says that the machine's clock is right.  The exit status: 0, or 1 when it could not start, with the reason
// in the log.
int RunService(const Configuration& configuration, platform::RegistryStore& registry, ServiceLog& log);

}  // namespace korvane::receiver
