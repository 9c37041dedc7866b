// Host names by address, and addresses by name, looked up on a thread of its own and kept: whoever asks gets
// what is known by now.
// Asked from one thread; never blocks it.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "intake/Worker.h"
#include "platform/Platform.h"

namespace korvane::intake {

struct NameResolverLimits {
  std::chrono::milliseconds FirstRetry = std::chrono::minutes(1);  // doubled after each failure
  std::chrono::milliseconds LongestRetry = std::chrono::hours(1);
  std::size_t MostAddresses = 65'536;  // beyond it the cache starts afresh
};

class NameResolver {
 public:
  // The host names are shared, since a look-up that hangs may outlive this object.
  explicit NameResolver(std::shared_ptr<platform::HostNames> hostNames, NameResolverLimits limits = {});
  ~NameResolver();
  NameResolver(const NameResolver&) = delete;
  NameResolver& operator=(const NameResolver&) = delete;

  // The name of an address, or the address of anything else, when it is known; otherwise false, and it is
  // looked up unless it failed not long ago.
  bool Resolve(const std::string& address, std::string& name);

  // The domain of this host, in the same way.
  bool DomainOfThisHost(std::string& domain);

  // False when the thread hangs in a look-up and was left behind.
  bool Stop(std::chrono::milliseconds patience);

 private:
  struct Shared;

  bool Ask(const std::string& question, std::string& answer);

  std::shared_ptr<Shared> shared_;
  Worker worker_;
};

}  // namespace korvane::intake
