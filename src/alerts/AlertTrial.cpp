#include "alerts/AlertTrial.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

#include "common/Text.h"
#include "common/Translation.h"
#include "store/DatabaseError.h"

namespace korvane::alerts {
namespace {

// A receiver looks every two seconds; it may be in the middle of something.
constexpr std::chrono::seconds kAnswerTime{8};
// The slowest action is given up within a minute.
constexpr std::chrono::seconds kLongest{90};

// The lines of a result in one.
std::string InOneLine(const std::string& result) {
  std::string text;
  for (const char c : result) {
    text += c == '\n' ? std::string("; ") : std::string(1, c);
  }
  return text.substr(0, text.find_last_not_of("; ") + 1);
}

}  // namespace

void AlertTrial::Begin(std::int32_t groupId, std::string description) {
  End();
  testId_ = reports_.AskTest(groupId);
  description_ = std::move(description);
  state_ = TrialState::Asked;
}

void AlertTrial::Follow(std::chrono::seconds waited) {
  if (!IsOpen()) {
    return;
  }
  std::optional<AlertTestState> test;
  try {
    test = reports_.LoadTest(testId_);
  } catch (const store::DatabaseError&) {
    return;
  }
  takenBy_ = test ? test->TakenBy : takenBy_;
  result_ = test ? InOneLine(test->Result) : result_;
  if (test && test->Done) {
    state_ = result_.find("failed: ") == std::string::npos && result_.find(": done") != std::string::npos
                 ? TrialState::Done
                 : TrialState::Failed;
    Withdraw();
  } else if (!test || waited > kLongest) {
    state_ = takenBy_.empty() ? TrialState::NoAnswer : TrialState::Failed;
    Withdraw();
  } else if (!takenBy_.empty()) {
    state_ = TrialState::UnderWay;
  } else if (waited >= kAnswerTime) {
    state_ = TrialState::NoAnswer;
  }
}

void AlertTrial::Withdraw() {
  try {
    reports_.WithdrawTest(testId_);
  } catch (const store::DatabaseError&) {
    // The receiver removes old ones too.
  }
  testId_ = 0;
}

void AlertTrial::End() {
  if (IsOpen()) {
    Withdraw();
  }
  state_ = TrialState::None;
  takenBy_.clear();
  result_.clear();
}

std::string AlertTrial::Text() const {
  const std::string name = VisibleText(description_);
  const std::string on = VisibleText(takenBy_);
  const std::string result = result_.empty() ? std::string() : ": " + VisibleText(result_);
  switch (state_) {
    case TrialState::None:
      break;
    case TrialState::Asked:
      return Phrase("Testing \"{}\": waiting for a receiver ...", name);
    case TrialState::NoAnswer:
      return Phrase(
          "Testing \"{}\": no receiver answers{}. Alerts are carried out by the service KVReceiver, which "
          "must be running and reach this trap store.",
          name, IsOpen() ? " yet" : Translated("; the test was withdrawn"));
    case TrialState::UnderWay:
      return Phrase("Testing \"{}\": the receiver on {} is carrying it out{} ...", name, on, result);
    case TrialState::Done:
      return Phrase("The receiver on {} has carried out \"{}\"{}", on, name, result);
    case TrialState::Failed:
      return Phrase("The receiver on {} could not carry out all of \"{}\"{}", on, name,
                    result.empty() ? Translated(": it gave no further answer") : result);
  }
  return {};
}

}  // namespace korvane::alerts
