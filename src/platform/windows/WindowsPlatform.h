// Makers of the Windows implementations of Platform.h; app/ owns what they make.  None of them needs a
// toolkit or an event loop.  The notifications of qt/ have no counterpart here yet.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/Platform.h"
#include "platform/ServiceLibrary.h"

namespace korvane::platform {

std::unique_ptr<RegistryStore> MakeRegistry();
// Below "Software", under the application's title, for the current user.
std::unique_ptr<SettingsStore> MakeSettings();
std::unique_ptr<AccountGroups> MakeAccountGroups();
// A copy of this user in whatever session; its window is found in this one.
std::unique_ptr<RunningInstance> MakeRunningInstance();
std::unique_ptr<ServiceControl> MakeServiceControl();
std::unique_ptr<Sockets> MakeSockets();
std::unique_ptr<Programs> MakePrograms();
std::unique_ptr<Directories> MakeDirectories();
std::unique_ptr<Clock> MakeClock();
std::unique_ptr<HostNames> MakeHostNames();

// The library of that name in this folder, an absolute one.  Null where it is not there, was put there by
// hands that are not trusted, lacks one of the five calls, or is for another kind of process; so it is in a
// process whose memory does not fit the record's 32-bit addresses: a 64-bit program must be linked as one
// that is not aware of large addresses.
std::unique_ptr<ServiceLibrary> LoadServiceLibrary(const std::filesystem::path& folder,
                                                   std::string_view name = "KvsIns.dll");

}  // namespace korvane::platform
