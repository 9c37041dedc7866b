// Whether another copy of the console of this user runs on this machine, in whatever session: a lock in a
// folder that all sessions of the user share.  User-interface thread only; never throws.
#pragma once

namespace korvane::platform {

class UserLock {
 public:
  virtual ~UserLock() = default;
  // False takes the lock, for as long as this object lives, and when the folder tells nothing: it can't be
  // written, or its file system knows no locks.
  virtual bool HeldByAnother() = 0;
};

}  // namespace korvane::platform
