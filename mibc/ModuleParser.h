// The parsing process: reads one MIB file with libsmi and writes what it found to standard output.  Meant to
// run alone in a process that may crash, hang or be killed.
#pragma once

#include <string>
#include <vector>

namespace korvane::mibc {

struct ParserTask {
  std::string Path;               // folders in which imported modules are looked for, separated by colons
  std::vector<std::string> With;  // files to be read before, since what is imported stands in them
  std::string File;
  unsigned Seconds = 60;  // of computing, after which the system ends the process
};

// The arguments of a process that carries the task out, and the task of such a process.
std::vector<std::string> ParserArguments(const ParserTask& task);
ParserTask TaskOf(const std::vector<std::string>& arguments);

// The exit status of the process.
int RunParser(const ParserTask& task);

}  // namespace korvane::mibc
