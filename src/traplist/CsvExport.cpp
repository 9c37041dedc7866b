#include "traplist/CsvExport.h"

#include <algorithm>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "common/BusyIndicator.h"
#include "common/Prompts.h"
#include "common/ReplacedFile.h"
#include "common/Text.h"
#include "common/Translation.h"
#include "store/Codes.h"
#include "store/DateTimeText.h"
#include "store/EventTime.h"
#include "traplist/CsvLine.h"
#include "traplist/SharedLines.h"

namespace korvane::traplist {
namespace {

// Without this mark spreadsheets take the file for text in their machine's old code page and garble every
// letter beyond ASCII; programs that read UTF-8 skip it.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kExtension = "csv";
constexpr std::size_t kLongestName = 100;  // bytes; file systems take 255 with whatever is put behind it

constexpr std::string_view kHeader[] = {
    "Date / Time",          "Source",          "Trap Name",        "Variables",
    "IP Address",           "Severity",        "Generic",          "Enterprise",
    "Enterprise OID",       "Specific",        "More Information", "User Notes",
    "Acknowledged",         "Sequence Number", "Event Time (UTC)", "Acknowledged By",
    "Acknowledged At (UTC)"};

// ISO 8601, which sorts as text and means the same everywhere.
std::string IsoUtc(const store::LocalDateTime& utc) {
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", utc.Year, utc.Month, utc.Day, utc.Hour,
                     utc.Minute, utc.Second);
}

class TrapLines {
 public:
  explicit TrapLines(const ShownTraps& traps)
      : traps_(traps), localTimes_(traps.TimeZoneBias), utcTimes_(0, IsoUtc) {}

  std::string_view Header() {
    for (const std::string_view caption : kHeader) {
      line_.AddText(caption);
    }
    return line_.End();
  }

  std::string_view Line(std::size_t position) {
    const std::size_t row = traps_.RowAt(position);
    const store::IncomingTrap trap = traps_.Rows.At(row);
    const OriginCells& origin = origins_.Of(traps_.Rows.OriginAt(row), [&] { return CellsOfOrigin(trap); });
    const KindCells& kind = kinds_.Of(traps_.Rows.KindAt(row), [&] { return CellsOfKind(trap); });
    line_.AddText(localTimes_.Of(trap.EventTime));
    line_.AddOwn(origin.Source);
    line_.AddOwn(kind.TrapName);
    line_.AddText(trap.VarBinds);
    line_.AddOwn(origin.SystemAddress);
    line_.AddText(store::SeverityName(trap.Severity));
    line_.AddOwn(kind.GenericToInformation);
    line_.AddParagraphs(trap.EventNotes);
    line_.AddText(trap.EventAck != 0 ? "Yes" : "No");
    line_.AddNumber(trap.SequenceNumber);
    line_.AddOwn(utcTimes_.Of(trap.EventTime));
    const auto by = traps_.AcknowledgedBy(trap);
    line_.AddText(by ? store::WhoText(*by) : std::string());
    line_.AddOwn(by && by->Time != 0 ? IsoUtc(store::EventTimeToLocal(by->Time, 0)) : std::string());
    return line_.End();
  }

 private:
  struct OriginCells {
    std::string Source;
    std::string SystemAddress;
  };
  struct KindCells {
    std::string TrapName;
    std::string GenericToInformation;
  };

  OriginCells CellsOfOrigin(const store::IncomingTrap& trap) const {
    OriginCells cells;
    CsvLine made;
    made.AddText(traps_.SourceText(trap));
    cells.Source = made.Take();
    made.AddText(trap.SystemAddress);
    cells.SystemAddress = made.Take();
    return cells;
  }

  static KindCells CellsOfKind(const store::IncomingTrap& trap) {
    KindCells cells;
    CsvLine made;
    made.AddText(trap.TrapName());
    cells.TrapName = made.Take();
    made.AddText(store::GenericTrapName(trap.GenericTrap));
    made.AddText(trap.EnterpriseName());
    made.AddText(trap.EnterpriseOid);
    made.AddNumber(trap.SpecificTrap);
    made.AddParagraphs(trap.FurtherDescription());
    cells.GenericToInformation = made.Take();
    return cells;
  }

  const ShownTraps& traps_;
  store::DateTimeText localTimes_;
  store::DateTimeText utcTimes_;
  SharedLines<OriginCells> origins_;
  SharedLines<KindCells> kinds_;
  CsvLine line_;
};

// A name that every common file system takes, made from a window's caption, with the day.
std::string SuggestedName(std::string_view caption, const store::LocalDateTime& today) {
  std::string name = VisibleText(caption);
  std::size_t end = std::min(name.size(), kLongestName);
  while (end < name.size() && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U) {
    --end;  // between two characters
  }
  name.resize(end);
  std::ranges::replace_if(
      name, [](char c) { return std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos; }, '_');
  // A dot in front hides a file, blanks and dots at its end get lost on some systems.
  name.erase(0, name.find_first_not_of(" ."));
  name.erase(name.find_last_not_of(" .") + 1);
  return fmt::format("{} {:04}-{:02}-{:02}.{}", name.empty() ? "Traps" : name, today.Year, today.Month,
                     today.Day, kExtension);
}

// Empty, or why the file could not be written.
std::string WriteFile(BusyIndicator& indicator, const std::string& path, const ShownTraps& traps) {
  const BusyScope busy(indicator, Translated("Exporting Trap(s)"));
  ReplacedFile file(path);
  TrapLines lines(traps);
  file.Write(kByteOrderMark);
  file.Write(lines.Header());
  const std::size_t count = traps.Count();
  for (std::size_t position = 0; position < count && file.Write(lines.Line(position)); ++position) {
    if ((position + 1) % kProgressRows == 0) {
      indicator.ShowProgress(static_cast<std::int64_t>(position + 1), static_cast<std::int64_t>(count));
    }
  }
  file.Commit();
  return file.Error();
}

}  // namespace

std::optional<std::string> ExportTraps(Desk& desk, std::string_view caption, const ShownTraps& traps) {
  const store::LocalDateTime today =
      store::EventTimeToLocal(desk.Clock.UtcSeconds(), desk.State.gTimeZoneBias);
  std::optional<std::string> path = desk.Prompt.AskSaveFile({.Caption = Translated("Export Trap(s)"),
                                                             .Path = SuggestedName(caption, today),
                                                             .Kind = Translated("CSV files"),
                                                             .Extension = std::string(kExtension)});
  if (!path) {
    return std::nullopt;
  }
  if (const std::string error = WriteFile(desk.Busy, *path, traps); !error.empty()) {
    desk.Prompt.Show(Phrase("The traps could not be exported to the file \"{}\".\n{}.", *path, error),
                     PromptIcon::Exclamation);
    return std::nullopt;
  }
  return path;
}

}  // namespace korvane::traplist
