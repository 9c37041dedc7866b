// Handing the rights of one file to another.  Used where files are made in the place of others.
#pragma once

#include <sys/stat.h>

#include "platform/Files.h"

namespace korvane::platform {

// Whoever could use the old file can use the new one, and nobody else.  False with errno when that can't be.
bool TakeOverRights(int file, const struct stat& old, LostGroup lostGroup);

}  // namespace korvane::platform
