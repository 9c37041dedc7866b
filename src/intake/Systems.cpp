#include "intake/Systems.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "common/Text.h"
#include "platform/Platform.h"
#include "store/DatabaseError.h"
#include "store/Retry.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::intake {
namespace {

constexpr std::string_view kNameColumn = "System_Name";
constexpr std::string_view kAddressColumn = "IP_Address";
constexpr std::string_view kTypeColumn = "System_Type";
constexpr std::string_view kModuleColumn = "Module_ID";

// Of spellings of known systems that are remembered although no counted trap has them: enough for any
// network, and a bound for one that varies its letter case on purpose.
constexpr std::size_t kMostSpellingBytes = std::size_t{8} << 20U;

// Of a text in an index, and of a system with what is kept beside it; a little more than measured.
constexpr std::size_t kIndexedBytes = 128;
constexpr std::size_t kSystemBytes = 512;

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

template <class Value>
using TextMap = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;
using TextSet = std::unordered_set<std::string, TextHash, std::equal_to<>>;

struct StoredSystem {
  std::string Name;
  std::string Address;
};

TextSet StoredNames(store::Connection& connection) {
  TextSet names;
  auto rows = connection.OpenRecordset(store::kSystemTable);
  while (rows.Next()) {
    names.insert(FoldCase(rows.Text(kNameColumn)));
  }
  return names;
}

void AddRow(store::Connection& connection, const System& system) {
  auto rows = connection.OpenRecordset(store::kSystemTable, "1 = 0");
  rows.AddNew();
  rows.Set(kNameColumn, system.Name);
  rows.Set(kAddressColumn, system.Address);
  rows.Set(kTypeColumn, system.Type);
  rows.Update();
}

void UpdateRow(store::Connection& connection, const StoredSystem& old, const std::string& name,
               const std::string& address) {
  auto rows = connection.OpenRecordset(
      store::kSystemTable, fmt::format("{} = {} AND {} = {}", kNameColumn, store::Quoted(old.Name),
                                       kAddressColumn, store::Quoted(old.Address)));
  if (!rows.Next()) {
    return;  // another product has taken it away meanwhile
  }
  rows.Set(kNameColumn, name);
  rows.Set(kAddressColumn, address);
  rows.Update();
}

}  // namespace

struct Systems::Impl {
  struct Spelling {
    std::size_t Index;
    bool Listed;  // among the system's Sources
  };

  std::size_t FindFolded(std::string_view text) const {
    const auto found = ByFoldedText.find(FoldCase(text));
    return found == ByFoldedText.end() ? kNone : found->second;
  }

  // The first system of a text keeps it.
  void Index(std::string_view text, std::size_t index) {
    if (!text.empty()) {
      ByFoldedText.try_emplace(FoldCase(text), index);
    }
  }

  std::size_t Add(System system) {
    const std::size_t index = List.size();
    List.push_back(std::move(system));
    Stored.emplace_back();
    // The name stands in the list, in its index, and stored.
    Bytes += kSystemBytes + 3 * (List.back().Name.size() + List.back().Address.size());
    Index(List.back().Name, index);
    Index(List.back().Address, index);
    return index;
  }

  void AddStored(System system) {
    const std::size_t known = FindFolded(system.Name);
    if (known != kNone) {
      Index(system.Address, known);  // a further address of the same system
      return;
    }
    StoredSystem row{.Name = system.Name, .Address = system.Address};
    Stored[Add(std::move(system))] = std::move(row);
  }

  void Save(store::Connection& connection, std::size_t index, TextSet& storedNames);

  std::deque<System> List;
  std::deque<std::optional<StoredSystem>> Stored;  // the row as it was last read or written
  TextMap<std::size_t> ByFoldedText;               // names, addresses and source texts
  TextMap<Spelling> BySpelling;                    // exact source texts
  std::size_t Bytes = 0;                           // of systems and listed texts
  std::size_t SpellingBytes = 0;                   // of those in BySpelling that are not listed
  std::size_t Further = kNone;
};

Systems::Systems() : impl_(std::make_unique<Impl>()) {}
Systems::~Systems() = default;

void Systems::Clear() {
  impl_ = std::make_unique<Impl>();
}

store::ReadOutcome Systems::LoadSystems(store::Connection& connection) {
  auto read = std::make_unique<Impl>();
  try {
    auto rows = connection.OpenRecordset(store::kSystemTable);
    while (rows.Next()) {
      read->AddStored({.Name = rows.Text(kNameColumn),
                       .Address = rows.Text(kAddressColumn),
                       .Type = rows.Text(kTypeColumn),
                       .Modules = {},
                       .Sources = {}});
    }
    rows.Close();
    auto modules = connection.OpenRecordset(store::kModuleTable);
    while (modules.Next()) {
      const std::size_t index = read->FindFolded(modules.Text(kNameColumn));
      if (index != kNone) {
        read->List[index].Modules.push_back(modules.Text(kModuleColumn));
      }
    }
  } catch (const store::DatabaseError& error) {
    return store::ReadOutcome(error);
  }
  impl_ = std::move(read);
  return {};
}

void Systems::Impl::Save(store::Connection& connection, std::size_t index, TextSet& storedNames) {
  const System& system = List[index];
  std::optional<StoredSystem>& stored = Stored[index];
  if (system.FurtherOf != nullptr) {
    return;
  }
  if (!stored) {
    if (!system.Name.empty() && storedNames.insert(FoldCase(system.Name)).second) {
      AddRow(connection, system);
    }
    stored = StoredSystem{.Name = system.Name, .Address = system.Address};
    return;
  }
  // Whoever else works with this system knows it by the name in the table.
  const bool ours = system.Type == kManualSystemType && system.Modules.empty();
  const bool renamed =
      ours && system.Name != stored->Name && storedNames.insert(FoldCase(system.Name)).second;
  if (!renamed && system.Address == stored->Address) {
    return;
  }
  const StoredSystem now{.Name = renamed ? system.Name : stored->Name, .Address = system.Address};
  UpdateRow(connection, *stored, now.Name, now.Address);
  stored = now;
}

void Systems::SaveSystems(store::Connection& connection) {
  // Read before the transaction: SQLite refuses to write in one that has read, once somebody else has
  // written.
  const TextSet storedNames = StoredNames(connection);
  const auto storedBefore = impl_->Stored;
  std::optional<store::DatabaseError> refused;
  const auto save = [&] {
    refused.reset();
    impl_->Stored = storedBefore;
    TextSet names = storedNames;
    store::Transaction transaction(connection);
    for (std::size_t index = 0; index < impl_->List.size(); ++index) {
      try {
        impl_->Save(connection, index, names);
      } catch (const store::DatabaseError& error) {
        if (!refused) {
          refused = error;
        }
      }
    }
    transaction.Commit();
  };
  try {
    connection.Together([&] { store::RetriedOnce(connection, save); });
  } catch (const store::DatabaseError&) {
    impl_->Stored = storedBefore;
    throw;
  }
  if (refused) {
    throw *refused;
  }
}

void Systems::NameSystem(store::IncomingTrap& trap) {
  const std::size_t index = FindSystem(trap.Source);
  if (index == kNone) {
    trap.SystemName = trap.Source;
    trap.SystemAddress = trap.Source;
    return;
  }
  const System& system = impl_->List[index];
  trap.SystemName = system.Name;
  trap.SystemAddress = system.Address.empty() ? trap.Source : std::string_view(system.Address);
}

std::size_t Systems::FindSystem(std::string_view nameOrAddressOrSource) const {
  const auto spelling = impl_->BySpelling.find(nameOrAddressOrSource);
  if (spelling != impl_->BySpelling.end()) {
    return spelling->second.Index;
  }
  const std::size_t index = impl_->FindFolded(nameOrAddressOrSource);
  if (index != kNone && impl_->SpellingBytes < kMostSpellingBytes) {
    impl_->SpellingBytes += kIndexedBytes + nameOrAddressOrSource.size();
    impl_->BySpelling.try_emplace(std::string(nameOrAddressOrSource),
                                  Impl::Spelling{.Index = index, .Listed = false});
  }
  return index;
}

std::size_t Systems::SystemOfSource(std::string_view source) {
  const auto spelling = impl_->BySpelling.find(source);
  if (spelling != impl_->BySpelling.end() && spelling->second.Listed) {
    return spelling->second.Index;
  }
  if (IsFurther(source)) {
    if (impl_->Further == kNone) {
      impl_->Further = impl_->List.size();
      impl_->List.push_back({.Name = std::string(kFurtherSystems),
                             .Address = {},
                             .Type = std::string(kManualSystemType),
                             .Modules = {},
                             .Sources = {},
                             .FurtherOf = this});
      impl_->Stored.emplace_back();
    }
    return impl_->Further;
  }
  const std::string_view name = TrimAtNul(source);
  std::size_t index = FindSystem(name);
  if (index == kNone) {
    index = impl_->Add({.Name = std::string(name),
                        .Address = platform::IsAddressText(name) ? std::string(name) : std::string(),
                        .Type = std::string(kManualSystemType),
                        .Modules = {},
                        .Sources = {}});
  }
  impl_->List[index].Sources.emplace_back(source);
  impl_->BySpelling.insert_or_assign(std::string(source), Impl::Spelling{.Index = index, .Listed = true});
  impl_->Bytes += kIndexedBytes + 2 * source.size();
  return index;
}

// The first text of each system finds room, so that those of the table keep what is theirs.
bool Systems::IsFurther(std::string_view source) const {
  if (impl_->Bytes < kMostBytes) {
    return false;
  }
  const auto spelling = impl_->BySpelling.find(source);
  if (spelling != impl_->BySpelling.end() && spelling->second.Listed) {
    return false;
  }
  const std::size_t index = FindSystem(TrimAtNul(source));
  return index == kNone || !impl_->List[index].Sources.empty();
}

std::vector<std::string> Systems::SourcesOf(const System& system, store::Connection& connection) {
  if (system.FurtherOf == nullptr) {
    return system.Sources.empty() ? std::vector<std::string>{system.Name} : system.Sources;
  }
  std::vector<std::string> sources;
  store::Recordset rows = connection.OpenRecordset(
      fmt::format("SELECT DISTINCT Source FROM {} WHERE EventAck = 0", store::kEventTrap));
  while (rows.Next()) {
    if (std::string source = rows.Text("Source"); system.Sends(source)) {
      sources.push_back(std::move(source));
    }
  }
  return sources;
}

std::optional<std::vector<std::string>> Systems::SourcesNamed(std::string_view nameOrAddressOrSource) const {
  if (impl_->Further != kNone) {
    return std::nullopt;
  }
  std::vector<std::string> sources;
  for (const System& system : impl_->List) {
    const bool whole = EqualsIgnoreCase(system.Name, nameOrAddressOrSource) ||
                       EqualsIgnoreCase(system.Address, nameOrAddressOrSource);
    std::ranges::copy_if(system.Sources, std::back_inserter(sources), [&](const std::string& source) {
      return whole || EqualsIgnoreCase(source, nameOrAddressOrSource);
    });
  }
  return sources;
}

bool System::Sends(std::string_view source) const {
  return FurtherOf != nullptr ? FurtherOf->IsFurther(source)
                              : std::find(Sources.begin(), Sources.end(), source) != Sources.end();
}

void Systems::Rename(std::size_t index, std::string_view name) {
  const std::string_view shown = TrimAtNul(name);
  System& system = impl_->List[index];
  const std::size_t owner = impl_->FindFolded(shown);
  if (shown.empty() || (owner != kNone && owner != index)) {
    return;
  }
  if (system.Address.empty() && platform::IsAddressText(system.Name)) {
    system.Address = system.Name;
  }
  system.Name = shown;
  impl_->Index(system.Name, index);
}

void Systems::SetAddress(std::size_t index, std::string_view address) {
  impl_->List[index].Address = TrimAtNul(address);
  impl_->Index(impl_->List[index].Address, index);
}

bool Systems::IsKnownByAddressOnly(std::size_t index) const {
  return platform::IsAddressText(impl_->List[index].Name);
}

std::size_t Systems::Count() const {
  return impl_->List.size();
}

const System& Systems::At(std::size_t index) const {
  return impl_->List[index];
}

}  // namespace korvane::intake
