// The receiver as a running service: owns its parts and threads, reacts to signals, and ends so that
// everything received is stored or spooled.
//
//   capturing     sockets -> ring               (Capture)
//   this thread   ring -> queue with the SNMP library, answers to informs, signals, counters
//   spooling      queue -> spool                (Spooler)
//   writing       spool -> trap store           (StoreWriter)
//   keeping       old traps                     (Housekeeping)
//   looking       stored traps -> alerts        (AlertRunner), and a thread for each kind of action
//   (ActionLane)
//
// What the network can make it hold is bounded in bytes, by less than 630 MiB in all.  In MiB, at most:
//   256  the ring of packets, a setting, and 12 of its blocks (PacketRing); when it is full packets are
//   dropped
//     4  for each socket, what is being captured (Capture)
//    64  the trap queue, and 16 of it on the way to the spool (TrapQueue); when it is full nothing is decoded
//    72  traps that the disk refuses (SpoolerOptions); then the queue fills
//    16  answers to informs (InformTable), and 2 for the tokens of those that are not safe yet
//    12  the batch being stored, as read, as sent and as statements (WriterOptions); the rest is in the spool
//    32  pages of an embedded store (EmbeddedInsert)
//    32  in a group of receivers, what the others have stored (TwinFilter)
//    24  traps that wait for the alerts, and the newest for each summary (AlertRunnerOptions)
//     6  sources of a storm, and names of traps that alerts were about (AlertLimiter, AlertRunner)
//    16  firings that wait for the four kinds of action (ActionLaneOptions), and while they are written down
//        for the next run as much again, twice (AlertMemory)
//    10  engines and keys of SNMPv3 senders (SnmpLibrary)
// and for moments some 11 for each packet that is decoded.  The receive buffers of the sockets are the
// kernel's, which counts them as the service's too.
#pragma once

#include "platform/Platform.h"
#include "receiver/Configuration.h"
#include "receiver/ServiceLog.h"

namespace korvane::receiver {

// Signals the service takes through a descriptor: blocked before any thread starts.
void BlockServiceSignals();

// Until SIGTERM or SIGINT.  SIGUSR1 logs the counters, SIGHUP reads the file of SNMP users again, SIGUSR2
// says that the machine's clock is right.  The exit status: 0, or 1 when it could not start, with the reason
// in the log.
int RunService(const Configuration& configuration, platform::RegistryStore& registry, ServiceLog& log);

}  // namespace korvane::receiver
