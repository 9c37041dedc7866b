// Makers of the Linux implementations of Platform.h; app/ and the receiver own what they make.
// None of them needs a toolkit or an event loop.
#pragma once

#include <memory>
#include <string>

#include "platform/Platform.h"

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

}  // namespace korvane::platform
