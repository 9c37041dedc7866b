#include "receiver/snmp/LearntEngines.h"

#include <utility>

#include "receiver/snmp/NetSnmp.h"

namespace korvane::receiver {

void UsmUserDeleter::operator()(usmUser* user) const {
  usm_free_user(user);
}

LearntEngine* LearntEngines::Find(const std::string& user, const std::string& engineId) {
  const auto known = users_.find(user);
  if (known == users_.end()) {
    return nullptr;
  }
  const auto found = known->second.ById.find(engineId);
  return found == known->second.ById.end() ? nullptr : &found->second->Engine;
}

bool LearntEngines::Add(const std::string& user, const std::string& engineId, LearntEngine engine) {
  auto& [engines, byId] = users_[user];
  const bool full = engines.size() >= most_;
  if (full) {
    byId.erase(engines.back().EngineId);
    engines.pop_back();
  }
  engines.push_front({engineId, std::move(engine)});
  byId.emplace(engines.front().EngineId, engines.begin());
  return full;
}

void LearntEngines::Renew(const std::string& user, const std::string& engineId) {
  auto& [engines, byId] = users_[user];
  if (const auto found = byId.find(engineId); found != byId.end()) {
    engines.splice(engines.begin(), engines, found->second);
  }
}

}  // namespace korvane::receiver
