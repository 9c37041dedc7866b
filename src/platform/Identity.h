// Who runs this program, and where: noted beside what it changes in the store, for colleagues.  A record and
// no proof.  linux/ and windows/ implement it.  Safe from any thread; never throws.
#pragma once

#include <string>

namespace korvane::platform {

struct Identity {
  std::string Login;    // the user's name, or the number of one that has none
  std::string Machine;  // this host's name
  std::string Process;  // tells this run of a program from every other one, on any machine
};

Identity ThisProcess();

}  // namespace korvane::platform
