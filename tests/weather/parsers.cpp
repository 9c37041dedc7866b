// Changed input against the readers of files and pipes.  Every round is the same for the same seed; the input
// in hand is kept in the file TARGET.input, so that it is there whatever ends the program.
//   weather_parsers [TARGET|all] [SECONDS|0 for 500 rounds] [SEED] [FIRST ROUND]

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ModuleIndex.h"
#include "ParserProtocol.h"
#include "categories/CategoryFile.h"
#include "platform/linux/RegistryText.h"
#include "receiver/snmp/SnmpAccess.h"
#include "receiver/spool/SegmentReader.h"
#include "support/Processes.h"
#include "support/TempFolder.h"

namespace korvane {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::string_literals;

// Of one input of at most a mebibyte, also under sanitizers and on a busy machine: what grows with the square
// of its input takes minutes.
constexpr auto kLongest = std::chrono::seconds(10);
constexpr std::size_t kLargest = 1 << 20;
constexpr int kRounds = 500;

void Demand(bool holds, std::string_view what) {
  if (!holds) throw std::logic_error(std::string(what));
}

struct Chance : std::mt19937_64 {
  using std::mt19937_64::mt19937_64;
  std::size_t Below(std::size_t bound) { return (*this)() % bound; }
  template <typename Container>
  auto& Of(const Container& things) {
    return things[Below(std::size(things))];
  }
};

struct Target {
  std::string Name;
  std::vector<std::string> Corpus;  // good inputs; cut into pieces they are the dictionary too
  // A start, and what is repeated: "%" becomes a number.
  std::vector<std::pair<std::string, std::string>> Long;
  std::function<void(const std::string&)> Try;  // throws std::logic_error when something does not hold
};

// --- what each reader promises

void TryCategoryFile(const std::string& input) {
  try {
    const auto read = categories::ReadCategoryFile(input);
    Demand(categories::ReadCategoryFile(categories::WriteCategoryFile(read)) == read,
           "written, it reads otherwise");
  } catch (const categories::CategoryFileError& error) {
    Demand(error.Line() > 0, "an error without its line");
  }
}

constexpr std::string_view kKey = "HKEY_LOCAL_MACHINE\\SOFTWARE\\A";

std::string ValueOf(const platform::RegistryText& text, const char* name) {
  const auto value = text.Value(kKey, name);
  return value ? fmt::format("{} {}", static_cast<int>(value->Type), value->Bytes) : "none";
}

// Setting one value changes it alone, whatever else the file holds.
void TryRegistry(const std::string& input) {
  const auto before = platform::RegistryText::Parse(input);
  const auto text = before ? before->WithDword(kKey, "Number", 0x12345678) : std::nullopt;
  if (!text) return;
  const auto after = platform::RegistryText::Parse(*text);
  Demand(after.has_value(), "what was written can't be read");
  Demand(ValueOf(*after, "number") ==
             fmt::format("{} \x78\x56\x34\x12", static_cast<int>(platform::RegistryType::Dword)),
         "not set");
  for (const char* const name : {"", "Text", "Expand", "Bytes", "Lines", "Odd"}) {
    Demand(ValueOf(*before, name) == ValueOf(*after, name), fmt::format("\"{}\" is another", name));
  }
}

receiver::TrapRow Row(std::uint64_t number) {
  return {.EventTime = static_cast<std::int32_t>(number),
          .Source = "10.0.0.1",
          .EnterpriseOid = "1.3.6.1.4.1.9",
          .SpecificTrap = 7,
          .EventDescription = fmt::format("KVtr {} \x10{}", number, std::string(number % 90, 'K')),
          .Event_ExtDescr = number % 3 == 0 ? "KV." : "",
          .InformKey = number * 7};
}

std::string Records(std::uint64_t first, std::uint64_t last) {
  std::string bytes;
  for (std::uint64_t number = first; number <= last; ++number)
    receiver::AppendRecord(bytes, number, Row(number));
  return bytes;
}

// Whatever lies before whole records, each of them is found, and nothing is found that was never written.
void TrySpool(const std::string& input) {
  const test::TempFolder folder;
  const std::string bytes = input + Records(1001, 1003);
  test::WriteFile(folder / "1.spool", bytes);
  receiver::SegmentReader reader(folder / "1.spool");
  std::uint64_t next = 1001;
  while (const auto found = reader.Next(bytes.size())) {
    Demand(found->Row == Row(found->Number), "found what was not written");
    if (found->Number > 1000) Demand(found->Number == next++, "out of order");
  }
  Demand(next == 1004, "a whole record behind damage is lost");
}

// One character that is changed (but for a comment or another line) never leaves a user with less than its
// line said.
void TryUsers(const std::string& input) {
  const receiver::SnmpAccess access = receiver::ParseSnmpAccess(input);
  const auto lines = static_cast<std::size_t>(std::ranges::count(input, '\n')) + 1;
  Demand(access.Users.size() + access.Communities.size() + access.Problems.size() <= lines,
         "more than lines");
  for (const receiver::SnmpUser& user : access.Users) {
    Demand(!user.Name.empty() && user.Name.size() <= 32, "a name of no length");
    Demand(user.AuthProtocol.empty() || user.AuthPassphrase.size() >= 8, "a short passphrase");
    Demand(user.PrivProtocol.empty() || (user.PrivPassphrase.size() >= 8 && !user.AuthProtocol.empty()),
           "privacy alone");
  }
  constexpr std::string_view kPlain = "createUser keeper SHA \"hidden-phrase 1\" AES hidden-phrase2";
  Chance chance(std::hash<std::string>()(input));
  std::string line(kPlain);
  const std::size_t at = chance.Below(line.size());
  const char c = input.empty() ? '"' : chance.Of(input);
  if (c == '#' || c == '\n') return;
  const std::size_t gone = chance.Below(2);
  line.replace(at, gone, gone == 0 ? 1 : chance.Below(2), c);
  const receiver::SnmpAccess changed = receiver::ParseSnmpAccess(line);
  for (const receiver::SnmpUser& user : changed.Users) {
    Demand(user.Level() == receiver::SecurityLevel::AuthPriv, "weaker than " + line);
  }
  for (const std::string& problem : changed.Problems) {
    Demand(problem.find("hidden-phrase") == std::string::npos, "a passphrase in: " + problem);
  }
}

// A file is a MIB file, or there is a reason against it.
void TryModules(const std::string& input) {
  const test::TempFolder folder;
  test::WriteFile(folder / "A.mib", input);
  const std::string reason = mibc::ReasonAgainst(folder / "A.mib");
  Demand(!reason.empty() || input.find("DEFINITIONS") != std::string::npos, "a module that begins nowhere");
}

// In whatever pieces the output arrives; and any texts come across one line.
void TryProtocol(const std::string& input) {
  mibc::ProtocolReader whole;
  whole.Take(input);
  mibc::ProtocolReader pieces;
  Chance chance(input.size());
  for (std::string_view rest = input; !rest.empty();) {
    const std::size_t size = std::min(rest.size(), 1 + chance.Below(input.size() / 8 + 9));
    pieces.Take(rest.substr(0, size));
    rest.remove_prefix(size);
  }
  const bool alike = whole.Done() == pieces.Done() && whole.Broken() == pieces.Broken();
  const mibc::ReadFile all = std::move(whole).Result();
  const mibc::ReadFile same = std::move(pieces).Result();
  Demand(alike &&
             std::ranges::equal(all.Modules, same.Modules, {}, &mibc::Module::Name, &mibc::Module::Name) &&
             std::ranges::equal(all.Faults, same.Faults, {}, &mibc::Fault::Reason, &mibc::Fault::Reason),
         "pieces are understood otherwise");
  mibc::ProtocolReader line;
  line.Take(mibc::ProtocolLine(std::vector<std::string_view>{"fault", input, "7", input}));
  Demand(!line.Broken(), "a line of our own is broken");
  const mibc::ReadFile read = std::move(line).Result();
  Demand(read.Faults.size() == 1 && read.Faults[0].File == input && read.Faults[0].Reason == input,
         "a text is another");
}

// --- their inputs

std::string Utf16(std::string_view text) {
  std::string bytes = "\xFF\xFE";
  for (const char c : text) bytes.append(c == '\n' ? "\r\0"s : ""s).append({c, '\0'});
  return bytes;
}

std::vector<Target> Targets() {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  const categories::TrapDetail trap = {.Source = "router1", .GenericTrap = 2, .VarBinds = all, .Severity = 5};
  const std::string category = categories::WriteCategoryFile(
      {{.Name = "Lines & \"links\"",
        .Details = {.Description = "two\r\nlines\t\\ ☃", .Severity = 5, .Traps = {trap, {}}}},
       {.Name = "end", .Details = {.Description = "# no comment", .Severity = 0, .Traps = {}}}});
  const std::string registry = fmt::format(
      "Windows Registry Editor Version 5.00\n\n; a comment\n[{}]\n\"Text\"=\"a \\\"quoted\\\" \\\\ text\" ; "
      "why\n"
      "\"Number\"=dword:0000000c\n\"Expand\"=hex(2):25,00,\\\n  54,00,00,00\n\"Bytes\"=hex:01,ff,\\\n  00\n"
      "\"Lines\"=\"one\ntwo\"\n\"Odd\"=future:17\n@=\"nameless\"\n\n[{}\\B]\n\"Number\"=-\n[-{}\\B]\n",
      kKey, kKey, kKey);
  const std::string users =
      "# users\ncreateUser -e 0x8000000001020304 \"two words\" SHA \"hidden phrase\" AES hidden-phrase2\r\n"
      "createUser open\n\ncommunity \"public one\"\ncommunity b\n";
  const std::string modules =
      "ONE-MIB { iso 3 } DEFINITIONS ::= BEGIN -- a comment -- \nIMPORTS a, b FROM TWO-MIB c FROM Three-MIB; "
      "\"DEFINITIONS\" END\n"
      "OTHER-MIB DEFINITIONS ::= BEGIN IMPORTS ; END";
  const std::string protocol =
      "module A-MIB\ntrap\t1.3.6\t7\tone\tacme\tlong\\ntext\nfault\ta\\tfile\t12\twhy\ndone\n";
  const std::string key = fmt::format("Windows Registry Editor Version 5.00\n[{}]\n", kKey);
  const std::string module = "ONE-MIB DEFINITIONS ::= BEGIN IMPORTS ";
  return {
      {"categories",
       {category},
       {{"Korvane category file, version 1\n", "category \"%\"\ndescription \"\"\nseverity 0\nend\n"},
        {"Korvane category file, version 1\n", "#%\n"},
        {"Korvane category file, version 1\ncategory \"", "\\x41"}},
       TryCategoryFile},
      {"registry",
       {registry, Utf16(registry), "\xEF\xBB\xBF" + registry},
       {{key, "\"%\"=\"a\"\n"},
        {key, fmt::format("[{}\\%]\n[-B%]\n", kKey)},
        {key, "\"a\"=hex:\\\n00,\\\n"},
        {key + "\"Text\"=\"", "\n"},
        {key + "\"Bytes\"=hex:\\\n", "00,\\\n"}},
       TryRegistry},
      {"spool",
       {Records(1, 6)},
       {{"", "KVtr"}, {"", "KVtr\xFF\xFF\x08\0"s}, {"", "KVtr\x10\0\0\0"s}, {"", "K%"}},
       TrySpool},
      {"users", {users}, {{"", "createUser u%\n"}, {"", "community %\n"}, {"", "\""}, {"", "x% "}}, TryUsers},
      {"modules",
       {modules},
       {{module, "a FROM A% "},
        {"", "A% DEFINITIONS ::= BEGIN END "},
        {module, "{ "},
        {module, "\" \""},
        {module, "--%\n"},
        {module, "a FROM A%; END A% DEFINITIONS ::= IMPORTS "}},
       TryModules},
      {"protocol",
       {protocol},
       {{"", "module\tA%\n"}, {"", "module\\"}, {"", "\t"}, {"", "fault\ta\t%\tb\n"}},
       TryProtocol},
  };
}

// --- changing and running them

std::string Changed(Chance& chance, const Target& target) {
  std::string input = chance.Of(target.Corpus);
  for (std::size_t changes = 1 + chance.Below(4); changes > 0; --changes) {
    const std::size_t at = chance.Below(input.size() + 1);
    const auto add = [&](const std::string& from) {
      input.insert(at, from, chance.Below(from.size() + 1), chance.Below(60));
    };
    const std::function<void()> ways[] = {
        [&] { input.insert(at, 1, static_cast<char>(chance.Below(256))); },
        [&] { input.erase(at, 1 + chance.Below(40)); },
        [&] { add(chance.Of(target.Corpus)); },
        [&] { add(std::string(input)); },
        [&] { input.insert(at, chance.Of(target.Long).second); },
        [&] { input.resize(chance.Below(8) == 0 ? at : input.size()); },
        [&] { input.replace(at, 1, 1, static_cast<char>(input.c_str()[at] ^ (1 << chance.Below(8)))); }};
    chance.Of(ways)();
  }
  return input;
}

std::string Repeated(std::string input, const std::string& piece) {
  for (int number = 0; input.size() + piece.size() + 10 < kLargest; ++number) {
    for (const char c : piece) input += c == '%' ? fmt::to_string(number) : std::string(1, c);
  }
  return input;
}

bool Holds(const Target& target, const std::string& input, std::string_view what) {
  const std::string file = target.Name + ".input";
  test::WriteFile(file, input);
  const auto start = Clock::now();
  try {
    target.Try(input);
    Demand(Clock::now() - start < kLongest, "it takes too long");
  } catch (const std::exception& error) {
    fmt::print("{}: {}: {}; the input is in {}\n", target.Name, what, error.what(), file);
    return false;
  }
  return true;
}

bool Run(const Target& target, std::chrono::seconds time, std::uint64_t seed, std::uint64_t first) {
  for (const std::string& input : target.Corpus) {
    if (!Holds(target, input, "as it should be")) return false;
  }
  for (const auto& [start, piece] : target.Long) {
    if (!Holds(target, Repeated(start, piece), fmt::format("{:?} repeated", piece))) return false;
  }
  const auto until = Clock::now() + time;
  std::uint64_t round = first;
  for (; time.count() == 0 ? round < first + kRounds : Clock::now() < until; ++round) {
    Chance chance(seed * 1'000'003 + round);
    if (!Holds(target, Changed(chance, target), fmt::format("seed {}, round {}", seed, round))) return false;
  }
  std::filesystem::remove(target.Name + ".input");
  fmt::print("{}: {} rounds of seed {}\n", target.Name, round - first, seed);
  return true;
}

}  // namespace
}  // namespace korvane

int main(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  const std::array<std::string, 4> otherwise = {"all", "0", "1", "0"};
  while (words.size() < otherwise.size()) {
    words.push_back(otherwise.at(words.size()));
  }
  bool good = true;
  int tried = 0;
  for (const korvane::Target& target : korvane::Targets()) {
    if (words[0] == "all" || words[0] == target.Name) {
      ++tried;
      good = korvane::Run(target, std::chrono::seconds(std::stoul(words[1])), std::stoull(words[2]),
                          std::stoull(words[3])) &&
             good;
    }
  }
  return good && tried > 0 ? 0 : 1;
}
