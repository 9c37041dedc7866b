#include "categories/CategoryTransaction.h"

#include "store/ChangeLog.h"
#include "store/Tables.h"

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
    store::TakeRightToWrite(connection_, store::kCategoryGroupMaster);
    changed_ = true;
  }
  ++changesBegun_;
}

void CategoryTransaction::ReadAnew() {
  if (!changed_) {
    connection_.Rollback();
    connection_.BeginTransaction();
  }
}

void CategoryTransaction::Commit() {
  if (changed_) {
    // Not before: the receiver writes into the file that holds the log.
    store::NoteChange(connection_, store::ChangeKind::Categories);
  }
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
