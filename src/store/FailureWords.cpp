#include "store/FailureWords.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <fmt/format.h>

#include "common/Text.h"

namespace korvane::store {

namespace {

struct Meaning {
  std::string_view SqlState;  // or its beginning; empty: any
  std::int32_t NativeCode;    // 0: any
  std::string_view Part;      // of the driver's text, in any letter case; empty: any
  std::string_view Words;
};

constexpr std::string_view kMute = "the database server does not answer";
constexpr std::string_view kUnreachable = "the database server can't be reached";
constexpr std::string_view kStopping = "the database server is starting or stopping";
constexpr std::string_view kRefused = "the database server refuses this user or its password";
constexpr std::string_view kNoDatabase = "the database server has no such database";
constexpr std::string_view kNoTable = "a table of the trap store is missing";
constexpr std::string_view kNoRight = "this user may not read or write the trap store";
constexpr std::string_view kServerFull = "the database server takes no more connections";
constexpr std::string_view kDiskFull = "the disk of the trap store is full";
constexpr std::string_view kLocked = "another program holds the trap store locked";
constexpr std::string_view kTooLong = "the database server took too long";
constexpr std::string_view kNoFile = "a file of the trap store is missing, or this user may not open it";
constexpr std::string_view kReadOnly = "the file of the trap store may not be written";
constexpr std::string_view kDamaged = "the file of the trap store is damaged";
constexpr std::string_view kDiskError = "the disk of the trap store reports an error";
constexpr std::string_view kQuote = "a text with a single quote (') can't stand in a statement";
constexpr std::string_view kNotSetUp =
    "the data source \"dvldb\" or its driver is not set up on this machine";

// The first that fits holds.  Codes below 100 with HY000 are SQLite's, 1000 to 2999 are MariaDB's.
constexpr std::array kMeanings = {
    Meaning{"HYT", 0, "", kMute},
    Meaning{"", 0, "timeout expired", kMute},
    Meaning{"", 0, "timed out", kMute},
    Meaning{"", 2003, "(110", kMute},
    Meaning{"", 2013, "reading initial", kMute},
    Meaning{"IM00", 0, "", kNotSetUp},
    Meaning{"01000", 0, "can't open lib", kNotSetUp},
    Meaning{"", 1045, "", kRefused},
    Meaning{"28", 0, "", kRefused},
    Meaning{"", 0, "authentication failed", kRefused},
    Meaning{"", 1044, "", kRefused},
    Meaning{"", 1049, "", kNoDatabase},
    Meaning{"3D000", 0, "", kNoDatabase},
    Meaning{"", 0, "\" does not exist", kNoDatabase},
    Meaning{"", 1040, "", kServerFull},
    Meaning{"53300", 0, "", kServerFull},
    Meaning{"", 0, "too many clients", kServerFull},
    Meaning{"57P", 0, "", kStopping},
    Meaning{"", 0, "is starting up", kStopping},
    Meaning{"", 0, "is shutting down", kStopping},
    Meaning{"", 1053, "", kStopping},
    Meaning{"", 1927, "", kStopping},
    Meaning{"53", 0, "", kDiskFull},
    Meaning{"", 1021, "", kDiskFull},
    Meaning{"", 1114, "", kDiskFull},
    Meaning{"57014", 0, "", kTooLong},
    Meaning{"", 1969, "", kTooLong},
    Meaning{"40", 0, "", kLocked},
    Meaning{"55P03", 0, "", kLocked},
    Meaning{"", 1205, "", kLocked},
    Meaning{"42501", 0, "", kNoRight},
    Meaning{"", 1142, "", kNoRight},
    Meaning{"42P01", 0, "", kNoTable},
    Meaning{"42S02", 0, "", kNoTable},
    // The embedded store keeps its traps in a second file.
    Meaning{"", 0, "no such table: eventtrap", kNoFile},
    Meaning{"", 0, "no such table: change_log", kNoFile},
    Meaning{"", 0, "no such table", kNoTable},
    Meaning{"HY000", 5, "", kLocked},
    Meaning{"HY000", 6, "", kLocked},
    Meaning{"HY000", 8, "", kReadOnly},
    Meaning{"HY000", 10, "", kDiskError},
    Meaning{"HY000", 11, "", kDamaged},
    Meaning{"HY000", 26, "", kDamaged},
    Meaning{"HY000", 13, "", kDiskFull},
    Meaning{"HY000", 14, "", kNoFile},
    Meaning{"HY000", 23, "", kNoRight},
    Meaning{"", 0, "connect failed", kNoFile},
    Meaning{"42000", 0, "holds a single quote", kQuote},
    Meaning{"08", 0, "", kUnreachable},
    Meaning{"", 2002, "", kUnreachable},
    Meaning{"", 2003, "", kUnreachable},
    Meaning{"", 2006, "", kUnreachable},
    Meaning{"", 2013, "", kUnreachable},
};

// A change that had been sent when the link went: the server may have gone on with it.
bool MayHaveRun(const DatabaseError& error) {
  constexpr std::array<std::string_view, 3> kStates = {"08S01", "57P0", "HYT"};
  constexpr std::array<std::int32_t, 2> kMariaDbCodes = {2006, 2013};
  return std::ranges::any_of(kStates, [&](auto state) { return error.SqlState().starts_with(state); }) ||
         std::ranges::find(kMariaDbCodes, error.NativeCode()) != kMariaDbCodes.end();
}

std::string AsSentence(std::string words) {
  if (!words.empty() && words[0] >= 'a' && words[0] <= 'z')
    words[0] = static_cast<char>(words[0] - 'a' + 'A');
  return words.ends_with('.') ? words : words + ".";
}

}  // namespace

std::string FailureInWords(const DatabaseError& error) {
  // Our own words: of a store of another version, of a row that somebody else removed.
  if (error.SqlState() == "55000" || error.SqlState() == "02000") return OnOneLine(error.what());
  const auto fits = [&](const Meaning& meaning) {
    return error.SqlState().starts_with(meaning.SqlState) &&
           (meaning.NativeCode == 0 || error.NativeCode() == meaning.NativeCode) &&
           (meaning.Part.empty() || ContainsIgnoreCase(error.what(), meaning.Part));
  };
  const auto* const found = std::ranges::find_if(kMeanings, fits);
  if (found == kMeanings.end()) return fmt::format("the database says: {}", OnOneLine(error.what()));
  return std::string(found->Words);
}

std::string FailureInAllWords(const std::exception& error) {
  const auto* const known = dynamic_cast<const DatabaseError*>(&error);
  const std::string driver = OnOneLine(error.what());
  return known != nullptr ? fmt::format("{} ({})", FailureInWords(*known), driver) : driver;
}

void ShowFailure(Prompts& prompts, std::string_view what, const std::exception& error, Attempt attempt,
                 std::string_view below) {
  std::string text(what);
  const auto* const known = dynamic_cast<const DatabaseError*>(&error);
  if (known != nullptr) text += " " + AsSentence(FailureInWords(*known));
  if (attempt == Attempt::Changing) {
    text += known != nullptr && MayHaveRun(*known)
                ? " It may have been done all the same: look again when the trap store is back."
                : " Nothing was changed.";
  }
  if (!below.empty()) text.append("\n\n").append(below);
  prompts.ShowFailure(text, OnOneLine(error.what()));
}

std::string OnOneLine(std::string_view text) {
  std::string line;
  for (const char c : text) {
    const bool blank = c == ' ' || (c >= '\t' && c <= '\r');
    if (!blank) {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  if (line.ends_with(' ')) line.pop_back();
  return line;
}

}  // namespace korvane::store
