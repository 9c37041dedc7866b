#include "store/TrapNames.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "common/Text.h"
#include "store/Codes.h"
#include "store/Statements.h"
#include "store/Tables.h"

namespace korvane::store {

namespace {

std::string_view Normalised(std::string_view oid) {
  if (oid.starts_with('.')) oid.remove_prefix(1);
  return oid;
}

// Anything else names nothing, so no query is made for it: a hostile trap can't bring one to fail.
bool IsOid(std::string_view text) {
  return !text.empty() && text.front() != '.' &&
         std::ranges::all_of(text, [](char c) { return (c >= '0' && c <= '9') || c == '.'; });
}

bool IsGeneric(std::int32_t code) {
  return code >= 0 && code < kEnterpriseSpecific;
}

std::size_t Mixed(std::size_t seed, std::size_t value) {
  return seed ^ (value + 0x9e3779b97f4a7c15U + (seed << 6U) + (seed >> 2U));
}

// What a lookup is cached by, owned in the table and viewed in a search, so that a hit allocates nothing.
template <typename Owner>
struct KindKey {
  Owner EnterpriseOid;
  std::int32_t SpecificTrap = 0;
  std::int32_t GenericTrap = 0;
};

struct KindHash {
  using is_transparent = void;
  template <typename Owner>
  std::size_t operator()(const KindKey<Owner>& key) const {
    const std::uint64_t codes = (std::uint64_t{static_cast<std::uint32_t>(key.SpecificTrap)} << 32U) |
                                static_cast<std::uint32_t>(key.GenericTrap);
    return Mixed(std::hash<std::string_view>()(key.EnterpriseOid), codes);
  }
};

struct KindEqual {
  using is_transparent = void;
  template <typename A, typename B>
  bool operator()(const KindKey<A>& a, const KindKey<B>& b) const {
    return a.SpecificTrap == b.SpecificTrap && a.GenericTrap == b.GenericTrap &&
           a.EnterpriseOid == b.EnterpriseOid;
  }
};

struct Kind {
  const TrapDefinition* Definition = nullptr;
  std::unique_ptr<TrapVerdict> Verdict;

  void Complete(IncomingTrap& trap) const {
    trap.Definition = Definition;
    trap.Severity = Verdict ? Verdict->SeverityOf(trap) : 0;
    trap.Filtered = Verdict && Verdict->TrapIsFiltered(trap);
  }
};

// An enterprise as its rows tell: once it is known, a specific code without a row costs no query for a row of
// its own any more, however far a sender counts its codes up.
struct Enterprise {
  std::string Name;
  std::unordered_set<std::int32_t> Codes;
};

// Entries of one cache, far more than any network has.  A full one begins anew, so that a hostile sender
// costs queries and no further memory; the definitions stay all the same, since rows point at them.
constexpr std::size_t kMostCached = std::size_t{1} << 17U;

template <typename Cache>
void MakeRoom(Cache& cache) {
  if (cache.size() >= kMostCached) cache.clear();
}

struct DefinitionHash {
  std::size_t operator()(const TrapDefinition& definition) const {
    const std::hash<std::string_view> hash;
    return Mixed(Mixed(hash(definition.TrapName), hash(definition.EnterpriseName)),
                 hash(definition.FurtherDescription));
  }
};

struct DefinitionEqual {
  bool operator()(const TrapDefinition& a, const TrapDefinition& b) const {
    return a.TrapName == b.TrapName && a.EnterpriseName == b.EnterpriseName &&
           a.FurtherDescription == b.FurtherDescription;
  }
};

std::string NameWithoutRow(std::string_view oid, std::int32_t specificTrap, std::int32_t genericTrap) {
  if (IsGeneric(genericTrap) || oid.empty()) return std::string(GenericTrapName(genericTrap));
  return NotificationOid(oid, specificTrap);
}

}  // namespace

std::string_view WithoutInstance(std::string_view enterpriseOid) {
  constexpr std::string_view kInstance = ".0";
  return enterpriseOid.ends_with(kInstance) ? enterpriseOid.substr(0, enterpriseOid.size() - kInstance.size())
                                            : enterpriseOid;
}

std::string NotificationOid(std::string_view enterpriseOid, std::int32_t specificTrap) {
  return fmt::format("{}.0.{}", enterpriseOid, specificTrap);
}

struct TrapNames::Impl {
  explicit Impl(Connection& connection) : Store(connection) {}

  std::optional<TrapDefinition> FirstRow(const std::string& filter);
  std::optional<TrapDefinition> RowOf(std::string_view oid, std::int32_t code);
  const Enterprise& EnterpriseOf(std::string_view oid);
  const std::string& OidOf(std::string_view enterpriseName);
  TrapDefinition LookUp(std::string_view oid, std::int32_t specificTrap, std::int32_t genericTrap);
  Kind MakeKind(TrapDefinition definition, const KindKey<std::string_view>& key);
  const Kind* Cached(const KindKey<std::string_view>& key);

  Connection& Store;
  TrapVerdicts* Verdicts = nullptr;
  std::unordered_map<KindKey<std::string>, Kind, KindHash, KindEqual> Kinds;
  const std::pair<const KindKey<std::string>, Kind>* Last = nullptr;  // traps of one kind come in runs
  std::unordered_set<TrapDefinition, DefinitionHash, DefinitionEqual> Definitions;
  std::unordered_map<std::string, std::string> Specifics;
  std::unordered_map<std::string, Enterprise> Enterprises;  // by OID
  std::unordered_map<std::string, std::string> Oids;        // by the enterprise's name
};

// The first row that the filter finds, its three texts as they stand.
std::optional<TrapDefinition> TrapNames::Impl::FirstRow(const std::string& filter) {
  Recordset rows = Store.OpenRecordset(kEventStructure, filter);
  if (!rows.Next()) return std::nullopt;
  return TrapDefinition{rows.Text("SpecificTrap"), rows.Text("Name"), rows.Text("TrapDescription")};
}

// Some rows carry a trailing ".0" on the enterprise.
std::optional<TrapDefinition> TrapNames::Impl::RowOf(std::string_view oid, std::int32_t code) {
  const auto known = Enterprises.find(std::string(oid));
  if (known != Enterprises.end() && !known->second.Codes.contains(code)) return std::nullopt;
  auto row = FirstRow(fmt::format("EnterpriseOid = {} AND RequestType = {}", Quoted(oid), code));
  if (!row) {
    row = FirstRow(
        fmt::format("EnterpriseOid = {} AND RequestType = {}", Quoted(fmt::format("{}.0", oid)), code));
  }
  return row;
}

const Enterprise& TrapNames::Impl::EnterpriseOf(std::string_view oid) {
  std::string key(oid);
  if (const auto found = Enterprises.find(key); found != Enterprises.end()) return found->second;
  Enterprise enterprise;
  bool named = false;
  for (const std::string_view instance : {"", ".0"}) {
    Recordset rows = Store.OpenRecordset(
        kEventStructure, fmt::format("EnterpriseOid = {}", Quoted(fmt::format("{}{}", oid, instance))));
    while (rows.Next()) {
      if (!std::exchange(named, true)) enterprise.Name = rows.Text("Name");
      enterprise.Codes.insert(rows.Integer("RequestType"));
    }
  }
  MakeRoom(Enterprises);
  return Enterprises.emplace(std::move(key), std::move(enterprise)).first->second;
}

const std::string& TrapNames::Impl::OidOf(std::string_view enterpriseName) {
  std::string key(enterpriseName);
  if (const auto found = Oids.find(key); found != Oids.end()) return found->second;
  Recordset rows = Store.OpenRecordset(kEventStructure, fmt::format("Name = {}", Quoted(enterpriseName)));
  std::string oid = rows.Next() ? rows.Text("EnterpriseOid") : std::string();
  return Oids.emplace(std::move(key), std::move(oid)).first->second;
}

// A generic trap reaches the store under its sender's enterprise with specific code 0, so its own row is
// looked for first and that of the standard notification next; the enterprise stays the sender's.
TrapDefinition TrapNames::Impl::LookUp(std::string_view oid, std::int32_t specificTrap,
                                       std::int32_t genericTrap) {
  TrapDefinition definition;
  if (IsOid(oid)) {
    if (auto own = RowOf(oid, specificTrap)) {
      definition = *std::move(own);
    } else {
      if (IsGeneric(genericTrap)) {
        if (auto standard = RowOf(kStandardTrapsOid, genericTrap + 1)) definition = *std::move(standard);
      }
      definition.EnterpriseName = EnterpriseOf(oid).Name;
    }
  }
  if (definition.TrapName.empty()) definition.TrapName = NameWithoutRow(oid, specificTrap, genericTrap);
  if (definition.EnterpriseName.empty()) definition.EnterpriseName = oid;
  return definition;
}

Kind TrapNames::Impl::MakeKind(TrapDefinition definition, const KindKey<std::string_view>& key) {
  Kind kind;
  kind.Definition = &*Definitions.insert(std::move(definition)).first;
  if (Verdicts != nullptr) {
    kind.Verdict = Verdicts->VerdictFor(key.EnterpriseOid, key.SpecificTrap, key.GenericTrap);
  }
  return kind;
}

const Kind* TrapNames::Impl::Cached(const KindKey<std::string_view>& key) {
  if (Last != nullptr && KindEqual()(Last->first, key)) return &Last->second;
  const auto found = Kinds.find(key);
  if (found == Kinds.end()) return nullptr;
  Last = &*found;
  return &found->second;
}

TrapNames::TrapNames(Connection& connection) : impl_(std::make_unique<Impl>(connection)) {}

TrapNames::~TrapNames() = default;

void TrapNames::UseVerdicts(TrapVerdicts& verdicts) {
  impl_->Verdicts = &verdicts;
  ClearCache();
}

void TrapNames::GetTrapName(IncomingTrap& trap) {
  const KindKey<std::string_view> key{Normalised(trap.EnterpriseOid), trap.SpecificTrap, trap.GenericTrap};
  const Kind* kind = impl_->Cached(key);
  if (kind == nullptr) {
    Kind made = impl_->MakeKind(impl_->LookUp(key.EnterpriseOid, key.SpecificTrap, key.GenericTrap), key);
    impl_->Last = nullptr;
    MakeRoom(impl_->Kinds);
    const auto placed = impl_->Kinds.try_emplace(
        {std::string(key.EnterpriseOid), key.SpecificTrap, key.GenericTrap}, std::move(made));
    impl_->Last = &*placed.first;
    kind = &impl_->Last->second;
  }
  trap.EnterpriseOid = key.EnterpriseOid;
  kind->Complete(trap);
}

void TrapNames::NameWithoutDefinition(IncomingTrap& trap) {
  const KindKey<std::string_view> key{Normalised(trap.EnterpriseOid), trap.SpecificTrap, trap.GenericTrap};
  trap.EnterpriseOid = key.EnterpriseOid;
  if (const Kind* known = impl_->Cached(key)) return known->Complete(trap);
  // Not cached: the next trap of its kind may find the database well again.
  impl_
      ->MakeKind({NameWithoutRow(key.EnterpriseOid, key.SpecificTrap, key.GenericTrap),
                  std::string(key.EnterpriseOid),
                  {}},
                 key)
      .Complete(trap);
}

std::string TrapNames::GetTrapSpecific(std::string_view enterpriseOid, std::int32_t specificCode) {
  const std::string_view oid = Normalised(enterpriseOid);
  if (!IsOid(oid)) return {};
  const std::string key = fmt::format("{}.{}", specificCode, oid);
  if (const auto found = impl_->Specifics.find(key); found != impl_->Specifics.end()) return found->second;
  MakeRoom(impl_->Specifics);
  const auto row = impl_->RowOf(oid, specificCode);
  return impl_->Specifics.emplace(key, row ? row->TrapName : std::string()).first->second;
}

std::string TrapNames::TranslateOidName(std::string_view text) {
  const bool isOid = text.find('.') != std::string_view::npos;
  if (isOid) text = Normalised(text);
  if (text.empty() || (isOid && !IsOid(text))) return {};
  return isOid ? impl_->EnterpriseOf(text).Name : impl_->OidOf(text);
}

std::vector<std::string> TrapNames::EnterpriseNames() {
  std::vector<std::string> names;
  Recordset rows = impl_->Store.OpenRecordset(fmt::format("SELECT DISTINCT Name FROM {}", kEventStructure));
  while (rows.Next()) {
    if (std::string name = rows.Text("Name"); !name.empty()) names.push_back(std::move(name));
  }
  // Sorted here: each engine has an order of its own.
  std::ranges::sort(names, {}, [](const std::string& name) { return std::pair(FoldCase(name), name); });
  return names;
}

std::vector<NamedTrap> TrapNames::TrapsOfEnterprise(std::string_view enterpriseName) {
  std::vector<NamedTrap> traps;
  Recordset rows =
      impl_->Store.OpenRecordset(kEventStructure, fmt::format("Name = {}", Quoted(enterpriseName)));
  while (rows.Next()) {
    traps.push_back({rows.Text("SpecificTrap"), rows.Text("EnterpriseOid"), rows.Integer("RequestType")});
  }
  std::ranges::sort(traps, {}, [](const NamedTrap& trap) {
    return std::tuple(FoldCase(trap.TrapName), trap.TrapName, trap.EnterpriseOid, trap.SpecificTrap);
  });
  return traps;
}

void TrapNames::ClearCache() {
  impl_->Last = nullptr;
  impl_->Kinds.clear();
  impl_->Specifics.clear();
  impl_->Enterprises.clear();
  impl_->Oids.clear();
}

}  // namespace korvane::store
