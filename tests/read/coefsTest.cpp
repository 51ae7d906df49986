// SPDX-License-Identifier: MIT
// The pieces of a progressive picture's store.
#include "read/jpgRCoefs.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace jpg;

// Bytes of the first piece of `rows` rows of `across` MCUs of `blocks` blocks, 128 bytes each.
uint64_t firstPiece(uint32_t across, uint32_t blocks, uint32_t rows) {
  const auto c = std::make_unique<JpgContext>();
  c->mcusPerRow = across;
  c->blocksPerMcu = blocks;
  c->mcuRows = rows;
  return firstPieceBytes(*c);
}

constexpr uint64_t kMiB = 1 << 20;

TEST(StorePieces, AreWholeRowsOfUpTo30MiB) {
  EXPECT_EQ(firstPiece(8192, 1, 30), 30 * kMiB);  // rows of a MiB
  EXPECT_EQ(firstPiece(8192, 1, 31), 30 * kMiB);
  EXPECT_EQ(firstPiece(8192, 1, 5), 5 * kMiB);
  EXPECT_EQ(firstPiece(8191, 1, 100), uint64_t{8191} * 128 * 30);
  EXPECT_EQ(firstPiece(8192, 16, 2), 16 * kMiB);
}

TEST(StorePieces, AreRowsThatAreLargerByThemselves) {
  EXPECT_EQ(firstPiece(8192, 30, 3), 30 * kMiB);
  EXPECT_EQ(firstPiece(8192, 31, 3), 31 * kMiB);
  EXPECT_EQ(firstPiece(8192, 64, 2), 64 * kMiB);
}

// The heap is asked for it, and refuses.
TEST(StorePieces, AreOneWhereTheHeapHasNoBlocksOfThatSize) {
  EXPECT_EQ(firstPiece(8192, 1, 2047), 30 * kMiB);
  EXPECT_EQ(firstPiece(8192, 1, 2048), 2048 * kMiB);
}

}  // namespace
