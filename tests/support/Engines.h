// The three database engines, each with a fresh store for a test.  The servers are those that the ctest
// fixture "database_servers" started (tests/support/database-servers); a test on an engine that is not there
// fails.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "store/Connection.h"
#include "support/TestStore.h"

namespace korvane::test {

inline constexpr std::array<store::Engine, 3> kEngines = {store::Engine::Sqlite, store::Engine::PostgreSql,
                                                          store::Engine::MariaDb};

std::string EngineName(store::Engine engine);  // "Sqlite", "PostgreSql", "MariaDb"

std::unique_ptr<TestStore> MakeStore(store::Engine engine);

}  // namespace korvane::test
