// SPDX-License-Identifier: MIT
#include "share/jpgAssert.h"

#include <gtest/gtest.h>

namespace {

#ifdef JPG_ASSERTIONS

TEST(Assertions, EndTheProcessWhereTheyDontHold) {
  JPG_ASSERT(1 + 1 == 2);
  EXPECT_DEATH(JPG_ASSERT(1 + 1 == 3), "");
}

#else

TEST(Assertions, ArentEvenEvaluatedInARelease) {
  int evaluated = 0;
  const auto count = [&evaluated] { return ++evaluated; };
  JPG_ASSERT(count() == 0);
  EXPECT_EQ(evaluated, 0);
  EXPECT_EQ(count(), 1);
}

#endif

}  // namespace
