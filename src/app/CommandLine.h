// The arguments of the console before anything else happens.  The word "Debug" anywhere in an argument is the
// only thing the console itself wants to know; the toolkit's own options go on to the toolkit; the rest is
// answered at once.  No toolkit.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace korvane::app {

struct ImmediateAnswer {
  std::string Text;  // with its line end; for stdout when the status is 0, else for stderr
  int Status = 0;
  bool operator==(const ImmediateAnswer&) const = default;
};

// arguments: without the program's own name.  Nothing: the console is to start.
std::optional<ImmediateAnswer> AnswerAtOnce(const std::vector<std::string>& arguments);

}  // namespace korvane::app
