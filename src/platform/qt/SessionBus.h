// Whether this session has a bus to ask the desktop over.
#pragma once

namespace korvane::platform {

// Without a session bus the bus library would try to start one; a console started over a bare X connection
// must not.
bool SessionBusThere();

}  // namespace korvane::platform
