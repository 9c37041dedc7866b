// Tries what the service would use, without disturbing one that runs.
#pragma once

#include "receiver/Configuration.h"

namespace korvane::receiver {

// Prints one line per thing to standard output.  True when the service could work with all of them.
bool CheckConfiguration(const Configuration& configuration);

}  // namespace korvane::receiver
