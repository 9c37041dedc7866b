// A database call that failed.  what() is the driver's text, fit to be shown.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace korvane::store {

class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(const std::string& text, std::string sqlState, std::int32_t nativeCode, std::string statement)
      : std::runtime_error(text),
        sqlState_(std::move(sqlState)),
        nativeCode_(nativeCode),
        statement_(std::move(statement)) {}

  const std::string& SqlState() const { return sqlState_; }
  std::int32_t NativeCode() const { return nativeCode_; }
  const std::string& Statement() const { return statement_; }  // what was attempted

 private:
  std::string sqlState_;
  std::int32_t nativeCode_;
  std::string statement_;
};

}  // namespace korvane::store
