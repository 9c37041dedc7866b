// A console on the fake machine, with prompts that answer by themselves.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "app/ConsoleApp.h"
#include "support/FakePlatform.h"

namespace korvane::test {

// All of it outlives the console.  clock: instead of the fake one, which stands still.
inline app::ConsoleHost HostOn(FakePlatform& machine, Prompts& prompts, std::function<void()> end,
                               platform::Clock* clock = nullptr) {
  return {.Registry = machine.Registry,
          .Settings = machine.Settings,
          .Groups = machine.Groups,
          .Instance = machine.Instance,
          .Sockets = machine.Sockets,
          .Services = machine.Services,
          .Programs = machine.Programs,
          .Directories = machine.Directories,
          .Clock = clock != nullptr ? *clock : machine.Clock,
          .Names = std::make_shared<FakeHostNames>(),
          .Notifications = machine.Notifications,
          .Prompt = prompts,
          .End = std::move(end)};
}

}  // namespace korvane::test
