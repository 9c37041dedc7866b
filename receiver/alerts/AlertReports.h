// What the alerts of the receiver and the consoles tell each other through the store: which alerts a console
// wants tried, what became of them and of every alert, and that something was changed which alerts depend on.
// Plain functions over the runner's connection; they throw DatabaseError.  turns: of an embedded store, may
// be null.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "receiver/WriteTurns.h"
#include "receiver/alerts/AlertOutcomes.h"
#include "store/Connection.h"

namespace korvane::receiver {

struct AskedTest {
  std::int32_t Id = 0;
  std::int32_t AlertId = 0;
  std::string AskedBy;  // "ann at console1"
};

// The tests that wait, which are this receiver's from now on: of several on one store one takes each.
std::vector<AskedTest> TakeAskedTests(store::Connection& connection, WriteTurns* turns = nullptr);

void WriteNews(store::Connection& connection, const AlertNews& news, WriteTurns* turns = nullptr);

// Differs once alerts, categories or trap names were changed, by the change log.
std::string ChangesMark(store::Connection& connection);

}  // namespace korvane::receiver
