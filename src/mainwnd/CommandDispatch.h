// The check that most commands make first: is there an active child window, and is it of a kind the command
// can work on?  What is missing is said in the command's own words.  User-interface thread only.
#pragma once

#include <optional>
#include <string_view>

#include "common/Prompts.h"
#include "mainwnd/CommandTable.h"

namespace korvane::mainwnd {

class ChildWindows {
 public:
  virtual ~ChildWindows() = default;
  // The form name of the active child window, which is never a minimised one.
  virtual std::optional<std::string_view> ActiveFormName() const = 0;
};

class CommandDispatch {
 public:
  CommandDispatch(const ChildWindows& windows, Prompts& prompts) : windows_(windows), prompts_(prompts) {}

  // True when the command may go ahead; else its message was shown.
  bool CheckActiveWindow(const Command& command) const;

 private:
  bool Refuse(std::string_view reason) const;

  const ChildWindows& windows_;
  Prompts& prompts_;
};

}  // namespace korvane::mainwnd
