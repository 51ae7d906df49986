// SPDX-License-Identifier: MIT
// The store of a picture that is held.
#include "write/jpgWStore.h"

#include <gtest/gtest.h>

#include "faulty.h"

namespace {

using namespace jpg;

class Store : public testing::Test {
 protected:
  void SetUp() override { faulty::reset(); }
  void TearDown() override {
    releaseStore(&store_);
    EXPECT_EQ(faulty::liveBlocks(), 0u);
  }
  ValueStore store_ = {};
};

// 8192 values a piece.
TEST_F(Store, HasAPieceForEvery16384BytesBegun) {
  const struct {
    uint64_t values;
    uint32_t pieces;
  } kCases[] = {{1, 1}, {8191, 1}, {8192, 1}, {8193, 2}, {16384, 2}, {81920, 10}, {81921, 11}};
  for (const auto &k : kCases) {
    ASSERT_EQ(reserveValues(&store_, k.values), JPG_OK);
    EXPECT_EQ(store_.count, k.pieces) << k.values;
  }
}

TEST_F(Store, HasRoomForMoreBehindWhatItHolds) {
  store_.used = 8000;
  ASSERT_EQ(reserveValues(&store_, 192), JPG_OK);
  EXPECT_EQ(store_.count, 1u);
  ASSERT_EQ(reserveValues(&store_, 193), JPG_OK);
  EXPECT_EQ(store_.count, 2u);
}

}  // namespace
