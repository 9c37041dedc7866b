// Makes calls to the driver manager fail, one at a time, in a program that links korvane_odbc_faults: the
// linker leads its calls through the functions of OdbcFaults.cpp.  Safe with calls from several threads.
#pragma once

#include <string_view>

namespace korvane::test {

enum class Fault {
  Refused,     // the call is not carried out and fails
  LinkLost,    // nor is it here, and the link to the store is gone with it
  AnswerLost,  // a statement or a commit is carried out, and the link is gone before the answer
  Conflict,    // inside a transaction: not carried out, and the transaction is to be run again
};

// Statements: what reaches the store; the rest only prepares it and looks at what came back.
enum class CountedCalls { All, Statements };

// What the failing call says.
inline constexpr std::string_view kFaultText = "The store gave up in the middle.";

// The n-th such call from now on fails, once.
void FailCall(int n, Fault fault = Fault::Refused, CountedCalls counted = CountedCalls::All);
// No call fails any more.  True when the one that was to fail was made.
bool EndFaults();

}  // namespace korvane::test
