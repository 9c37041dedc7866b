#include "categories/CategoryTransaction.h"

namespace korvane::categories {

CategoryTransaction::CategoryTransaction(store::Connection& connection) : connection_(connection) {
  connection_.BeginTransaction();
}

CategoryTransaction::~CategoryTransaction() {
  Rollback();
}

void CategoryTransaction::BeforeChange() {
  if (!changed_) {
    connection_.Rollback();
    connection_.BeginTransaction();
    // Touches no row.
    connection_.Execute("UPDATE Category_Group_Master SET Severity = 0 WHERE Category_Name = ''");
    changed_ = true;
  }
  ++changesBegun_;
}

void CategoryTransaction::Commit() {
  // A change that could not even begin has left nothing to commit.
  if (changed_ || connection_.InTransaction()) {
    connection_.Commit();
  }
  changed_ = false;
}

void CategoryTransaction::Rollback() noexcept {
  connection_.Rollback();
  changed_ = false;
}

}  // namespace korvane::categories
