#include "store/CategoryNumber.h"

#include <fmt/format.h>

#include "store/Odbc.h"
#include "store/Recordset.h"
#include "store/Retry.h"
#include "store/Tables.h"

namespace korvane::store {

namespace {

std::int32_t CountOn(Connection& connection, std::int32_t above, std::int32_t count) {
  connection.Execute(
      fmt::format("UPDATE {0} SET Last_ID = {2} + CASE WHEN Last_ID < {1} THEN {1} ELSE Last_ID END",
                  kCategoryNumber, above, count));
  Recordset last = connection.OpenRecordset(fmt::format("SELECT Last_ID FROM {}", kCategoryNumber));
  if (last.Next()) {
    return last.Integer(std::size_t{0}) - count + 1;
  }
  connection.Execute(fmt::format("INSERT INTO {} VALUES ({})", kCategoryNumber, above + count));
  return above + 1;
}

}  // namespace

std::int32_t TakeCategoryNumbers(Connection& within, std::int32_t above, std::int32_t count) {
  const Connection::Impl& link = within.Internals();
  if (link.Kind == Engine::Sqlite) {
    return above + 1;
  }
  Connection own;
  own.Open(link.DataSource, link.User, link.Password, link.Options);
  return RetriedOnce(own, [&] {
    Transaction transaction(own);
    const std::int32_t first = CountOn(own, above, count);
    transaction.Commit();
    return first;
  });
}

}  // namespace korvane::store
