#include "traplist/PrintedReport.h"

#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "common/ReplacedFile.h"
#include "common/Text.h"
#include "common/Translation.h"
#include "store/Codes.h"
#include "store/DateTimeText.h"
#include "store/EventTime.h"
#include "traplist/SharedLines.h"

namespace korvane::traplist {
namespace {

constexpr std::string_view kEditor = "NOTEPAD.EXE";
constexpr std::string_view kDoubleLine = "========================================\r\n";
constexpr std::string_view kSingleLine = "----------------------------------------\r\n";
constexpr std::size_t kBufferBytes = std::size_t{1024} * 1024;

// Line breaks stay, and what follows one is indented further than any label.
void AppendIndented(std::string& to, std::string_view text) {
  while (true) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    AppendVisible(to, text.substr(0, end));
    if (end == text.size()) {
      return;
    }
    to += "\r\n\t\t";
    text.remove_prefix(end + (text.substr(end).starts_with("\r\n") ? 2 : 1));
  }
}

// The lines of the report, in pieces that the caller takes out of Text.
class ReportText {
 public:
  explicit ReportText(const ShownTraps& traps) : traps_(traps), dates_(traps.TimeZoneBias) {
    Text.reserve(2 * kBufferBytes);
  }

  void AddHeader(std::string_view caption, std::int64_t now) {
    Text += "Korvane - ";
    AppendVisible(Text, caption);
    Text += "\r\nGenerated On: ";
    Text += store::FormatDateTime(store::EventTimeToLocal(now, traps_.TimeZoneBias));
    Text += "\r\n\r\n";
    Text += kDoubleLine;
  }

  void AddTrap(std::size_t position) {
    const std::size_t row = traps_.RowAt(position);
    const store::IncomingTrap trap = traps_.Rows.At(row);
    const std::string& afterDate =
        origins_.Of(traps_.Rows.OriginAt(row), [&] { return LinesAfterDate(trap); });
    const KindLines& kind = kinds_.Of(traps_.Rows.KindAt(row), [&] { return LinesOfKind(trap); });
    if (position > 0) {
      Text += "\r\n";
      Text += kSingleLine;
    }
    Text += "\r\nDate & Time:\t\t";
    Text += dates_.Of(trap.EventTime);
    Text += afterDate;
    Text += store::SeverityName(trap.Severity);
    Text += kind.AfterSeverity;
    AppendVisible(Text, trap.VarBinds);
    Text += kind.AfterBindings;
    AppendIndented(Text, trap.EventNotes);
    Text += "\r\n";
  }

  void AddTrailer() {
    Text += "\r\n";
    Text += kDoubleLine;
  }

  std::string Text;

 private:
  struct KindLines {
    std::string AfterSeverity;
    std::string AfterBindings;
  };

  std::string LinesAfterDate(const store::IncomingTrap& trap) const {
    std::string lines = "\r\nSource:\t\t\t";
    AppendVisible(lines, traps_.SourceText(trap));
    lines += "\r\nIP Address:\t\t";
    AppendVisible(lines, trap.SystemAddress);
    lines += "\r\nSeverity:\t\t";
    return lines;
  }

  static KindLines LinesOfKind(const store::IncomingTrap& trap) {
    KindLines lines;
    lines.AfterSeverity = "\r\nGeneric:\t\t";
    lines.AfterSeverity += store::GenericTrapName(trap.GenericTrap);
    lines.AfterSeverity += "\r\nEnterprise:\t\t";
    AppendVisible(lines.AfterSeverity, trap.EnterpriseName());
    lines.AfterSeverity += "\r\nTrap Name:\t\t";
    AppendVisible(lines.AfterSeverity, trap.TrapName());
    lines.AfterSeverity += "\r\nVariable Binds:\t\t";
    lines.AfterBindings = "\r\nMore Information:\t";
    AppendIndented(lines.AfterBindings, trap.FurtherDescription());
    lines.AfterBindings += "\r\nUser Notes:\t\t";
    return lines;
  }

  const ShownTraps& traps_;
  store::DateTimeText dates_;
  SharedLines<std::string> origins_;
  SharedLines<KindLines> kinds_;
};

// Empty, or why the file could not be written.
std::string WriteReport(Desk& desk, const std::string& path, std::string_view caption,
                        const ShownTraps& traps) {
  const BusyScope busy(desk.Busy, Translated("Generating..."));
  ReplacedFile file(path, FileUse::Scratch);
  ReportText report(traps);
  report.AddHeader(caption, desk.Clock.UtcSeconds());
  for (std::size_t position = 0; position < traps.Count() && file.Error().empty(); ++position) {
    report.AddTrap(position);
    if (report.Text.size() >= kBufferBytes) {
      file.Write(report.Text);
      report.Text.clear();
    }
    if ((position + 1) % kProgressRows == 0) {
      desk.Busy.ShowProgress(static_cast<std::int64_t>(position + 1),
                             static_cast<std::int64_t>(traps.Count()));
    }
  }
  report.AddTrailer();
  file.Write(report.Text);
  file.Commit();
  return file.Error();
}

}  // namespace

ReportPrinter::ReportPrinter(Desk& desk, platform::Programs& programs, std::string installPath)
    : desk_(desk), programs_(programs), installPath_(std::move(installPath)) {}

void ReportPrinter::Print(std::string_view caption, const ShownTraps& traps) {
  const std::string path = fmt::format("{}/{}", installPath_, kPrintFile);
  if (const std::string error = WriteReport(desk_, path, caption, traps); !error.empty()) {
    desk_.Prompt.Show(Phrase("The report could not be written to the file \"{}\".\n{}.", path, error),
                      PromptIcon::Exclamation);
    return;
  }
  if (!programs_.Start(kEditor, {path})) {
    desk_.Prompt.Show(
        Phrase("Could not load 'NOTEPAD.EXE'. Please open the file \"{}\" in a text editor.", path),
        PromptIcon::Exclamation);
  }
}

}  // namespace korvane::traplist
