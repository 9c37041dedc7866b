#include "mainwnd/HelperPrograms.h"

#include <fmt/format.h>

#include <string>

#include "common/RegistryValues.h"
#include "common/Translation.h"

namespace korvane::mainwnd {
namespace {

constexpr std::string_view kSupportTool = "dvlSupport.exe";

bool StartFromSharedDirectory(platform::RegistryStore& registry, platform::Programs& programs) {
  std::string directory;
  return GetRegistryValue(registry, platform::RegistryHive::LocalMachine, kFamilyKey, kLocalRootDirValue,
                          directory) &&
         programs.Start(fmt::format("{}\\{}", directory, kSupportTool), {});
}

}  // namespace

void StartMibCompiler(std::string_view installPath, platform::Programs& programs, Prompts& prompts) {
  if (!programs.Start(fmt::format("{}\\mibc.exe", installPath), {})) {
    prompts.Show(Translated("Could not start 'Mib Compiler'."), PromptIcon::Exclamation);
  }
}

void StartSupportTool(platform::RegistryStore& registry, platform::Programs& programs, Prompts& prompts) {
  if (!StartFromSharedDirectory(registry, programs) &&
      !programs.Start(fmt::format(".\\{}", kSupportTool), {})) {
    prompts.Show(Translated("Please email ") + SupportContact(), PromptIcon::Information);
  }
}

}  // namespace korvane::mainwnd
