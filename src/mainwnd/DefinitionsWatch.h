// Notices that trap definitions came into the store after the MIB compiler, a program of its own, was started
// from here: windows would go on with the names they know, while dialogs already offer the new ones.
// User-interface thread only; a database error means that nothing is known yet.
#pragma once

#include <optional>
#include <string>

#include "store/TrapNames.h"

namespace korvane::mainwnd {

class DefinitionsWatch {
 public:
  // The names must outlive this object.
  explicit DefinitionsWatch(store::TrapNames& names) : names_(names) {}

  // Before the compiler starts.
  void Begin();
  // True once after each change since then; always false before, without asking the store.
  bool Changed();

 private:
  std::optional<std::string> Mark();

  store::TrapNames& names_;
  bool watching_ = false;
  std::optional<std::string> known_;
};

}  // namespace korvane::mainwnd
