// Starting and asking other programs, by argument vector and never through a shell.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/FileDescriptor.h"

namespace korvane::platform {

// The file that the name stands for: itself when it has a slash, else the first executable of that name in
// the directories of PATH.  Those that depend on the working directory are left out: this program works in a
// folder that others write too.  Nothing when there is none.
std::optional<std::string> FindProgram(std::string_view name);

// Starts the program in a session of its own, with no descriptor of ours and nothing on its standard ones,
// and lets go of it: it is no child of ours, leaves no zombie and outlives us.  False when the system could
// not execute it.
bool StartDetached(const std::string& file, const std::vector<std::string>& arguments);

// A child runs in a session of its own, with nothing of ours open and every signal as it is by default.
struct Child {
  int Error = 0;  // the system's number when it could not be executed; there is no process then
  pid_t Process = -1;
};
// input: the descriptor it reads from; -1: it finds nothing there.  What it writes is thrown away.
Child StartChild(const std::string& file, const std::vector<std::string>& arguments, int input = -1);

struct ReadableChild : Child {
  FileDescriptor Output = FileDescriptor();  // the end of a pipe that its output comes from
};
ReadableChild StartReadable(const std::string& file, const std::vector<std::string>& arguments);

// Waits for a child's end and gives its status, as the system puts it.
int WaitForEnd(pid_t child);

// Runs the program to its end and gives what it wrote, at most 64 KiB.  Nothing when it could not be
// executed or was not done in time; it is then killed.
std::optional<std::string> RunAndRead(const std::string& file, const std::vector<std::string>& arguments,
                                      int waitMilliseconds);

}  // namespace korvane::platform
