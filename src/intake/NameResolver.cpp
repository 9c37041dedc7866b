#include "intake/NameResolver.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace korvane::intake {

namespace {

// Stands in the queue for the question of this host's own domain; no address is empty.
constexpr std::string_view kOwnDomain;

using SteadyClock = std::chrono::steady_clock;

struct Entry {
  std::optional<std::string> Name;
  bool Waiting = false;  // in the queue or being looked up
  SteadyClock::time_point NextTry;
  std::chrono::milliseconds Pause{0};
};

}  // namespace

struct NameResolver::Shared {
  std::shared_ptr<platform::HostNames> HostNames;
  NameResolverLimits Limits;
  std::mutex Mutex;
  std::condition_variable_any Changed;
  std::unordered_map<std::string, Entry> Entries;
  std::deque<std::string> Queue;

  std::optional<std::string> NextAddress(std::stop_token stop) {
    std::unique_lock lock(Mutex);
    if (!Changed.wait(lock, stop, [this] { return !Queue.empty(); })) {
      return std::nullopt;
    }
    std::string address = std::move(Queue.front());
    Queue.pop_front();
    return address;
  }

  std::optional<std::string> Answer(const std::string& question) {
    if (question != kOwnDomain) {
      return platform::IsAddressText(question) ? HostNames->NameOfAddress(question)
                                               : HostNames->AddressOfName(question);
    }
    std::string domain = HostNames->DomainOfThisHost();
    return domain.empty() ? std::nullopt : std::optional(std::move(domain));
  }

  void Keep(const std::string& address, std::optional<std::string> name) {
    const std::lock_guard lock(Mutex);
    Entry& entry = Entries[address];
    entry.Waiting = false;
    entry.Name = std::move(name);
    if (!entry.Name) {
      entry.Pause = std::clamp(entry.Pause * 2, Limits.FirstRetry, Limits.LongestRetry);
      entry.NextTry = SteadyClock::now() + entry.Pause;
    }
  }
};

NameResolver::NameResolver(std::shared_ptr<platform::HostNames> hostNames, NameResolverLimits limits)
    : shared_(std::make_shared<Shared>()) {
  shared_->HostNames = std::move(hostNames);
  shared_->Limits = limits;
}

NameResolver::~NameResolver() = default;

bool NameResolver::Resolve(const std::string& address, std::string& name) {
  return address != kOwnDomain && Ask(address, name);
}

bool NameResolver::DomainOfThisHost(std::string& domain) {
  return Ask(std::string(kOwnDomain), domain);
}

bool NameResolver::Ask(const std::string& question, std::string& answer) {
  if (!worker_.Running()) {
    const bool started = worker_.Start([shared = shared_](std::stop_token stop) {
      while (const std::optional<std::string> next = shared->NextAddress(stop)) {
        shared->Keep(*next, shared->Answer(*next));
      }
    });
    if (!started) {
      return false;
    }
  }
  const std::lock_guard lock(shared_->Mutex);
  if (shared_->Entries.size() >= shared_->Limits.MostAddresses && !shared_->Entries.contains(question)) {
    shared_->Entries.clear();
    shared_->Queue.clear();
  }
  Entry& entry = shared_->Entries[question];
  if (entry.Name) {
    answer = *entry.Name;
    return true;
  }
  if (!entry.Waiting && SteadyClock::now() >= entry.NextTry) {
    entry.Waiting = true;
    shared_->Queue.push_back(question);
    shared_->Changed.notify_one();
  }
  return false;
}

bool NameResolver::Stop(std::chrono::milliseconds patience) {
  const bool ended = worker_.Stop(patience);
  const std::lock_guard lock(shared_->Mutex);
  shared_->Queue.clear();
  for (auto& [address, entry] : shared_->Entries) {
    entry.Waiting = false;
  }
  return ended;
}

}  // namespace korvane::intake
