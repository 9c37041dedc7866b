// Base of the tests that run on every engine, each on a fresh store.  A missing engine is a failure.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/TestStore.h"

namespace korvane::store {

class EngineTest : public testing::TestWithParam<Engine> {
 protected:
  EngineTest() : Made(test::MakeStore(GetParam())), Db(Made->Db()) {}

  std::unique_ptr<test::TestStore> Made;
  Connection& Db;
};

inline std::string EngineOf(const testing::TestParamInfo<Engine>& info) {
  return test::EngineName(info.param);
}

#define KORVANE_ON_EVERY_ENGINE(suite) \
  INSTANTIATE_TEST_SUITE_P(, suite, testing::ValuesIn(test::kEngines), EngineOf)

}  // namespace korvane::store
