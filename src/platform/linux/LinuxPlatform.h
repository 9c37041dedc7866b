// Makers of the Linux implementations of Platform.h; app/ and the receiver own what they make.
// None of them needs a toolkit or an event loop.
#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"
#include "platform/UserLock.h"

namespace korvane::platform {

// The file that KORVANE_REGISTRY names, else /etc/korvane/registry.reg.
std::string DefaultRegistryPath();

// lockWaitMilliseconds: the longest wait of a write for another process's write.
std::unique_ptr<RegistryStore> MakeRegistryFile(std::string path = DefaultRegistryPath(),
                                                int lockWaitMilliseconds = 3000);
std::unique_ptr<AccountGroups> MakeAccountGroups();
// Over systemd on the system bus; callMilliseconds bounds each call, startMilliseconds a start's job.
std::unique_ptr<ServiceControl> MakeServiceControl(int callMilliseconds = 5000,
                                                   int startMilliseconds = 10000);
std::unique_ptr<Sockets> MakeSockets();
// The folder of this process's program, where the installation put the others too.
std::string OwnFolder();
// Programs of the product are taken from ownFolder when they are there.
std::unique_ptr<Programs> MakePrograms(std::string ownFolder = OwnFolder());
std::unique_ptr<Directories> MakeDirectories();
std::unique_ptr<Clock> MakeClock();
std::unique_ptr<HostNames> MakeHostNames();

// folder: of the user, the same in all sessions; it must exist.
std::unique_ptr<UserLock> MakeUserLock(const std::string& folder);

// From now on a request to end (SIGTERM, SIGINT, SIGHUP) does not end the process: it makes the descriptor
// readable that this returns, and which stays open for the rest of the process.  A request that the process
// was started to ignore stays ignored.  -1: could not be set up.  Called once.
int CatchEndSignals();

}  // namespace korvane::platform
