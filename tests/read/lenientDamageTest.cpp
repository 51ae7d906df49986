// SPDX-License-Identifier: MIT
// Lenient reading of damaged data: what is stored, what is guessed, and what the call tells.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "read/lenient.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/reader.h"

namespace jpgtest {
namespace {

// Flat blocks of 4:4:4, so that a block's colour is its last DC values: 6 x 5 MCUs, a restart
// interval of 4.
struct Flat {
  Picture picture = makePicture(48, 40, {0x11, 0x11, 0x11}, Fill::kDcOnly, 31);
  Bytes pixels, headers;
  std::vector<Bytes> intervals;

  explicit Flat(uint16_t interval) {
    picture.restartInterval = interval;
    pixels = show(encode(picture), 3, 0).pixels;
    headers = headersOf(picture).bytes();
    intervals = intervalsOf(picture);
  }

  // The stream with a change of one interval's data; `marker`: its RST stays.
  Bytes with(size_t changed, const Bytes &data, bool marker = true) const {
    StreamBuilder s;
    s.raw(headers);
    for (size_t i = 0; i < intervals.size(); i++) {
      s.raw(i == changed ? data : intervals[i]);
      if (i + 1 < intervals.size() && (i != changed || marker)) s.rst(static_cast<unsigned>(i));
    }
    return s.eoi().bytes();
  }

  // The pixels with MCUs [from, to) filled like MCU `like`, or grey.
  static constexpr size_t kAcross = 6, kRow = 48 * 3;
  Bytes filled(size_t from, size_t to, int like) const {
    Bytes out = pixels;
    for (size_t mcu = from; mcu < to; mcu++) {
      for (size_t y = 0; y < 8; y++) {
        for (size_t x = 0; x < 24; x++) {
          const auto source = static_cast<size_t>(like);
          const size_t at = (source / kAcross * 8 + y) * kRow + source % kAcross * 24 + x;
          out[(mcu / kAcross * 8 + y) * kRow + mcu % kAcross * 24 + x] =
              like < 0 ? 128 : pixels[at];
        }
      }
    }
    return out;
  }
};

void expectDamaged(const Bytes &expected, const Bytes &stream) {
  const Shown shown = show(stream, 3);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  EXPECT_EQ(expected == shown.pixels, true);
}

TEST(LenientDamage, AnIntervalThatIsEmptyIsFilledWithTheLastColour) {
  const Flat flat(4);
  for (size_t i = 1; i + 1 < flat.intervals.size(); i++) {
    SCOPED_TRACE(i);
    expectDamaged(flat.filled(4 * i, 4 * i + 4, static_cast<int>(4 * i) - 1), flat.with(i, {}));
  }
}

TEST(LenientDamage, AtFirstTheFillIsGrey) {
  const Flat flat(4);
  expectDamaged(flat.filled(0, 4, -1), flat.with(0, {}));
}

// What comes in its place is taken for it; the number of the marker behind tells of the loss.
TEST(LenientDamage, AnIntervalThatIsLostWithItsMarkerShiftsNothingBehindTheNext) {
  const Flat flat(6);  // a row
  constexpr size_t kInterval = 8 * Flat::kRow;
  for (size_t i = 1; i + 2 < flat.intervals.size(); i++) {
    SCOPED_TRACE(i);
    const Shown shown = show(flat.with(i, {}, false), 3);
    ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
    const auto same = [&](size_t from, size_t to, size_t at) {
      const auto ours = shown.pixels.begin() + static_cast<ptrdiff_t>(at * kInterval);
      const auto begin = flat.pixels.begin() + static_cast<ptrdiff_t>(from * kInterval);
      return std::equal(begin, begin + static_cast<ptrdiff_t>((to - from) * kInterval), ours);
    };
    EXPECT_TRUE(same(0, i, 0));
    EXPECT_TRUE(same(i + 1, i + 2, i));
    EXPECT_TRUE(same(i + 2, flat.intervals.size(), i + 2));
  }
}

TEST(LenientDamage, ThreeIntervalsThatAreLostShiftNothing) {
  const Flat flat(3);
  StreamBuilder s;
  s.raw(flat.headers);
  for (size_t i = 0; i < flat.intervals.size(); i++) {
    if (i >= 2 && i < 5) continue;
    s.raw(i == 5 ? Bytes{0xFF, 0x00} + flat.intervals[i] : flat.intervals[i]);
    s.rst(static_cast<unsigned>(i));
  }
  // Interval 5 begins with a byte too many where interval 2 should be: a guess that fails, and the
  // marker behind it is RST5, three ahead of RST2.
  const Shown shown = show(s.eoi().bytes(), 3);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  const Bytes expected = flat.filled(6, 18, 5);
  const size_t below = 3 * 8 * Flat::kRow;  // MCU 18 is the first of row 3
  EXPECT_TRUE(std::equal(expected.begin() + below, expected.end(), shown.pixels.begin() + below));
}

TEST(LenientDamage, AMarkerOfAnEarlierIntervalIsIgnored) {
  const Flat flat(4);
  // RST7 in the middle of interval 2 would be five ahead of RST2, or three behind.
  Bytes data = flat.intervals[2];
  data.insert(data.begin(), {0xFF, 0xD7});
  expectDamaged(flat.filled(8, 12, 7), flat.with(2, data));
}

TEST(LenientDamage, ATruncatedPictureIsFilledToItsEnd) {
  const Flat flat(4);
  StreamBuilder s;
  s.raw(flat.headers);
  for (unsigned i = 0; i < 4; i++) s.raw(flat.intervals[i]).rst(i);
  expectDamaged(flat.filled(16, 30, 15), s.bytes());
  expectDamaged(flat.filled(16, 30, 15), s.eoi().bytes());
}

TEST(LenientDamage, APictureWithoutRestartIntervalsIsFilledFromTheLastWholeMcuOn) {
  const Flat flat(0);
  const Bytes whole = flat.headers + flat.intervals[0];
  for (size_t cut = 1; cut < flat.intervals[0].size(); cut += 7) {
    SCOPED_TRACE(cut);
    const Bytes stream(whole.begin(), whole.end() - static_cast<ptrdiff_t>(cut));
    const Shown shown = show(stream, 3);
    // The bits that fill the last byte up may be all that is missing.
    EXPECT_EQ(cut == 1 || shown.result == JPG_E_DAMAGED, true);
    size_t good = 0;
    while (good < 30 && shown.pixels != flat.filled(good, 30, static_cast<int>(good) - 1)) good++;
    EXPECT_LT(good, 30U);
  }
}

TEST(LenientDamage, WithoutEvenAByteOfDataThePictureIsGrey) {
  const Flat flat(0);
  expectDamaged(Bytes(flat.pixels.size(), 128), flat.headers);
  expectDamaged(Bytes(flat.pixels.size(), 128), flat.headers + Bytes{0xFF, 0xD9});
}

TEST(LenientDamage, DecodingGoesOnBehindACodeThatIsNone) {
  // A table with the codes 0 (end) and 10 (category 1) only: 11 is none. Blocks of a grey picture
  // have DC by the same table.
  Picture picture = grayPicture(std::vector<Block>(8, dcBlock(0)));
  const HuffTable table = {{1, 1}, {0, 1}};
  picture.dc[0] = table;
  picture.ac[0] = table;
  picture.quant[0] = flatQuant(64);  // so that a level more or less shows
  StreamBuilder s = headersOf(picture);
  // Blocks: DC 0, end: 00. The third block's DC is 11 and 15 bits more, passed over; then 0: end.
  // Then DC +1 (10 1), end (0); and four blocks 00.
  EntropyWriter data;
  data.bits(0x0, 4);
  data.bits(0x1FFFF, 17);
  data.bits(0, 1);
  data.bits(0xA, 4);
  data.bits(0, 8);
  s.raw(data.take()).eoi();
  const Shown shown = show(s.bytes(), 1);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  Picture mended = grayPicture({dcBlock(0), dcBlock(0), dcBlock(0), dcBlock(1), dcBlock(1),
                                dcBlock(1), dcBlock(1), dcBlock(1)});
  mended.quant[0] = picture.quant[0];
  EXPECT_EQ(show(encode(mended), 1, 0).pixels, shown.pixels);
}

TEST(LenientDamage, OfFourComponentsLeavesTheRowsAheadOfItWhole) {
  Picture picture = makePicture(48, 48, {0x11, 0x11, 0x11, 0x11}, Fill::kDense, 40);
  const Bytes headers = headersOf(picture).bytes(), expected = replicated(picture);
  Bytes data = scanOf(picture);
  // Codes of sixteen bits, of which most are none.
  for (size_t i = data.size() / 2; i < data.size() / 2 + 40; i++) data[i] = 0xFE;
  const Shown shown = showRaw(headers + data, 4);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  const auto whole = static_cast<ptrdiff_t>(2 * 8 * 48 * 4);
  EXPECT_TRUE(std::equal(expected.begin(), expected.begin() + whole, shown.pixels.begin()));
}

TEST(LenientDamage, AByteThatIsNoMarkersBehindFFIsAStuffedZeroThatWasDamaged) {
  Picture picture = makePicture(64, 64, {0x11}, Fill::kExtreme, 33);
  const Bytes headers = headersOf(picture).bytes();
  Bytes data = scanOf(picture);
  const auto stuffed = std::find(data.begin(), data.end(), uint8_t{0xFF});
  ASSERT_NE(data.end(), stuffed);
  stuffed[1] = 0x3B;
  const Shown shown = show(headers + data, 1);
  EXPECT_RESULT(JPG_OK, shown.result);
  EXPECT_EQ(show(encode(picture), 1, 0).pixels, shown.pixels);
}

// ---- Progressive pictures and scans of their own ----------------------------

TEST(LenientDamage, ATruncatedProgressivePictureShowsWhatItsScansGave) {
  const Picture picture = makePicture(43, 37, {0x22, 0x11, 0x11}, Fill::kSmooth, 34);
  const Script script = refiningScript(3);
  StreamBuilder s = progressiveHeaders(picture);
  for (size_t n = 0; n < script.size(); n++) {
    putScanHeader(s, picture, script[n]);
    s.raw(progressiveScan(picture, script[n]));
    SCOPED_TRACE(n);
    const Shown shown = show(s.bytes(), 3);
    ASSERT_RESULT(JPG_OK, shown.result);
    EXPECT_EQ(show(StreamBuilder(s).eoi().bytes(), 3).pixels, shown.pixels);
  }
  EXPECT_EQ(show(encode(picture), 3, 0).pixels, show(s.bytes(), 3).pixels);
}

TEST(LenientDamage, AScanThatBreaksOffKeepsWhatItGaveAndTheNextIsRead) {
  const Picture picture = makePicture(43, 37, {0x11, 0x11, 0x11}, Fill::kSmooth, 35);
  const Script script = spectralScript(3);
  StreamBuilder s = progressiveHeaders(picture);
  for (size_t n = 0; n < script.size(); n++) {
    putScanHeader(s, picture, script[n]);
    Bytes data = progressiveScan(picture, script[n]);
    if (n == 1) data.resize(data.size() / 2);  // of luminance
    s.raw(data);
  }
  const Shown whole = showRaw(encode(picture), 3, 0), shown = showRaw(s.eoi().bytes(), 3);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  for (size_t i = 0; i < whole.pixels.size(); i += 3) {  // chroma is as it should be
    ASSERT_EQ(whole.pixels[i + 1], shown.pixels[i + 1]);
    ASSERT_EQ(whole.pixels[i + 2], shown.pixels[i + 2]);
  }
  EXPECT_NE(whole.pixels, shown.pixels);
}

TEST(LenientDamage, WhatADcScanLacksIsFilledWithTheLastColour) {
  const Picture picture = grayPicture(std::vector<Block>(200, dcBlock(400)));
  const Script script = {{{0}, 0, 0, 0, 0}};
  Bytes stream = encodeProgressive(picture, script);
  const Bytes whole = show(stream, 1).pixels;
  stream.resize(stream.size() - 10);
  const Shown shown = show(stream, 1);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  EXPECT_EQ(Bytes(size_t{1600} * 8, 178), shown.pixels);
  EXPECT_EQ(whole, shown.pixels);
}

TEST(LenientDamage, RestartMarkersLimitTheDamageInProgressiveScansToo) {
  Picture picture = makePicture(48, 40, {0x11}, Fill::kDcOnly, 36);
  picture.restartInterval = 6;  // a row
  const ScanScript scan = {{0}, 0, 0, 0, 0};
  StreamBuilder s = progressiveHeaders(picture);
  putScanHeader(s, picture, scan);
  Bytes data = progressiveScan(picture, scan);
  const auto marker = [&](uint8_t n) {
    size_t at = 0;
    while (data[at] != 0xFF || data[at + 1] != kRst0 + n) at++;
    return data.begin() + static_cast<ptrdiff_t>(at);
  };
  data.erase(marker(1) + 2, marker(2));  // row 2 has no data
  const Shown whole = show(encodeProgressive(picture, {scan}), 1),
              shown = show(s.raw(data).eoi().bytes(), 1);
  ASSERT_RESULT(JPG_OK, whole.result);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  const auto rows = [](const Bytes &pixels, size_t from, size_t to) {
    return Bytes(pixels.begin() + static_cast<ptrdiff_t>(48 * from),
                 pixels.begin() + static_cast<ptrdiff_t>(48 * to));
  };
  EXPECT_EQ(rows(whole.pixels, 0, 16), rows(shown.pixels, 0, 16));
  EXPECT_EQ(Bytes(48 * 8, whole.pixels[48 * 8 + 47]), rows(shown.pixels, 16, 24));
  EXPECT_EQ(rows(whole.pixels, 24, 40), rows(shown.pixels, 24, 40));
}

TEST(LenientDamage, AComponentWithoutAScanIsNeutral) {
  const Picture picture = makePicture(20, 20, {0x11, 0x11, 0x11}, Fill::kSmooth, 37);
  const Shown shown = showRaw(encodeInScans(picture, {{0}, {2}}), 3);
  ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
  Bytes expected = replicated(picture);
  for (size_t i = 1; i < expected.size(); i += 3) expected[i] = 128;
  EXPECT_EQ(expected, shown.pixels);
}

TEST(LenientDamage, AScanThatNamesAComponentTwiceLeavesAnotherOneNeutral) {
  const Picture picture = makePicture(20, 20, {0x11, 0x11, 0x11}, Fill::kSmooth, 39);
  for (size_t left = 0; left < 3; left++) {
    Bytes stream = headersOf(picture).bytes();
    stream[stream.size() - 9 + 2 * left] = picture.components[(left + 1) % 3].id;
    const Shown shown = showRaw(stream + scanOf(picture), 3);
    ASSERT_RESULT(JPG_E_DAMAGED, shown.result);
    for (size_t i = left; i < shown.pixels.size(); i += 3) ASSERT_EQ(128, shown.pixels[i]) << left;
  }
}

TEST(LenientDamage, AScanHeaderThatMakesNoSenseEndsThePicture) {
  const Picture picture = makePicture(20, 20, {0x11, 0x11}, Fill::kSmooth, 38);
  StreamBuilder s = headersOfScans(picture, kSof0);
  for (unsigned i = 0; i < 2; i++) {
    putScanHeader(s, picture, {{i}, 0, 63, 0, 0});
    s.raw(progressiveScan(picture, {{i}, 0, 63, 0, 0}));
  }
  const Bytes good = s.bytes();
  s.sos({{9, 0}}).raw({1, 2, 3}).eoi();
  EXPECT_RESULT(JPG_OK, show(good, 1).result);
  EXPECT_RESULT(JPG_E_DAMAGED, show(s.bytes(), 1).result);
  EXPECT_EQ(show(good, 1).pixels, show(s.bytes(), 1).pixels);
}

// ---- What the call tells ----------------------------------------------------

TEST(LenientDamage, TheFirstOneIsToldWithItsOffset) {
  const Flat flat(4);
  EXPECT_EQ(0U, damageOf(flat.with(99, {})));
  size_t begin = flat.headers.size();
  for (size_t i = 0; i < 3; i++) begin += flat.intervals[i].size() + 2;
  EXPECT_EQ(begin, damageOf(flat.with(3, {})));
}

TEST(LenientDamage, IsAskedForWithoutLeavingThePlace) {
  const Flat flat(4);
  const Reader reader = Reader::ofMemory(flat.with(2, {}), JPG_READ_LENIENT);
  Canvas canvas(48, 40, 3);
  uint16_t what = 7;
  uint32_t offset = 7;
  EXPECT_RESULT(JPG_NO_DATA,
                jpgReadSeekMarkerSegment(reader.handle(), JPG_SEGMENT_DAMAGE, &what, &offset));
  EXPECT_EQ(0, what);
  EXPECT_EQ(0U, offset);
  for (int32_t row = 0; row < 40; row += 5) {
    const JpgRect rect = canvas.rect(row);
    const uint32_t r = jpgReadToRect(reader.handle(), &rect, 5);
    EXPECT_RESULT(row + 5 <= 8 ? JPG_OK : JPG_E_DAMAGED, r);
    const uint32_t told =
        jpgReadSeekMarkerSegment(reader.handle(), JPG_SEGMENT_DAMAGE, &what, &offset);
    EXPECT_RESULT(r == JPG_OK ? JPG_NO_DATA : JPG_OK, told);
  }
  EXPECT_EQ(JPG_E_END_OF_IMAGE & 0xFFFF, uint32_t{what});
  EXPECT_EQ(flat.filled(8, 12, 7) == canvas.pixels(), true);
}

TEST(LenientDamage, IsNoModeOfAHandleThatReadsByTheRules) {
  const Flat flat(4);
  const Reader reader = Reader::ofMemory(flat.with(99, {}));
  uint16_t what = 0;
  uint32_t offset = 0;
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                jpgReadSeekMarkerSegment(reader.handle(), JPG_SEGMENT_DAMAGE, &what, &offset));
}

}  // namespace
}  // namespace jpgtest
