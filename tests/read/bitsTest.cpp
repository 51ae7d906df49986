// SPDX-License-Identifier: MIT
// The bit reader.
#include "read/jpgRBits.h"

#include <gtest/gtest.h>

#include "bitStream.h"

namespace {

using namespace jpg;
using jpgtest::BitStream;

TEST(Bits, AStuffedZeroIsDropped) {
  BitStream b({0xFF, 0x00, 0x12});
  EXPECT_EQ(readBits(b.stream(), 8), 0xFFu);
  EXPECT_EQ(readBits(b.stream(), 8), 0x12u);
}

TEST(Bits, AMarkersTwoBytesStayInTheStream) {
  BitStream b({0xFF, 0xD0, 0x34});
  EXPECT_EQ(readBits(b.stream(), 16), 0xFFD0u);
  EXPECT_EQ(readBits(b.stream(), 8), 0x34u);
}

TEST(Bits, TheByteBehindAnFfIsNeverItselfTakenForOne) {
  BitStream b({0xFF, 0xFF, 0x00, 0xFF, 0x00, 0x56});
  EXPECT_EQ(readBits(b.stream(), 16), 0xFFFFu);
  EXPECT_EQ(readBits(b.stream(), 8), 0x00u);  // behind a pair, not stuffing
  EXPECT_EQ(readBits(b.stream(), 8), 0xFFu);
  EXPECT_EQ(readBits(b.stream(), 8), 0x56u);
}

TEST(Bits, RawReadsKeepEveryByte) {
  BitStream b({0xFF, 0x00, 0xFF, 0xD9});
  EXPECT_EQ(readRaw(b.stream(), 16), 0xFF00u);
  EXPECT_EQ(peekRaw(b.stream(), 16), 0xFFD9u);
  EXPECT_EQ(readRaw(b.stream(), 8), 0xFFu);
}

TEST(Bits, AnyCountFrom0To16IsRead) {
  BitStream b({0b10110011, 0b01010101, 0b11001100});
  EXPECT_EQ(readBits(b.stream(), 0), 0u);
  EXPECT_EQ(readBits(b.stream(), 3), 0b101u);
  EXPECT_EQ(peekBits(b.stream(), 16), 0b1001101010101110u);
  skipBits(b.stream(), 6);
  EXPECT_EQ(readBits(b.stream(), 7), 0b1010101u);
  alignToByte(b.stream());
  EXPECT_EQ(readBits(b.stream(), 8), 0b11001100u);
}

TEST(Bits, BehindTheEndThereAreOnes) {
  BitStream b({0x00});
  EXPECT_EQ(readBits(b.stream(), 16), 0x00FFu);
  for (int i = 0; i < 100; i++) EXPECT_EQ(readBits(b.stream(), 16), 0xFFFFu);
  EXPECT_NE(b.stream()->endState, kEndNone);
}

TEST(Bits, TheMarkerPeekLooksBehindThePartialByte) {
  for (uint32_t used = 1; used <= 8; used++) {
    BitStream b({0xAB, 0xFF, 0xD3, 0x11});
    readBits(b.stream(), used);
    EXPECT_EQ(peekMarker(b.stream()), 0xFFD3u) << used;
    skipMarker(b.stream());
    EXPECT_EQ(readBits(b.stream(), 8), 0x11u) << used;
  }
}

TEST(Bits, AStuffedFfIsNeverTheFirstByteOfAMarker) {
  for (uint32_t used = 1; used <= 8; used++) {
    BitStream b({0xAB, 0xFF, 0x00, 0xD3, 0x11});
    readBits(b.stream(), used);
    EXPECT_EQ(peekMarker(b.stream()), 0xFF00u) << used;
  }
  BitStream both({0xAB, 0xFF, 0x00, 0xFF, 0xD3});
  readBits(both.stream(), 8);
  peekBits(both.stream(), 16);  // pending already
  EXPECT_EQ(peekMarker(both.stream()), 0xFF00u);
  readBits(both.stream(), 8);
  EXPECT_EQ(peekMarker(both.stream()), 0xFFD3u);
}

TEST(Bits, FillAndTheEndOfTheDataAreNoMarkers) {
  BitStream fill({0xAB, 0xFF, 0xFF, 0xD9});
  readBits(fill.stream(), 8);
  EXPECT_EQ(peekMarker(fill.stream()), 0xFFFFu);
  EXPECT_FALSE(isMarker(0xFFFF));
  BitStream end({0xAB});
  readBits(end.stream(), 3);
  EXPECT_EQ(peekMarker(end.stream()), 0xFFFFu);
}

TEST(Bits, AlignDropsWhatIsLeftOfTheByteAndNoMore) {
  for (uint32_t used = 0; used <= 16; used++) {
    BitStream b({0x12, 0x34, 0x56});
    readBits(b.stream(), used);
    alignToByte(b.stream());
    EXPECT_EQ(readBits(b.stream(), 8), used == 0 ? 0x12u : used <= 8 ? 0x34u : 0x56u) << used;
  }
}

TEST(Bits, TellCountsFromTheStartOfTheStream) {
  BitStream b({1, 2, 3, 4});
  EXPECT_EQ(tellOffset(b.stream()), 2u);  // SOI was read before
  readRaw(b.stream(), 16);
  EXPECT_EQ(tellOffset(b.stream()), 4u);
}

TEST(Bits, RepositionForgetsBitsAndOnWishThePicture) {
  BitStream b({1, 2, 3, 4});
  JpgContext *c = b.context();
  readBits(b.stream(), 13);
  c->scanComponents[2].dcPredictor = 5;
  c->rowPosition = 6;
  c->lastMarker = 7;
  c->mcusSinceRestart = 8;
  EXPECT_EQ(reposition(c, 1, Reposition::kStreamOnly), JPG_OK);
  EXPECT_EQ(readBits(b.stream(), 8), 2u);
  EXPECT_EQ(c->scanComponents[2].dcPredictor, 5);
  EXPECT_EQ(c->rowPosition, 6u);
  EXPECT_EQ(reposition(c, 3, Reposition::kFull), JPG_OK);
  EXPECT_EQ(readBits(b.stream(), 8), 4u);
  EXPECT_EQ(c->scanComponents[2].dcPredictor, 0);
  EXPECT_EQ(c->rowPosition + c->lastMarker + c->mcusSinceRestart, 0u);
}

}  // namespace
