#include "store/TrapNames.h"

#include <algorithm>
#include <functional>
#include <iterator>
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

constexpr std::string_view kInstance = ".0";
constexpr std::string_view kNotificationOid = "{}.0.{}";

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

  // ownName holds the trap's own name where it has one.
  void Complete(IncomingTrap& trap, std::string& ownName) const {
    trap.Definition = Definition;
    ownName.clear();
    if (Definition->TrapName.empty()) NameItself(trap, ownName);
    trap.OwnName = ownName;
    trap.Severity = Verdict ? Verdict->SeverityOf(trap) : 0;
    trap.Filtered = Verdict && Verdict->TrapIsFiltered(trap);
  }

  static void NameItself(const IncomingTrap& trap, std::string& name) {
    if (IsGeneric(trap.GenericTrap) || trap.EnterpriseOid.empty()) {
      name = GenericTrapName(trap.GenericTrap);
    } else {
      fmt::format_to(std::back_inserter(name), kNotificationOid, trap.EnterpriseOid, trap.SpecificTrap);
    }
  }
};

// An enterprise as its rows tell.  A code's definition is read when it is first met.
struct Enterprise {
  std::string Name;
  std::unordered_map<std::int32_t, const TrapDefinition*> Codes;  // null: not read yet
};

struct OidHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view oid) const { return std::hash<std::string_view>()(oid); }
};
using OidSet = std::unordered_set<std::string, OidHash, std::equal_to<>>;

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

}  // namespace

std::string_view WithoutInstance(std::string_view enterpriseOid) {
  return enterpriseOid.ends_with(kInstance) ? enterpriseOid.substr(0, enterpriseOid.size() - kInstance.size())
                                            : enterpriseOid;
}

std::string NotificationOid(std::string_view enterpriseOid, std::int32_t specificTrap) {
  return fmt::format(kNotificationOid, enterpriseOid, specificTrap);
}

struct TrapNames::Impl {
  using Key = KindKey<std::string_view>;
  explicit Impl(Connection& connection) : Store(connection) {}

  const OidSet& KnownOids();
  const Enterprise& EnterpriseOf(std::string_view oid);
  const TrapDefinition* RowOf(std::string_view oid, std::int32_t code);
  const std::string& OidOf(std::string_view enterpriseName);
  const TrapDefinition* Kept(TrapDefinition definition);
  const TrapDefinition* LookUp(const Key& key);
  Key Shared(const Key& key);
  Kind MakeKind(const TrapDefinition* definition, const Key& key);
  const Kind* Cached(const Key& key);
  void Keep(const Key& key, Kind kind);
  void ClearKinds();

  Connection& Store;
  TrapVerdicts* Verdicts = nullptr;
  std::unordered_map<KindKey<std::string>, Kind, KindHash, KindEqual> Kinds;
  std::size_t KindBytes = 0;
  const std::pair<const KindKey<std::string>, Kind>* Last = nullptr;  // traps of one kind come in runs
  std::unordered_set<TrapDefinition, DefinitionHash, DefinitionEqual> Definitions;
  std::optional<OidSet> Oids;  // of EventStructure, as they stand there and without their instance
  std::unordered_map<std::string, Enterprise, OidHash, std::equal_to<>> Enterprises;  // by OID
  std::unordered_map<std::string, std::string> OidsOfNames;
  const Enterprise Unknown;
  std::string OwnName;
};

const OidSet& TrapNames::Impl::KnownOids() {
  if (!Oids) {
    OidSet read;
    Recordset rows =
        Store.OpenRecordset(fmt::format("SELECT DISTINCT EnterpriseOid FROM {}", kEventStructure));
    while (rows.Next()) {
      std::string oid = rows.Text("EnterpriseOid");
      if (!IsOid(oid)) continue;
      read.emplace(WithoutInstance(oid));
      read.insert(std::move(oid));
    }
    Oids = std::move(read);
  }
  return *Oids;
}

// Some rows carry a trailing ".0" on the enterprise.  Of one that is not known nothing is kept.
const Enterprise& TrapNames::Impl::EnterpriseOf(std::string_view oid) {
  if (const auto found = Enterprises.find(oid); found != Enterprises.end()) return found->second;
  if (!KnownOids().contains(oid)) return Unknown;
  Enterprise enterprise;
  bool named = false;
  for (const std::string& stored : {std::string(oid), fmt::format("{}{}", oid, kInstance)}) {
    Recordset rows = Store.OpenRecordset(kEventStructure, fmt::format("EnterpriseOid = {}", Quoted(stored)));
    while (rows.Next()) {
      if (!std::exchange(named, true)) enterprise.Name = rows.Text("Name");
      enterprise.Codes.try_emplace(rows.Integer("RequestType"));
    }
  }
  return Enterprises.emplace(oid, std::move(enterprise)).first->second;
}

// Null when there is no row of just this trap.
const TrapDefinition* TrapNames::Impl::RowOf(std::string_view oid, std::int32_t code) {
  const auto& codes = EnterpriseOf(oid).Codes;
  const auto known = codes.find(code);
  if (known == codes.end() || known->second != nullptr) return known == codes.end() ? nullptr : known->second;
  for (const std::string& stored : {std::string(oid), fmt::format("{}{}", oid, kInstance)}) {
    Recordset rows = Store.OpenRecordset(
        kEventStructure, fmt::format("EnterpriseOid = {} AND RequestType = {}", Quoted(stored), code));
    if (rows.Next()) {
      const TrapDefinition* const row =
          Kept({rows.Text("SpecificTrap"), rows.Text("Name"), rows.Text("TrapDescription")});
      Enterprises.find(oid)->second.Codes[code] = row;
      return row;
    }
  }
  return nullptr;
}

const std::string& TrapNames::Impl::OidOf(std::string_view enterpriseName) {
  std::string key(enterpriseName);
  if (const auto found = OidsOfNames.find(key); found != OidsOfNames.end()) return found->second;
  Recordset rows = Store.OpenRecordset(kEventStructure, fmt::format("Name = {}", Quoted(enterpriseName)));
  std::string oid = rows.Next() ? rows.Text("EnterpriseOid") : std::string();
  return OidsOfNames.emplace(std::move(key), std::move(oid)).first->second;
}

const TrapDefinition* TrapNames::Impl::Kept(TrapDefinition definition) {
  return &*Definitions.insert(std::move(definition)).first;
}

// A generic trap reaches the store under its sender's enterprise with specific code 0, so its own row is
// looked for first and that of the standard notification next; the enterprise stays the sender's.
const TrapDefinition* TrapNames::Impl::LookUp(const Key& key) {
  if (const TrapDefinition* const own = RowOf(key.EnterpriseOid, key.SpecificTrap)) return own;
  TrapDefinition definition;
  if (IsGeneric(key.GenericTrap)) {
    if (const TrapDefinition* const standard = RowOf(kStandardTrapsOid, key.GenericTrap + 1)) {
      definition = *standard;
    }
  }
  definition.EnterpriseName = EnterpriseOf(key.EnterpriseOid).Name;
  return Kept(std::move(definition));
}

// The kind that stands for all that neither the table nor a rule can tell from this one.
TrapNames::Impl::Key TrapNames::Impl::Shared(const Key& key) {
  Key shared = key;
  const auto& codes = EnterpriseOf(key.EnterpriseOid).Codes;
  if (codes.empty() && (Verdicts == nullptr || !Verdicts->NamesEnterprise(key.EnterpriseOid))) {
    shared.EnterpriseOid = {};
  }
  if (!codes.contains(key.SpecificTrap) && !codes.contains(0) &&
      (Verdicts == nullptr || !Verdicts->NamesSpecific(key.SpecificTrap))) {
    shared.SpecificTrap = 0;
  }
  return shared;
}

Kind TrapNames::Impl::MakeKind(const TrapDefinition* definition, const Key& key) {
  Kind kind;
  kind.Definition = definition;
  if (Verdicts != nullptr) {
    kind.Verdict = Verdicts->VerdictFor(key.EnterpriseOid, key.SpecificTrap, key.GenericTrap);
  }
  return kind;
}

const Kind* TrapNames::Impl::Cached(const Key& key) {
  if (Last != nullptr && KindEqual()(Last->first, key)) return &Last->second;
  const auto found = Kinds.find(key);
  if (found == Kinds.end()) return nullptr;
  Last = &*found;
  return &found->second;
}

// A kind that has completed a trap.
void TrapNames::Impl::Keep(const Key& key, Kind kind) {
  const std::size_t bytes = sizeof(Kind) + sizeof(KindKey<std::string>) + key.EnterpriseOid.size() +
                            (kind.Verdict ? kind.Verdict->Bytes() : 0);
  if (KindBytes + bytes > kMostKindBytes) ClearKinds();
  if (bytes > kMostKindBytes) return;
  KindBytes += bytes;
  Last =
      &*Kinds
            .try_emplace({std::string(key.EnterpriseOid), key.SpecificTrap, key.GenericTrap}, std::move(kind))
            .first;
}

void TrapNames::Impl::ClearKinds() {
  Last = nullptr;
  Kinds.clear();
  KindBytes = 0;
}

TrapNames::TrapNames(Connection& connection) : impl_(std::make_unique<Impl>(connection)) {}

TrapNames::~TrapNames() = default;

void TrapNames::UseVerdicts(TrapVerdicts& verdicts) {
  impl_->Verdicts = &verdicts;
  ClearCache();
}

void TrapNames::GetTrapName(IncomingTrap& trap) {
  const Impl::Key key{Normalised(trap.EnterpriseOid), trap.SpecificTrap, trap.GenericTrap};
  const Kind* kind = impl_->Cached(key);
  if (kind == nullptr) {
    const Impl::Key shared = impl_->Shared(key);
    kind = impl_->Cached(shared);
    if (kind == nullptr) {
      Kind made = impl_->MakeKind(impl_->LookUp(shared), shared);
      trap.EnterpriseOid = key.EnterpriseOid;
      made.Complete(trap, impl_->OwnName);
      return impl_->Keep(shared, std::move(made));
    }
  }
  trap.EnterpriseOid = key.EnterpriseOid;
  kind->Complete(trap, impl_->OwnName);
}

void TrapNames::NameWithoutDefinition(IncomingTrap& trap) {
  const Impl::Key key{Normalised(trap.EnterpriseOid), trap.SpecificTrap, trap.GenericTrap};
  trap.EnterpriseOid = key.EnterpriseOid;
  if (const Kind* known = impl_->Cached(key)) return known->Complete(trap, impl_->OwnName);
  // Not cached: the next trap of its kind may find the database well again.
  impl_->MakeKind(impl_->Kept({}), key).Complete(trap, impl_->OwnName);
}

std::string TrapNames::GetTrapSpecific(std::string_view enterpriseOid, std::int32_t specificCode) {
  const TrapDefinition* const row = impl_->RowOf(Normalised(enterpriseOid), specificCode);
  return row != nullptr ? row->TrapName : std::string();
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
    // It came meanwhile: who chooses it wants it named.
    if (impl_->Oids && !impl_->Oids->contains(traps.back().EnterpriseOid)) impl_->Oids.reset();
  }
  std::ranges::sort(traps, {}, [](const NamedTrap& trap) {
    return std::tuple(FoldCase(trap.TrapName), trap.TrapName, trap.EnterpriseOid, trap.SpecificTrap);
  });
  return traps;
}

void TrapNames::ClearCache() {
  impl_->ClearKinds();
  impl_->Oids.reset();
  impl_->Enterprises.clear();
  impl_->OidsOfNames.clear();
}

std::size_t TrapNames::KindBytes() const {
  return impl_->KindBytes;
}

}  // namespace korvane::store
