// The two commands that start other programs of the product, with their fall-backs and messages.
// User-interface thread only.
#pragma once

#include <string_view>

#include "common/Prompts.h"
#include "platform/Platform.h"

namespace korvane::mainwnd {

// From the install directory.
void StartMibCompiler(std::string_view installPath, platform::Programs& programs, Prompts& prompts);

// The support tool from the product family's shared directory, else from the working directory, else the
// address to write to.
void StartSupportTool(platform::RegistryStore& registry, platform::Programs& programs, Prompts& prompts);

}  // namespace korvane::mainwnd
