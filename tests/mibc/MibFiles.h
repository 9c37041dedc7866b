// MIB files in a private folder, and a reader of them that parses in the real program.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>

#include "MibReader.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane::mibc {

// A module of version 2 with a root below the enterprise number of examples.
inline std::string ModuleText(const std::string& name, const std::string& body) {
  return name +
         " DEFINITIONS ::= BEGIN\nIMPORTS NOTIFICATION-TYPE, OBJECT-TYPE, enterprises FROM SNMPv2-SMI;\n"
         "acme OBJECT IDENTIFIER ::= { enterprises 32473 }\n"
         "acmeTraps OBJECT IDENTIFIER ::= { acme 0 }\n" +
         body + "\nEND\n";
}

inline std::string Trap(const std::string& name, const std::string& place,
                        const std::string& description = "Text.") {
  return name + " NOTIFICATION-TYPE STATUS current DESCRIPTION \"" + description + "\" ::= { " + place +
         " }\n";
}

constexpr std::string_view kGivenFile = "given\tfile.mib";  // the parser's answer has to escape it

inline ReaderOptions TestReader() {
  return {.Parser = KORVANE_MIBC, .Folders = {KORVANE_SOURCE_DIR "/mibc/mibs"}};
}

class MibFiles {
 public:
  std::filesystem::path Write(std::string_view name, std::string_view text) const {
    std::filesystem::path file = folder_ / name;
    test::WriteFile(file, text);
    return file;
  }
  // Something else in place of the parser.
  std::filesystem::path WriteParser(const std::string& script) const {
    std::filesystem::path parser = Write("parser", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(parser, std::filesystem::perms(0700));
    return parser;
  }
  const std::filesystem::path& Folder() const { return folder_.Path(); }

  ReadFile Read(const std::filesystem::path& file, ReaderOptions options = TestReader()) const {
    MibReader reader(std::move(options));
    reader.AddFolder(Folder());
    return reader.Read(file, {});
  }
  ReadFile ReadText(std::string_view text) const { return Read(Write(kGivenFile, text)); }

 private:
  test::TempFolder folder_;
};

}  // namespace korvane::mibc
