#include "MibReader.h"

#include <algorithm>
#include <system_error>

#include "ModuleParser.h"
#include "ParserProcess.h"
#include "ParserProtocol.h"

namespace korvane::mibc {
namespace {

namespace fs = std::filesystem;

ReadFile Refused(const fs::path& file, std::string reason) {
  return {{}, {{file, 0, std::move(reason)}}};
}

}  // namespace

std::vector<fs::path> StandardFolders() {
  std::vector<fs::path> folders = {"/usr/share/snmp/mibs"};
  std::error_code error;
  for (fs::directory_iterator entry("/var/lib/mibs", error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->is_directory(error)) {
      folders.push_back(entry->path());
    }
  }
  std::sort(folders.begin() + 1, folders.end());
  // Last, since a machine's own copy of a standard module holds more than what we ship.
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  folders.push_back(self.parent_path().parent_path() / "share" / "korvane" / "mibs");
  return folders;
}

void MibReader::AddFolder(const fs::path& folder, const std::stop_token& stop) {
  if (std::ranges::find(given_, folder) == given_.end()) {
    given_.push_back(folder);
    index_.AddFolder(folder, stop);
  }
}

void MibReader::AddFile(const fs::path& file, const std::stop_token& stop) {
  AddFolder(file.parent_path(), stop);
  index_.AddFile(file);
}

std::size_t MibReader::LeftOut(const fs::path& folder) const {
  return index_.LeftOut(folder);
}

std::vector<fs::path> MibReader::FilesOf(const fs::path& folder) const {
  return index_.FilesOf(folder);
}

std::vector<std::string> MibReader::ModulesOf(const fs::path& file) const {
  return index_.ModulesOf(file);
}

std::string MibReader::SearchPath() const {
  std::string path;
  for (const std::vector<fs::path>* folders : {&given_, &options_.Folders}) {
    for (const fs::path& folder : *folders) {
      const std::string text = folder.string();
      if (text.find(':') == std::string::npos) {  // the library's path has no way to say it
        path += (path.empty() ? "" : ":") + text;
      }
    }
  }
  return path;
}

ReadFile MibReader::Read(const fs::path& file, const std::stop_token& stop) const {
  if (std::string reason = ReasonAgainst(file); !reason.empty()) {
    return Refused(file, std::move(reason));
  }
  ParserTask task{.Path = SearchPath(), .With = {}, .File = file.string()};
  for (const fs::path& needed : index_.NeededBy(file, stop)) {
    task.With.push_back(needed.string());
  }
  if (stop.stop_requested()) {
    return Refused(file, "stopped");
  }
  task.Seconds = static_cast<unsigned>(std::chrono::ceil<std::chrono::seconds>(options_.Longest).count()) + 1;
  ProtocolReader output;
  std::string reason = RunParserProcess(options_.Parser.string(), ParserArguments(task), options_.Longest,
                                        stop, [&output](std::string_view bytes) { output.Take(bytes); });
  if (reason.empty() && (output.Broken() || !output.Done())) {
    reason = "the parser did not come to the end of this file";
  }
  // What was found before a crash may help to see why; what was defined before it does not count.
  ReadFile result = std::move(output).Result();
  if (!reason.empty()) {
    result.Modules.clear();
    result.Faults.push_back({file, 0, std::move(reason)});
  }
  return result;
}

}  // namespace korvane::mibc
