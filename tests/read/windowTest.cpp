// SPDX-License-Identifier: MIT
// The bit window by itself: opening, filling and closing.
#include "read/jpgRFastBits.h"

#include <gtest/gtest.h>

#include "bitStream.h"
#include "twinStreams.h"

namespace {

using namespace jpg;
using jpgtest::BitStream;
using jpgtest::Random;
using jpgtest::TwinStreams;

// Some bytes and room for the window's reach behind them.
std::vector<uint8_t> withRoom(const std::vector<uint8_t> &bytes) {
  std::vector<uint8_t> data = bytes;
  data.resize(bytes.size() + kWindowReach + 8, 0x55);
  return data;
}

// Takes n bits as the block decoders do: they look at them first.
uint32_t take(BitWindow *w, uint32_t n) {
  noteReach(w, placeOf(*w) + n);
  const uint32_t bits = windowBits(*w, n);
  dropWindowBits(w, n);
  return bits;
}

TEST(BitWindow, DropsStuffedZerosAndGivesThemBack) {
  BitStream b(withRoom({0x12, 0xFF, 0x00, 0x34, 0xFF, 0x00, 0x56}));
  EXPECT_EQ(readBits(b.stream(), 4), 1U);  // fills the buffer, too
  BitWindow w;
  initWindow(&w);
  ASSERT_TRUE(openWindow(&w, b.stream()));
  ASSERT_TRUE(ensureBits(&w, 16));
  EXPECT_EQ(take(&w, 4), 2U);
  EXPECT_EQ(take(&w, 8), 0xFFU);
  EXPECT_EQ(take(&w, 4), 3U);
  closeWindow(&w, b.stream());
  EXPECT_FALSE(isOpen(w));
  EXPECT_EQ(b.stream()->bufIndex, 4U);  // behind 34: no byte more than was asked for
  EXPECT_EQ(b.stream()->bitCount, 4U);
  EXPECT_EQ(b.stream()->bitBuffer, 0x40000000U);
  EXPECT_EQ(readBits(b.stream(), 12), 0x4FFU);
  EXPECT_EQ(b.stream()->bufIndex, 6U);
}

TEST(BitWindow, RemembersThatAPendingFFWasStuffed) {
  BitStream b(withRoom({0x12, 0xFF, 0x00, 0xD9}));
  readBits(b.stream(), 4);
  BitWindow w;
  initWindow(&w);
  ASSERT_TRUE(openWindow(&w, b.stream()));
  ASSERT_TRUE(ensureBits(&w, 16));
  noteReach(&w, placeOf(w) + 12);  // as far as FF
  EXPECT_EQ(take(&w, 4), 2U);
  closeWindow(&w, b.stream());
  EXPECT_EQ(b.stream()->bitCount, 8U);
  EXPECT_EQ(peekMarker(b.stream()), kStuffedByte);  // not EOI
}

// FF FF stands as it is in the data, so the zero behind it isn't a stuffed one.
TEST(BitWindow, TakesAZeroBehindAMarkerForData) {
  BitStream b(withRoom({0xFF, 0xFF, 0x00, 0x12}));
  EXPECT_EQ(readBits(b.stream(), 16), 0xFFFFU);
  BitWindow w;
  initWindow(&w);
  ASSERT_TRUE(openWindow(&w, b.stream()));
  ASSERT_TRUE(ensureBits(&w, 16));
  EXPECT_EQ(take(&w, 4), 0U);
  closeWindow(&w, b.stream());
  EXPECT_EQ(b.stream()->bufIndex, 3U);
  EXPECT_EQ(readBits(b.stream(), 12), 0x012U);
  // And when nothing was taken.
  BitStream c(withRoom({0xFF, 0xFF, 0x00, 0x12}));
  readBits(c.stream(), 16);
  ASSERT_TRUE(openWindow(&w, c.stream()));
  ASSERT_TRUE(ensureBits(&w, 16));
  closeWindow(&w, c.stream());
  EXPECT_EQ(c.stream()->bufIndex, 2U);
  EXPECT_EQ(c.stream()->bitCount, 0U);
}

TEST(BitWindow, StaysClosedNearTheEndOfTheBuffer) {
  for (uint32_t left = 0; left < kWindowReach + 3; left++) {
    BitStream b(std::vector<uint8_t>(1 + left, 0x55));
    readBits(b.stream(), 8);
    BitWindow w;
    initWindow(&w);
    EXPECT_EQ(openWindow(&w, b.stream()), left >= kWindowReach) << left;
  }
}

TEST(BitWindow, StopsAheadOfAMarkerWhereverItIs) {
  for (uint32_t at = 1; at < 12; at++) {
    std::vector<uint8_t> data(size_t{at} + 2 + 3 * kWindowReach, 0x55);
    data[at] = 0xFF;
    data[at + 1] = 0xD9;
    BitStream b(data);
    readBits(b.stream(), 8);
    BitWindow w;
    initWindow(&w);
    ASSERT_TRUE(openWindow(&w, b.stream()));
    uint32_t taken = 0;
    for (; ensureBits(&w, 8) || w.count >= 8; taken++) EXPECT_EQ(take(&w, 8), 0x55U);
    EXPECT_EQ(taken, at - 1);
    closeWindow(&w, b.stream());
    EXPECT_EQ(b.stream()->bufIndex, at);
    EXPECT_EQ(peekMarker(b.stream()), 0xFFD9U);
  }
}

// Bits of random lengths, at times looked at and not taken, against the bit reader.
TEST(BitWindow, ReadsWhatTheBitReaderReads) {
  Random r(1);
  uint32_t throughTheWindow = 0;
  for (uint32_t stream = 0; stream < 3000; stream++) {
    std::vector<uint8_t> data(20 + r.below(200));
    const uint32_t ffs = r.below(3) * 40;
    for (uint8_t &byte : data) {
      const uint32_t any = r.below(256);
      byte = static_cast<uint8_t>(r.below(256) < ffs ? (any & 1) != 0 ? 0xFF : 0 : any);
    }
    TwinStreams twins(&r, data);
    JpgStream *s = &twins.wide()->stream, *plain = &twins.plain()->stream;
    BitWindow *w = twins.window();
    for (uint32_t i = 0; i < 100; i++) {
      const uint32_t n = r.below(17), looked = n + r.below(17 - n);
      const bool there = (isOpen(*w) || openWindow(w, s)) && ensureBits(w, 16);
      if (!there) twins.close();
      peekBits(plain, looked);
      const uint32_t expected = readBits(plain, n);
      uint32_t bits = 0;
      if (there) {
        noteReach(w, placeOf(*w) + looked);
        bits = take(w, n);
        throughTheWindow++;
      } else {
        peekBits(s, looked);
        bits = readBits(s, n);
      }
      ASSERT_EQ(bits, expected) << "stream " << stream << ", read " << i;
      ASSERT_TRUE(twins.areAlike()) << "stream " << stream << ", read " << i;
      twins.interrupt(&r);
    }
  }
  EXPECT_GT(throughTheWindow, 50000U);
}

// It looks at a whole word and at the byte behind it.
TEST(BitWindow, AFillBesideAnFFTakesWhatIsSurelyThere) {
  constexpr uint32_t kWord = sizeof(WindowWord);
  const std::vector<uint8_t> plain(kWord + 1, 0x55);
  BitWindow w = {};
  for (uint32_t size = 0; size <= kWord; size++) {
    w.next = w.begin = plain.data();
    w.end = plain.data() + size;
    EXPECT_FALSE(fillBesideFF(&w)) << size;
    EXPECT_EQ(w.next, plain.data()) << size;
    EXPECT_EQ(w.count, 0U) << size;
  }
  w.end = plain.data() + kWord + 1;
  EXPECT_TRUE(fillBesideFF(&w));
  EXPECT_GE(w.count, kEnoughBits);
  // Behind an FF and its zero there is a word, but nothing behind that.
  std::vector<uint8_t> data(2 + kWord, 0x55);
  data[0] = 0xFF;
  data[1] = 0;
  w = {};
  w.next = w.begin = data.data();
  w.end = data.data() + data.size();
  EXPECT_FALSE(fillBesideFF(&w));
  EXPECT_EQ(w.next, data.data() + 2);
  EXPECT_EQ(w.count, 8U);
  EXPECT_EQ(windowBits(w, 8), 0xFFU);
}

}  // namespace
