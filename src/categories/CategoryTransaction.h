// The one transaction in which "Manage Categories" or an import makes its changes.  Open from construction
// on; whoever only reads holds nobody up.  User-interface thread; every call but Rollback may throw
// DatabaseError.
#pragma once

#include "store/Connection.h"

namespace korvane::categories {

// For the connection of such a transaction.  Long imports take their time, but nobody's window waits long for
// a row that another operator is just changing.
inline constexpr store::ConnectionOptions kCategoryTimeouts = {
    .ConnectTimeoutSeconds = 120, .CommandTimeoutSeconds = 480, .LockTimeoutSeconds = 8};

class CategoryTransaction {
 public:
  // The connection must be open, outside a transaction, and used by nobody else; it must outlive this object.
  explicit CategoryTransaction(store::Connection& connection);
  ~CategoryTransaction();  // rolls back what was not committed
  CategoryTransaction(const CategoryTransaction&) = delete;
  CategoryTransaction& operator=(const CategoryTransaction&) = delete;

  store::Connection& Connection() const { return connection_; }

  // Called before every change.  The first time it begins anew and takes the right to write: an embedded
  // store refuses for good to write on what was read before somebody else committed.
  void BeforeChange();
  // While nothing was changed: what is read from now on is what the store holds now.
  void ReadAnew();
  // Something was changed and neither committed nor rolled back.
  bool Changed() const { return changed_; }
  // How many changes were begun so far, whatever became of them.
  int ChangesBegun() const { return changesBegun_; }

  // Ends it, and notes in the change log that categories changed; nothing may be changed afterwards.  After
  // an error it is as it was and may be tried again.
  void Commit();
  void Rollback() noexcept;

 private:
  store::Connection& connection_;
  bool changed_ = false;
  int changesBegun_ = 0;
};

}  // namespace korvane::categories
