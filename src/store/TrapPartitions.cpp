#include "store/TrapPartitions.h"

#include <fmt/format.h>

#include "store/Tables.h"

namespace korvane::store {

std::string FreePartitionName(Connection& connection, std::int64_t first) {
  std::string name = fmt::format("{}_{}", kEventTrap, first);
  while (connection.OpenRecordset(fmt::format("SELECT 1 WHERE to_regclass('{}') IS NOT NULL", name)).Next()) {
    name += '_';
  }
  return name;
}

std::string SelectDetachedPartitions() {
  return fmt::format(
      "SELECT c.oid::regclass::text AS Name, obj_description(c.oid, 'pg_class') AS Mark "
      "FROM pg_class c WHERE c.relkind = 'r' AND NOT c.relispartition AND c.relname LIKE "
      "'eventtrap%' AND obj_description(c.oid, 'pg_class') LIKE '{}%'",
      kLeavingMark);
}

}  // namespace korvane::store
