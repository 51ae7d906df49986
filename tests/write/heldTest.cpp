// SPDX-License-Identifier: MIT
// Pictures that are held until the epilog: with Huffman tables of their own, progressive ones, and
// lossless ones; their pixels, their segments and their order.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "libraryEncode.h"
#include "model/losslessWriter.h"
#include "segments.h"
#include "support/random.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

constexpr uint32_t kHeld[] = {JPG_WRITE_OPTIMIZE, JPG_WRITE_PROGRESSIVE,
                              JPG_WRITE_OPTIMIZE | JPG_WRITE_PROGRESSIVE};

uint32_t processOf(JPGHANDLE h) {
  uint32_t process = 0;
  EXPECT_RESULT(JPG_OK, jpgReadGetCodingProcess(h, &process));
  return process;
}

uint32_t countOf(const Bytes &stream, uint32_t marker) {
  uint32_t count = 0;
  for (const uint32_t m : markersOf(stream)) count += m == marker ? 1 : 0;
  return count;
}

// The components of all pixels, by the reader of the stream's process.
Bytes decoded(const Bytes &stream, const EncodeJob &job) {
  const Reader reader = Reader::ofMemory(stream);
  EXPECT_RESULT(JPG_OK, reader.result());
  EXPECT_RESULT(JPG_OK, jpgReadSetNoColorConversion(reader.handle()));
  Bytes out(size_t{job.width} * job.height * job.channels, 0xEE);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(job.width);
  rect.stride = static_cast<int32_t>(job.width * job.channels);
  rect.bitsPerPixel = static_cast<int32_t>(8 * job.channels);
  rect.bits = out.data();
  const auto lines = static_cast<int32_t>(job.height);
  EXPECT_RESULT(JPG_OK, processOf(reader.handle()) == JPG_PROCESS_PROGRESSIVE
                            ? jpgReadProgressiveToRect(reader.handle(), &rect, lines,
                                                       JPG_PROGRESSIVE_ALL_SCANS)
                            : jpgReadToRect(reader.handle(), &rect, lines));
  return out;
}

void expectPixelsOfThePlainStream(const EncodeJob &job) {
  SCOPED_TRACE(describe(job));
  for (const uint32_t average : {0U, JPG_WRITE_AVERAGE}) {
    const Bytes expected = decoded(encodeToMemory(job, Rows::kTopDown, average), job);
    for (const uint32_t held : kHeld) {
      const Bytes stream = encodeToMemory(job, Rows::kTopDown, held | average);
      EXPECT_TRUE(decoded(stream, job) == expected) << std::hex << (held | average);
    }
  }
}

TEST(HeldPictures, HaveThePixelsOfThePlainOnesInEveryLayout) {
  constexpr uint32_t kFactors[] = {0x11, 0x12, 0x21, 0x22};
  uint32_t seed = 1;
  for (const uint32_t y : kFactors) {
    for (const uint32_t cb : kFactors) {
      for (const uint32_t cr : kFactors) {
        EncodeJob job;
        job.width = 37;
        job.height = 35;
        job.sampling = y << 16 | cb << 8 | cr;
        job.seed = seed++;
        job.raw = seed % 2 == 0;
        job.restart = seed % 5;
        expectPixelsOfThePlainStream(job);
      }
    }
  }
}

TEST(HeldPictures, HaveThePixelsOfThePlainOnesInEverySizeAndComponentCount) {
  for (const uint32_t channels : {1U, 3U, 4U}) {
    for (const uint32_t width : {1U, 2U, 7U, 8U, 9U, 16U, 17U, 33U}) {
      for (const uint32_t height : {1U, 5U, 8U, 16U, 19U}) {
        EncodeJob job;
        job.width = width;
        job.height = height;
        job.channels = channels;
        job.seed = width + height;
        job.restart = (width + height) % 4;
        if (channels == 4) job.sampling = 0x11111111;
        expectPixelsOfThePlainStream(job);
      }
    }
  }
}

// Quality decides which script is chosen, since it decides how large the levels are.
TEST(HeldPictures, HaveThePixelsOfThePlainOnesAtEveryQuality) {
  for (uint32_t quality = 1; quality <= 100; quality += quality < 96 ? 7 : 1) {
    EncodeJob job;
    job.width = 100;
    job.height = 75;
    job.quality = quality;
    expectPixelsOfThePlainStream(job);
  }
}

constexpr uint32_t kWideSide = 1504;  // 188 x 188 blocks: 35,344

// Grey with noise in the last two rows.
Bytes noiseBehind() {
  Bytes pixels(size_t{kWideSide} * kWideSide, 90);
  for (size_t i = pixels.size() - 3000; i < pixels.size(); i++) pixels[i] = uint8_t(i * 37);
  return pixels;
}

// Noise in the first row of blocks, for which levels are best refined bit by bit; six rows of
// blocks with a single level each, which has corrections alone; then grey.
Bytes noiseAhead() {
  Bytes pixels(size_t{kWideSide} * kWideSide, 90);
  Random r(3);
  for (size_t i = 0; i < size_t{56} * kWideSide; i++) {
    const double wave = 60 * std::cos((2 * static_cast<double>(i % 8) + 1) * std::acos(-1) / 16);
    pixels[i] = i < size_t{8} * kWideSide ? uint8_t(70 + r.below(41)) : uint8_t(90 + wave);
  }
  return pixels;
}

Bytes encodeGrey(const Bytes &pixels, int32_t quality, uint32_t restart, uint32_t flags) {
  JPGHANDLE h = nullptr;
  JpgRect rect = {};
  rect.width = rect.height = rect.stride = kWideSide;
  rect.channels = 1;
  rect.bitsPerSample = 8;
  rect.bits = const_cast<uint8_t *>(pixels.data());
  EXPECT_RESULT(JPG_OK, jpgWritePrologToMemory(flags, &h));
  EXPECT_RESULT(JPG_OK, jpgWriteSetQuantizationFactor(h, quality));
  EXPECT_RESULT(JPG_OK, jpgWriteSetRestartInterval(h, static_cast<int32_t>(restart)));
  EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &rect, kWideSide));
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  return take(data, size);
}

// End-of-band runs of more than 32767 blocks, and more correction bits than are kept for one run.
TEST(HeldPictures, OfManyEmptyBlocksHaveThePixelsOfThePlainOnes) {
  EncodeJob job;
  job.width = job.height = kWideSide;
  job.channels = 1;
  for (const int32_t quality : {100, 95}) {
    const Bytes pixels = quality == 100 ? noiseBehind() : noiseAhead();
    for (const uint32_t restart : {0U, 33000U}) {
      const Bytes expected = decoded(encodeGrey(pixels, quality, restart, 0), job);
      for (const uint32_t flags : {JPG_WRITE_OPTIMIZE, JPG_WRITE_PROGRESSIVE}) {
        const Bytes stream = encodeGrey(pixels, quality, restart, flags);
        EXPECT_TRUE(decoded(stream, job) == expected) << quality << " " << std::hex << flags;
        // Of DC, of the bands, and refinements.
        if (quality == 95 && flags == JPG_WRITE_PROGRESSIVE) {
          EXPECT_GE(countOf(stream, 0xFFDA), 4U);
        }
      }
    }
  }
}

// Every block has the twelve lowest frequencies, none has others: in a band up to 12 no block needs
// an end, and the ends of the band behind it are a few runs.
TEST(ProgressiveStreams, HaveABandOfItsOwnForWhatMostBlocksLack) {
  constexpr uint8_t kPlaces[12][2] = {{0, 1}, {1, 0}, {2, 0}, {1, 1}, {0, 2}, {0, 3},
                                      {1, 2}, {2, 1}, {3, 0}, {4, 0}, {3, 1}, {2, 2}};
  const auto wave = [](uint32_t i, uint32_t u) {
    return u == 0 ? std::sqrt(0.5) : std::cos((2 * i + 1) * u * std::acos(-1) / 16);
  };
  Bytes pixels(size_t{kWideSide} * kWideSide);
  for (uint32_t i = 0; i < pixels.size(); i++) {
    double sample = 128;
    for (const auto &place : kPlaces) {
      sample += 6 * wave(i / kWideSide % 8, place[0]) * wave(i % 8, place[1]);
    }
    pixels[i] = static_cast<uint8_t>(std::lround(sample));
  }
  uint32_t apart = 0;
  for (const Segment &s : segmentsOf(encodeGrey(pixels, 50, 0, JPG_WRITE_PROGRESSIVE))) {
    if (s.marker == 0xFFDA && s.data[3] == 13 && s.data[4] == 63) apart++;
  }
  EXPECT_EQ(apart, 1U);
}

TEST(HeldPictures, AreTheSameInBandsAsInOneCall) {
  EncodeJob job;
  job.width = 50;
  job.height = 70;
  for (const uint32_t held : kHeld) {
    EncodeJob bands = job;
    bands.bands = {16, 32, 16, 6};
    // The averages don't depend on the MCU coded before.
    const uint32_t flags = held | JPG_WRITE_AVERAGE;
    EXPECT_TRUE(encodeToMemory(bands, Rows::kTopDown, flags) ==
                encodeToMemory(job, Rows::kTopDown, flags));
    EXPECT_TRUE(encodeToMemory(job, Rows::kBottomUp, flags) ==
                encodeToMemory(job, Rows::kTopDown, flags));
  }
}

// ---- Segments ---------------------------------------------------------------

EncodeJob jobOf(uint32_t channels) {
  EncodeJob job;
  job.width = 60;
  job.height = 44;
  job.channels = channels;
  if (channels == 4) job.sampling = 0x11111111;
  return job;
}

TEST(OptimizedStreams, HaveTheSegmentsOfThePlainOnes) {
  for (const uint32_t channels : {3U, 4U}) {
    EncodeJob job = jobOf(channels);
    job.restart = 3;
    EXPECT_EQ(markersOf(encodeToMemory(job, Rows::kTopDown, JPG_WRITE_OPTIMIZE)),
              markersOf(encodeToMemory(job)));
  }
}

TEST(OptimizedStreams, OfOneComponentCarryNoTablesOfChroma) {
  const std::vector<uint32_t> kMarkers = {0xFFD8, 0xFFDB, 0xFFC4, 0xFFC4, 0xFFC0, 0xFFDA, 0xFFD9};
  const Bytes stream = encodeToMemory(jobOf(1), Rows::kTopDown, JPG_WRITE_OPTIMIZE);
  EXPECT_EQ(markersOf(stream), kMarkers);
  EXPECT_EQ(segmentsOf(stream)[1].data.size(), 65U);
  const Bytes progressive = encodeToMemory(jobOf(1), Rows::kTopDown, JPG_WRITE_PROGRESSIVE);
  EXPECT_EQ(segmentsOf(progressive)[1].data.size(), 65U);
}

// The sum of 2^-length over the codes stays below 1 by that of a code of the longest length: the
// code of ones alone is free.
TEST(HeldStreams, LeaveTheCodeOfOnesAloneFreeInEveryTable) {
  for (const uint32_t held : kHeld) {
    for (const uint32_t channels : {1U, 3U, 4U}) {
      for (const uint32_t quality : {5U, 60U, 100U}) {
        EncodeJob job = jobOf(channels);
        job.quality = quality;
        for (const Segment &s : segmentsOf(encodeToMemory(job, Rows::kTopDown, held))) {
          if (s.marker != 0xFFC4) continue;
          uint32_t sum = 0, longest = 0, codes = 0;
          for (uint32_t length = 1; length <= 16; length++) {
            codes += s.data[length];
            sum += uint32_t{s.data[length]} << (16 - length);
            if (s.data[length] != 0) longest = length;
          }
          EXPECT_LE(sum, 65536U - (1U << (16 - longest)));
          EXPECT_EQ(s.data.size(), 17 + codes);
        }
      }
    }
  }
}

TEST(OptimizedStreams, AreSmallerThanThePlainOnes) {
  for (const uint32_t channels : {1U, 3U, 4U}) {
    const Bytes optimal = encodeToMemory(jobOf(channels), Rows::kTopDown, JPG_WRITE_OPTIMIZE);
    EXPECT_LT(optimal.size(), encodeToMemory(jobOf(channels)).size());
  }
}

// A grey picture of one block by hand. Its pixels are 128: all levels are 0. DC has the category 0,
// AC the end of the block; each table has one symbol, with the code 0.
TEST(OptimizedStreams, OfAFlatBlockHaveTablesOfOneCode) {
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(JPG_WRITE_OPTIMIZE, &h));
  Bytes pixels(64, 128);
  JpgRect rect = {};
  rect.width = rect.height = rect.stride = 8;
  rect.channels = 1;
  rect.bitsPerSample = 8;
  rect.bits = pixels.data();
  EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &rect, 8));
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  const std::vector<Segment> s = segmentsOf(take(data, size));
  Bytes table(18, 0);
  table[1] = 1;  // one code of one bit, for the symbol 0
  ASSERT_EQ(s.size(), 7U);
  EXPECT_EQ(s[2].data, table);
  table[0] = 0x10;
  EXPECT_EQ(s[3].data, table);
  EXPECT_EQ(s[4].data, (Bytes{8, 0, 8, 0, 8, 1, 1, 0x11, 0}));
  EXPECT_EQ(s[5].data, (Bytes{1, 1, 0, 0, 63, 0}));
  EXPECT_EQ(s[5].coded, (Bytes{0x3F}));  // 0, 0, and ones to the end of the byte
}

// The same progressively: one scan of DC, one of all AC, which has a run of one end of band.
TEST(ProgressiveStreams, OfAFlatBlockHaveTwoScans) {
  JPGHANDLE h = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(JPG_WRITE_PROGRESSIVE, &h));
  Bytes pixels(64, 128);
  JpgRect rect = {};
  rect.width = rect.height = rect.stride = 8;
  rect.channels = 1;
  rect.bitsPerSample = 8;
  rect.bits = pixels.data();
  EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &rect, 8));
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  const Bytes stream = take(data, size);
  const std::vector<uint32_t> kMarkers = {0xFFD8, 0xFFDB, 0xFFC2, 0xFFC4,
                                          0xFFDA, 0xFFC4, 0xFFDA, 0xFFD9};
  ASSERT_EQ(markersOf(stream), kMarkers);
  const std::vector<Segment> s = segmentsOf(stream);
  EXPECT_EQ(s[4].data, (Bytes{1, 1, 0, 0, 0, 0}));
  EXPECT_EQ(s[4].coded, (Bytes{0x7F}));
  EXPECT_EQ(s[6].data, (Bytes{1, 1, 0, 1, 63, 0}));
  EXPECT_EQ(s[6].coded, (Bytes{0x7F}));
}

TEST(ProgressiveStreams, CodeEveryBitOfEveryLevelOnce) {
  for (const uint32_t quality : {20U, 75U, 98U}) {
    EncodeJob job = jobOf(3);
    job.quality = quality;
    // Bits still to come, by component and position; -1: nothing has come.
    std::vector<std::vector<int>> left(4, std::vector<int>(64, -1));
    for (const Segment &s :
         segmentsOf(encodeToMemory(job, Rows::kTopDown, JPG_WRITE_PROGRESSIVE))) {
      if (s.marker != 0xFFDA) continue;
      const uint32_t components = s.data[0];
      const uint8_t *rest = s.data.data() + 1 + 2 * size_t{components};
      const int high = rest[2] >> 4, low = rest[2] & 15;
      EXPECT_TRUE(rest[0] == 0 ? rest[1] == 0 : components == 1);
      for (uint32_t i = 0; i < components; i++) {
        for (uint32_t k = rest[0]; k <= rest[1]; k++) {
          int &bits = left[s.data[1 + 2 * size_t{i}]][k];
          EXPECT_EQ(bits, high == 0 ? -1 : high) << "position " << k;
          EXPECT_TRUE(high == 0 || high == low + 1);
          bits = low;
        }
      }
    }
    for (uint32_t i = 1; i <= 3; i++) EXPECT_EQ(left[i], std::vector<int>(64, 0));
  }
}

// 24 x 16 pixels at 4:2:0: 2 MCUs of all components, 6 blocks of Y, 2 of each chroma component.
TEST(HeldStreams, HaveRestartMarkersInEveryScanButNoneBehindItsLastMcu) {
  EncodeJob job;
  job.width = 24;
  job.height = 16;
  for (const uint32_t held : kHeld) {
    for (const uint32_t interval : {1U, 2U, 3U}) {
      job.restart = interval;
      for (const Segment &s : segmentsOf(encodeToMemory(job, Rows::kTopDown, held))) {
        if (s.marker == 0xFFDD) {
          EXPECT_EQ(s.data, (Bytes{0, uint8_t(interval)}));
        }
        if (s.marker != 0xFFDA) continue;
        const uint32_t mcus = s.data[0] == 3 ? 2 : s.data[1] == 1 ? 6 : 2;
        std::vector<uint32_t> expected;
        for (uint32_t i = 0; i < (mcus - 1) / interval; i++) expected.push_back(i % 8);
        EXPECT_EQ(restartsIn(s.coded), expected);
      }
    }
  }
}

TEST(ProgressiveStreams, OfMcusOfManyBlocksHaveNoInterleavedScans) {
  EncodeJob job = jobOf(3);
  job.sampling = 0x00222222;  // twelve blocks; an interleaved scan may have ten
  const Bytes stream = encodeToMemory(job, Rows::kTopDown, JPG_WRITE_PROGRESSIVE);
  for (const Segment &s : segmentsOf(stream)) {
    if (s.marker == 0xFFDA) {
      EXPECT_EQ(s.data[0], 1);
    }
  }
  expectPixelsOfThePlainStream(job);
}

// ---- Order ------------------------------------------------------------------

struct Picture {
  Bytes pixels = Bytes(size_t{32} * 48 * 3, 60);
  JpgRect rect = {};
  Picture() {
    for (size_t i = 0; i < pixels.size(); i++) pixels[i] = static_cast<uint8_t>(i * i >> 3);
    rect.width = 32;
    rect.height = 48;
    rect.channels = 3;
    rect.bitsPerSample = 8;
    rect.stride = 96;
    rect.bits = pixels.data();
  }
};

JPGHANDLE openMemory(uint32_t flags) {
  JPGHANDLE h = nullptr;
  EXPECT_RESULT(JPG_OK, jpgWritePrologToMemory(flags, &h));
  return h;
}

Bytes finish(JPGHANDLE h) {
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  return take(data, size);
}

TEST(HeldPictures, FollowAllSegmentsOfTheCaller) {
  Picture p;
  for (const uint32_t held : kHeld) {
    JPGHANDLE h = openMemory(held);
    EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFE1, "one", 3));
    EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &p.rect, 16));
    EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFE2, "two", 3));
    EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &p.rect, 32));
    EXPECT_RESULT(JPG_OK, jpgWriteWriteMarkerSegment(h, 0xFFFE, "three", 5));
    const std::vector<uint32_t> markers = markersOf(finish(h));
    const std::vector<uint32_t> kFirst = {0xFFD8, 0xFFE1, 0xFFE2, 0xFFFE, 0xFFDB};
    EXPECT_EQ(std::vector<uint32_t>(markers.begin(), markers.begin() + 5), kFirst);
    EXPECT_EQ(markers.back(), 0xFFD9U);
  }
}

TEST(HeldPictures, GiveNoPieces) {
  Picture p;
  for (const uint32_t held : kHeld) {
    JPGHANDLE h = openMemory(held | JPG_WRITE_PARTIAL_BITSTREAM);
    void *data = &p;
    uint32_t size = 7;
    EXPECT_RESULT(JPG_E_INVALID_FUNCTION, jpgWriteGetPartialBitstream(h, &data, &size));
    EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &p.rect, 48));
    EXPECT_RESULT(JPG_E_INVALID_FUNCTION, jpgWriteGetPartialBitstream(h, &data, &size));
    EXPECT_EQ(data, &p);
    EXPECT_EQ(size, 7U);
    EXPECT_EQ(segmentsOf(finish(h)).back().marker, 0xFFD9U);
  }
  JPGHANDLE h = openMemory(JPG_WRITE_AVERAGE | JPG_WRITE_PARTIAL_BITSTREAM);
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &p.rect, 16));
  EXPECT_RESULT(JPG_OK, jpgWriteGetPartialBitstream(h, &data, &size));
  EXPECT_EQ(take(data, size).empty(), false);
  finish(h);
}

TEST(HeldPictures, AreNotAffectedBySettingsBehindTheFirstCall) {
  Picture p;
  for (const uint32_t held : kHeld) {
    for (const bool lossless : {false, true}) {
      Bytes streams[2];
      for (const bool disturbed : {false, true}) {
        JPGHANDLE h = openMemory(held);
        EXPECT_RESULT(JPG_OK, jpgWriteSetRestartInterval(h, lossless ? 64 : 5));
        const auto encode = lossless ? jpgWriteSpatialFromRect : jpgWriteFromRect;
        EXPECT_RESULT(JPG_OK, encode(h, &p.rect, 16));
        if (disturbed) {
          jpgWriteSetRestartInterval(h, 1);
          jpgWriteSetNoColorConversion(h);
          jpgWriteSetImageSize(h, 7, 9);
          jpgWriteSetNumberOfComponents(h, 4);
          jpgWriteSetQuantizationFactor(h, 3);
          jpgWriteSetSpatialPredictor(h, 6);
          jpgWriteSetSubsamplingFactor(h, 0x00111111);
        }
        EXPECT_RESULT(JPG_OK, encode(h, &p.rect, 32));
        streams[disturbed ? 1 : 0] = finish(h);
      }
      EXPECT_TRUE(streams[0] == streams[1]);
    }
  }
}

uint32_t heightIn(const Bytes &stream) {
  for (const Segment &s : segmentsOf(stream)) {
    const bool frame = s.marker == 0xFFC0 || s.marker == 0xFFC2 || s.marker == 0xFFC3;
    if (frame) return s.data[1] * 256U + s.data[2];
  }
  return 0xFFFFFFFF;
}

TEST(HeldPictures, TellTheLinesThatWereEncodedAndNeedNoDnl) {
  Picture p;
  for (const uint32_t held : kHeld) {
    for (const bool lossless : {false, true}) {
      const auto encode = lossless ? jpgWriteSpatialFromRect : jpgWriteFromRect;
      const struct {
        uint32_t set, encoded, told;
      } kHeights[] = {{0, 32, 32}, {100, 32, 32}, {20, 48, 20}, {32, 32, 32}};
      for (const auto &height : kHeights) {
        JPGHANDLE h = openMemory(held);
        JpgRect rect = p.rect;
        rect.height = static_cast<int32_t>(height.set);
        EXPECT_RESULT(JPG_OK, encode(h, &rect, height.encoded));
        const Bytes stream = finish(h);
        EXPECT_EQ(heightIn(stream), height.told);
        EXPECT_EQ(countOf(stream, 0xFFDC), 0U);
        EXPECT_EQ(segmentsOf(stream).back().marker, 0xFFD9U);
        if (lossless) continue;
        EncodeJob job;
        job.width = 32;
        job.height = height.told;
        decoded(stream, job);
      }
    }
  }
}

TEST(HeldPictures, OfMoreLinesThanAFrameCanTellAreRefusedByTheEpilog) {
  for (const bool lossless : {false, true}) {
    JPGHANDLE h = openMemory(JPG_WRITE_OPTIMIZE);
    Bytes pixels(65536, 3);
    JpgRect rect = {};
    rect.width = rect.stride = rect.channels = 1;
    rect.bitsPerSample = 8;
    rect.bits = pixels.data();
    EXPECT_RESULT(JPG_OK, lossless ? jpgWriteSpatialFromRect(h, &rect, 65536)
                                   : jpgWriteFromRect(h, &rect, 65536));
    void *data = nullptr;
    uint32_t size = 0;
    EXPECT_RESULT(JPG_E_INVALID_PARAMETER, jpgWriteEpilogToMemory(h, &data, &size));
    if (data != nullptr) jpgWriteFreeBitstream(data);
  }
}

TEST(HeldPictures, ThatNeverBeganGiveTheStreamOfAPlainHandle) {
  for (const uint32_t held : kHeld) {
    EXPECT_EQ(finish(openMemory(held)), finish(openMemory(0)));
    JPGHANDLE h = openMemory(held);
    EXPECT_RESULT(JPG_OK, jpgWriteSetImageSize(h, 5, 5));
    EXPECT_EQ(finish(h), (Bytes{0xFF, 0xD8, 0xFF, 0xD9}));
  }
}

TEST(HeldPictures, OfOneProcessRefuseTheOther) {
  Picture p;
  for (const uint32_t held : kHeld) {
    JPGHANDLE h = openMemory(held);
    EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &p.rect, 16));
    EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgWriteSpatialFromRect(h, &p.rect, 16));
    EXPECT_EQ(processOf(h), (held & 0x400) != 0 ? JPG_PROCESS_PROGRESSIVE : JPG_PROCESS_BASELINE);
    finish(h);
    h = openMemory(held);
    EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &p.rect, 16));
    EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgWriteFromRect(h, &p.rect, 16));
    finish(h);
  }
}

TEST(WriteOptions, CountOnlyWithTheirMark) {
  EncodeJob job = jobOf(3);
  const Bytes plain = encodeToMemory(job);
  for (const uint32_t flags : {0x100U, 0x200U, 0x400U, 0x700U, 0x4A510700U, 0x4A500000U,
                               0xFFFFFFFFU, 0x5A500700U, 0x4A500800U, 0x4A5000FFU}) {
    EXPECT_TRUE(encodeToMemory(job, Rows::kTopDown, flags) == plain) << std::hex << flags;
  }
}

TEST(WriteOptions, GiveTheSameInFilesAsInMemory) {
  Picture p;
  const std::string name = testing::TempDir() + "jpg_held.jpg";
  for (uint32_t options = 0; options < 8; options++) {
    const uint32_t flags = 0x4A500000 | options << 8;
    JPGHANDLE h = openMemory(flags);
    EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &p.rect, 48));
    const Bytes expected = finish(h);
    ASSERT_RESULT(JPG_OK, jpgWritePrologToFile(widePath(name).c_str(), flags, &h));
    EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &p.rect, 48));
    EXPECT_RESULT(JPG_OK, jpgWriteEpilogToFile(h));
    std::FILE *file = std::fopen(name.c_str(), "rb");
    Bytes written;
    for (int c; (c = std::getc(file)) != EOF;) written.push_back(static_cast<uint8_t>(c));
    std::fclose(file);
    EXPECT_TRUE(written == expected) << options;
  }
  std::remove(name.c_str());
}

TEST(WriteOptions, HoldForBitmaps) {
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } info = {};
  info.header.biSize = sizeof(info.header);
  info.header.biWidth = 20;
  info.header.biHeight = -24;
  Bytes bits(size_t{24} * 60, 0);
  for (size_t i = 0; i < bits.size(); i++) bits[i] = static_cast<uint8_t>(i * 5);
  for (uint32_t i = 0; i < 256; i++) info.colors[i] = {uint8_t(i), uint8_t(255 - i), 9, 0};
  for (const uint16_t depth : {uint16_t{8}, uint16_t{24}}) {
    info.header.biBitCount = depth;
    std::vector<Bytes> streams;
    for (uint32_t options = 0; options < 8; options++) {
      JPGHANDLE h = openMemory(0x4A500000 | options << 8);
      EXPECT_RESULT(JPG_OK, jpgWriteSetNumberOfComponents(h, 3));
      const auto *bmi = reinterpret_cast<const BITMAPINFO *>(&info);
      EXPECT_RESULT(JPG_OK, jpgWriteFromWinDIBits(h, 16, bits.data(), bmi));
      EXPECT_RESULT(JPG_OK, jpgWriteFromWinDIBits(h, 8, bits.data() + 16 * 60, bmi));
      streams.push_back(finish(h));
    }
    EncodeJob job;
    job.width = 20;
    job.height = 24;
    for (uint32_t options = 2; options < 8; options++) {
      EXPECT_TRUE(decoded(streams[options], job) == decoded(streams[options % 2], job)) << options;
      EXPECT_LT(streams[options].size(), streams[options % 2].size());
    }
    EXPECT_FALSE(streams[0] == streams[1]);
  }
}

// ---- Lossless ---------------------------------------------------------------

Bytes encodeLossless(const SpatialJob &job, uint32_t flags) {
  Bytes data = packed(samplesOf(job), job.precision);
  JPGHANDLE h = openMemory(flags);
  EXPECT_RESULT(JPG_OK, jpgWriteSetSpatialPredictor(h, static_cast<int32_t>(job.predictor)));
  EXPECT_RESULT(JPG_OK, jpgWriteSetRestartInterval(h, static_cast<int32_t>(job.restart)));
  std::vector<uint32_t> bands = job.bands;
  if (bands.empty()) bands.push_back(job.height);
  size_t first = 0;
  for (const uint32_t lines : bands) {
    const JpgRect rect = rectOf(job, data.data() + first * rowBytes(job));
    EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, lines));
    first += lines;
  }
  return finish(h);
}

Bytes decodeLossless(const Bytes &stream, const SpatialJob &job) {
  Bytes out(rowBytes(job) * job.height, 0xEE);
  const Reader reader = Reader::ofMemory(stream);
  EXPECT_RESULT(JPG_OK, reader.result());
  const JpgRect rect = rectOf(job, out.data());
  const auto lines = static_cast<int32_t>(job.height);
  EXPECT_RESULT(JPG_OK, jpgReadSpatialToRect(reader.handle(), &rect, lines));
  return out;
}

TEST(HeldLosslessPictures, ComeBackBitForBit) {
  for (uint32_t precision = 2; precision <= 16; precision++) {
    for (uint32_t components = 1; components <= 4; components++) {
      for (uint32_t predictor = 1; predictor <= 7; predictor++) {
        for (const Kind kind : {Kind::kNoise, Kind::kSmooth, Kind::kExtremes}) {
          SpatialJob job;
          job.components = components;
          job.precision = precision;
          job.predictor = predictor;
          job.restart = (precision + predictor) % 3 * job.width;
          job.kind = kind;
          if ((precision + predictor) % 2 == 0) job.bands = std::vector<uint32_t>{1, 4, 6};
          const uint32_t flags = kHeld[(precision + predictor + components) % 3];
          const Bytes expected = packed(samplesOf(job), precision);
          ASSERT_TRUE(decodeLossless(encodeLossless(job, flags), job) == expected) << describe(job);
        }
      }
    }
  }
}

TEST(HeldLosslessPictures, FillSeveralPiecesOfTheStore) {
  SpatialJob job;
  job.width = 101;
  job.height = 90;
  job.components = 3;  // 27,270 differences
  job.bands = {1, 40, 49};
  const Bytes expected = packed(samplesOf(job), job.precision);
  EXPECT_TRUE(decodeLossless(encodeLossless(job, JPG_WRITE_OPTIMIZE), job) == expected);
}

TEST(HeldLosslessPictures, AreSmallerThanThePlainOnes) {
  SpatialJob job;
  job.width = 64;
  job.height = 64;
  job.kind = Kind::kSmooth;
  EXPECT_LT(encodeLossless(job, JPG_WRITE_OPTIMIZE).size(), encodeLossless(job, 0).size());
}

// Components that differ in kind get a table each, those that don't share one.
TEST(HeldLosslessPictures, HaveATableForEachComponentWhereThatPays) {
  constexpr int32_t kSide = 64;
  for (const bool alike : {false, true}) {
    Bytes pixels(size_t{kSide} * kSide * 2);
    uint32_t noise = 1;
    for (size_t i = 0; i < pixels.size(); i++) {
      noise = noise * 1103515245 + 12345;
      pixels[i] = alike || i % 2 == 0 ? uint8_t(noise >> 16) : 40;
    }
    JpgRect rect = {};
    rect.width = rect.height = kSide;
    rect.stride = 2 * kSide;
    rect.channels = 2;
    rect.bitsPerSample = 8;
    rect.bits = pixels.data();
    JPGHANDLE h = openMemory(JPG_WRITE_OPTIMIZE);
    EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, kSide));
    const Bytes stream = finish(h);
    EXPECT_EQ(countOf(stream, 0xFFC4), alike ? 1U : 2U);
    for (const Segment &s : segmentsOf(stream)) {
      if (s.marker != 0xFFDA) continue;
      EXPECT_EQ(s.data, alike ? (Bytes{2, 1, 0x00, 2, 0x00, 1, 0, 0})
                              : (Bytes{2, 1, 0x00, 2, 0x10, 1, 0, 0}));
    }
  }
}

TEST(HeldLosslessPictures, HaveRestartIntervalsThatEndWithALineAndNoOthers) {
  SpatialJob job;
  job.width = 10;
  job.height = 7;
  const struct {
    uint32_t interval;
    std::vector<uint32_t> restarts;
  } kCases[] = {{0, {}}, {20, {0, 1, 2}}, {70, {}}, {10, {0, 1, 2, 3, 4, 5}}, {15, {}}, {7, {}}};
  for (const auto &c : kCases) {
    job.restart = c.interval;
    const Bytes stream = encodeLossless(job, JPG_WRITE_OPTIMIZE);
    const bool whole = c.interval != 0 && c.interval % 10 == 0;
    EXPECT_EQ(countOf(stream, 0xFFDD), whole ? 1U : 0U);
    for (const Segment &s : segmentsOf(stream)) {
      if (s.marker == 0xFFDA) {
        EXPECT_EQ(restartsIn(s.coded), c.restarts);
      }
    }
    EXPECT_TRUE(decodeLossless(stream, job) == packed(samplesOf(job), job.precision));
  }
}

// A line of one pixel, 0 of 16 bits: the difference to 32768 is -32768, which counts as 32768: the
// category 16. Its code is 0; sixteen bits follow, 1000000000000000.
TEST(HeldLosslessPictures, CodeTheLargestDifferenceInSixteenBits) {
  uint16_t pixel = 0;
  JpgRect rect = {};
  rect.width = rect.height = rect.channels = 1;
  rect.bitsPerSample = 16;
  rect.stride = 2;
  rect.bits = &pixel;
  JPGHANDLE h = openMemory(JPG_WRITE_OPTIMIZE);
  EXPECT_RESULT(JPG_OK, jpgWriteSpatialFromRect(h, &rect, 1));
  const std::vector<Segment> s = segmentsOf(finish(h));
  ASSERT_EQ(s.size(), 5U);
  Bytes table(18, 0);
  table[1] = 1;
  table[17] = 16;
  EXPECT_EQ(s[1].data, table);
  EXPECT_EQ(s[3].coded, (Bytes{0x40, 0x00, 0x7F}));
}

}  // namespace
