#include "common/Prompts.h"

namespace korvane {

std::string SupportContact() {
  return KORVANE_SUPPORT_CONTACT;
}

std::string SupportSentence() {
  return "If the problem persists, please contact support at " + SupportContact();
}

}  // namespace korvane
