// The three engines without ODBC, each through its own client library, for the limits of a measurement.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "support/TestStore.h"

namespace korvane::bench {

class NativeClient {
 public:
  virtual ~NativeClient() = default;
  // Every cell of every row is handed over by the library, and none is looked at.  How many rows.
  virtual std::size_t Fetch(const std::string& select) = 0;
  // One after the other, in one transaction.
  virtual void ExecuteAll(const std::vector<std::string>& statements) = 0;
};

// Connected to where the data source of the store leads.  Ends the program when it can't be.
std::unique_ptr<NativeClient> MakeNativeClient(const test::TestStore& store, store::Engine engine);

}  // namespace korvane::bench
