// Names, severity and filter verdict of traps, from the trap-name table EventStructure and the rules of the
// categories and filters.  Which enterprises the table knows is kept, and what it says of them once it was
// asked: a burst costs one query per kind of trap that there is, an enterprise or code that there is not
// costs none. Belongs to the user-interface thread, like the connection it reads from.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/Connection.h"
#include "store/TrapRecord.h"

namespace korvane::store {

// What the filters and categories say of one kind of trap (enterprise OID, specific, generic): only the rules
// that still depend on the single trap (its source or bindings) are left to test.
class TrapVerdict {
 public:
  virtual ~TrapVerdict() = default;
  virtual bool TrapIsFiltered(const IncomingTrap& trap) const = 0;
  virtual std::int32_t SeverityOf(const IncomingTrap& trap) const = 0;
  // Of memory, about, once it was asked for the first time.
  virtual std::size_t Bytes() const = 0;
};

class TrapVerdicts {
 public:
  virtual ~TrapVerdicts() = default;
  virtual std::unique_ptr<TrapVerdict> VerdictFor(std::string_view enterpriseOid, std::int32_t specificTrap,
                                                  std::int32_t genericTrap) = 0;
  // False when no filter and no category row names it: then all enterprises, or all codes, of which that
  // holds have one verdict, that of an empty OID or of code 0.
  virtual bool NamesEnterprise(std::string_view enterpriseOid) = 0;
  virtual bool NamesSpecific(std::int32_t specificTrap) = 0;
};

// One trap of an enterprise, for the dialogs that offer them.
struct NamedTrap {
  std::string TrapName;
  std::string EnterpriseOid;
  std::int32_t SpecificTrap = 0;
};

// Some definitions carry a trailing ".0" on the enterprise, which the traps that they name do not.
std::string_view WithoutInstance(std::string_view enterpriseOid);

// What an enterprise trap without a definition is called: its notification OID (RFC 3584, section 3.1).
std::string NotificationOid(std::string_view enterpriseOid, std::int32_t specificTrap);

class TrapNames {
 public:
  explicit TrapNames(Connection& connection);
  ~TrapNames();
  TrapNames(const TrapNames&) = delete;
  TrapNames& operator=(const TrapNames&) = delete;

  // Must outlive this object; without it every trap is severity 0 and not filtered.
  void UseVerdicts(TrapVerdicts& verdicts);

  // The trap's name by OID and specific code; empty when there is none, or when the OID is not digits and
  // dots (no query then).
  std::string GetTrapSpecific(std::string_view enterpriseOid, std::int32_t specificCode);

  // Fills Definition, OwnName, Severity and Filtered.  Without a definition the trap is named by its generic
  // code, or for enterprise traps by its notification OID.
  // Throws DatabaseError; the trap is then unchanged.
  void GetTrapName(IncomingTrap& trap);

  // The same without asking the database: for a trap whose lookup keeps failing.
  void NameWithoutDefinition(IncomingTrap& trap);

  // OID to enterprise name when the text holds a ".", else enterprise name to OID; empty when unknown.
  std::string TranslateOidName(std::string_view text);

  // Enterprise names once each, sorted; and the traps of one of them.  Not cached.
  std::vector<std::string> EnterpriseNames();
  std::vector<NamedTrap> TrapsOfEnterprise(std::string_view enterpriseName);

  // After filters, categories or definitions changed.  Definitions already handed out stay valid.
  void ClearCache();

  // What the kinds of traps met so far take, about: those that senders can make up with codes and enterprises
  // that rules name.  At the bound the cache begins anew, which costs no query.
  static constexpr std::size_t kMostKindBytes = std::size_t{16} << 20U;
  std::size_t KindBytes() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::store
