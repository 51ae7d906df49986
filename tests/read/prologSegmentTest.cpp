// SPDX-License-Identifier: MIT
// What the prolog makes of the segments: headers, tables, getters, limits.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/twin.h"

namespace jpgtest {
namespace {

uint32_t open(const Bytes &data) {
  Twin twin(data, JPG_READ_COMPLETE);
  return twin.prologResult();
}

// A stream from parts: what stands in front of the frame header, the frame, what stands between
// it and the scan header.
struct Parts {
  Bytes before;
  uint8_t sof = kSof0;
  Bytes frame = sofData(8, 8, 8, {{1, 0x11, 0}});
  Bytes between;
  Bytes scan = sosData({{1, 0}}, 0, 63, 0);
  // DC: category 7 by 5 bits, the value 80; AC: end of block by 8 bits; a bit of padding.
  Bytes data = codedBlock(80);

  static Bytes codedBlock(int32_t dc) {
    EntropyWriter writer;
    writer.dc(dc, codesOf(fullDc()));
    writer.ac(Block{}, codesOf(fullAc()));
    return writer.take();
  }
  static Bytes tables() {
    return StreamBuilder().dqt(0, flatQuant(1)).dht(0x00, fullDc()).dht(0x10, fullAc()).bytes();
  }
  Bytes stream() const {
    StreamBuilder s;
    s.soi().raw(before).raw(tables()).segment(sof, frame).raw(between).segment(kSos, scan);
    return s.raw(data).eoi().bytes();
  }
};

// The first sample of a stream of 8 by 8 pixels; 138 is what Parts' data stand for.
uint8_t sampleOf(const Bytes &stream) {
  Twin twin(stream);
  EXPECT_RESULT(JPG_OK, twin.prologResult());
  EXPECT_RESULT(JPG_OK, twin.decode({8, 8, 1}, 8));
  return twin.canvas().row(0)[0];
}

TEST(PrologGetters, ReportTheFrameHeader) {
  const struct {
    uint8_t sof;
    uint32_t process;
  } kCases[] = {{kSof0, JPG_PROCESS_BASELINE},
                {kSof1, JPG_PROCESS_EXTENDED},
                {kSof2, JPG_PROCESS_PROGRESSIVE},
                {kSof3, JPG_PROCESS_LOSSLESS}};
  for (const auto &c : kCases) {
    Parts parts;
    parts.sof = c.sof;
    parts.frame = sofData(12, 0x1234, 0x0203, {{1, 0x11, 0}, {7, 0x11, 0}});
    parts.scan = sosData({{1, 0}, {7, 0}}, 0, 0, 0);
    const Reader reader = Reader::ofMemory(parts.stream());
    ASSERT_RESULT(JPG_OK, reader.result());
    uint32_t process = 0, width = 0, height = 0, channels = 0, precision = 0;
    EXPECT_RESULT(JPG_OK, jpgReadGetCodingProcess(reader.handle(), &process));
    EXPECT_RESULT(JPG_OK, jpgReadGetImageSize(reader.handle(), &width, &height));
    EXPECT_RESULT(JPG_OK, jpgReadGetNumberOfChannels(reader.handle(), &channels));
    EXPECT_RESULT(JPG_OK, jpgReadGetSamplePrecision(reader.handle(), &precision));
    EXPECT_EQ(c.process, process);
    EXPECT_EQ(0x0203U, width);
    EXPECT_EQ(0x1234U, height);
    EXPECT_EQ(2U, channels);
    EXPECT_EQ(12U, precision);
  }
}

TEST(PrologGetters, EveryPrecisionIsPassedOn) {
  for (int precision = 0; precision < 256; precision += 5) {
    Parts parts;
    parts.frame = sofData(static_cast<uint8_t>(precision), 8, 8, {{1, 0x11, 0}});
    EXPECT_RESULT(JPG_OK, open(parts.stream()));
  }
}

TEST(PrologGetters, TheSmallestAndTheLargestFrames) {
  for (const uint16_t width : Words{0, 1, 65535}) {
    for (const uint16_t height : Words{0, 1, 65535}) {
      Parts parts;
      parts.frame = sofData(8, height, width, {{1, 0x11, 0}});
      EXPECT_RESULT(JPG_OK, open(parts.stream())) << width << " x " << height;
    }
  }
}

TEST(PrologMarkers, FramesThatAreNotServedAreUnsupported) {
  for (const uint8_t sof : Bytes{0xC5, 0xC6, 0xC9, 0xCA, 0xCB, 0xCC, 0xCD, 0xCE, 0xCF}) {
    Parts parts;
    parts.sof = sof;
    EXPECT_RESULT(JPG_E_UNSUPPORTED, open(parts.stream())) << static_cast<int>(sof);
  }
}

TEST(PrologMarkers, AScanWithoutAFrameIsUnsupported) {
  const Bytes scan = sosData({{1, 0}}, 0, 63, 0);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, open(StreamBuilder().soi().segment(kSos, scan).eoi().bytes()));
}

TEST(PrologMarkers, ForeignSegmentsAreSkipped) {
  std::vector<uint8_t> codes = {kSof7, kJpg, kDnl, kDhp, kExp, kCom};
  for (unsigned n = 0; n < 16; ++n) codes.push_back(static_cast<uint8_t>(kApp0 + n));
  for (unsigned n = 0; n < 14; ++n) codes.push_back(static_cast<uint8_t>(kJpg0 + n));
  for (const uint8_t code : codes) {
    for (const size_t size : {0U, 1U, 2U, 13U, 64U, 5001U}) {
      // Data that would be markers and segments if they weren't skipped.
      Bytes data(size, 0xFF);
      for (size_t i = 1; i < size; i += 2) data[i] = static_cast<uint8_t>(0xC0 + i % 64);
      Parts parts;
      parts.before = parts.between = StreamBuilder().segment(code, data).bytes();
      EXPECT_EQ(138, sampleOf(parts.stream())) << static_cast<int>(code) << ' ' << size;
    }
  }
}

TEST(PrologMarkers, MarkersWithoutDataAreSkipped) {
  Parts parts;
  for (uint8_t code = kRst0; code <= kEoi; ++code) {
    append(parts.before, {0xFF, code});
    append(parts.between, {0xFF, code});
  }
  EXPECT_EQ(138, sampleOf(parts.stream()));
}

TEST(PrologMarkers, WhatIsNoMarkerIsNoJpeg) {
  const std::vector<Bytes> junk = {
      {0x00},       {0x00, 0x00},       {0xFF},
      {0xFF, 0xFF}, {0xFF, 0x00},       {0xFF, 0x01},
      {0xFF, 0xBF}, {0xFE, 0xE0, 0, 2}, {0xFF, 0x00, 0xE0, 0x00, 0x02}};
  for (const Bytes &bytes : junk) {
    Parts before;
    before.before = bytes;
    EXPECT_RESULT(JPG_E_NOT_JPEG, open(before.stream()));
    Parts between;
    between.between = bytes;
    EXPECT_RESULT(JPG_E_NOT_JPEG, open(between.stream()));
  }
}

TEST(PrologMarkers, SegmentsShorterThanTheirLengthFieldAreNoJpeg) {
  for (const uint16_t length : Words{uint16_t{0}, uint16_t{1}}) {
    Parts parts;
    parts.before = StreamBuilder().segmentOfLength(kCom, length, {}).bytes();
    EXPECT_RESULT(JPG_E_NOT_JPEG, open(parts.stream()));
  }
}

TEST(PrologFrame, ItsLengthFieldIsNotLookedAt) {
  for (const uint16_t length : Words{2, 5, 11, 200, 65535}) {
    StreamBuilder stream;
    stream.soi().raw(Parts::tables()).segmentOfLength(kSof0, length, Parts().frame);
    stream.segment(kSos, Parts().scan).raw(Parts().data).eoi();
    EXPECT_EQ(138, sampleOf(stream.bytes())) << length;
  }
}

TEST(PrologFrame, BytesBehindItsComponentsAreNoMarker) {
  Parts parts;
  append(parts.frame, {0, 0});
  EXPECT_RESULT(JPG_E_NOT_JPEG, open(parts.stream()));
}

TEST(PrologFrame, OneToFourComponents) {
  for (size_t count = 0; count <= 6; ++count) {
    Parts parts;
    std::vector<FrameComponent> components;
    for (size_t i = 0; i < count; ++i) components.push_back({static_cast<uint8_t>(i + 1), 0x11, 0});
    parts.frame = sofData(8, 8, 8, components);
    EXPECT_RESULT(count >= 1 && count <= 4 ? JPG_OK : JPG_E_UNSUPPORTED, open(parts.stream()))
        << count;
  }
}

TEST(PrologFrame, SamplingFactorsAboveTwoAreUnsupported) {
  for (const uint8_t sampling :
       Bytes{0x31, 0x13, 0x33, 0x41, 0x14, 0x44, 0x42, 0x24, 0xF1, 0x1F, 0xFF}) {
    for (size_t place = 0; place < 3; ++place) {
      Parts parts;
      std::vector<FrameComponent> components = {{1, 0x11, 0}, {2, 0x11, 0}, {3, 0x11, 0}};
      components[place].sampling = sampling;
      parts.frame = sofData(8, 8, 8, components);
      EXPECT_RESULT(JPG_E_UNSUPPORTED, open(parts.stream())) << static_cast<int>(sampling);
    }
    Parts alone;
    alone.frame = sofData(8, 8, 8, {{1, sampling, 0}});
    EXPECT_EQ(138, sampleOf(alone.stream()));
  }
}

TEST(PrologFrame, FactorsOfZeroDoNoHarm) {
  const std::vector<uint8_t> odd = {0x00, 0x01, 0x10, 0x02, 0x20};
  for (const uint8_t first : odd) {
    for (const uint8_t second : Bytes{0x00, 0x10, 0x01, 0x11, 0x22}) {
      Parts parts;
      parts.frame = sofData(8, 32, 32, {{1, first, 0}, {2, static_cast<uint8_t>(second), 0}});
      parts.scan = sosData({{1, 0}, {2, 0}}, 0, 63, 0);
      const Reader reader = Reader::ofMemory(parts.stream());
      Canvas canvas(32, 32, 1);
      const JpgRect rect = canvas.rect();
      if (reader.handle() != nullptr) jpgReadToRect(reader.handle(), &rect, 32);
      EXPECT_TRUE(canvas.guardsIntact());
    }
  }
}

TEST(PrologFrame, FactorsThatAreAllZeroAreUnsupported) {
  for (const uint8_t sampling : Bytes{0x00, 0x01, 0x10}) {
    Parts parts;
    parts.frame = sofData(8, 8, 8, {{1, sampling, 0}, {2, sampling, 0}});
    parts.scan = sosData({{1, 0}, {2, 0}}, 0, 63, 0);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, open(parts.stream())) << static_cast<int>(sampling);
  }
}

TEST(PrologFrame, QuantisationSelectorsAboveThreeAreUnsupported) {
  for (int tq = 0; tq < 256; tq += 3) {
    Parts parts;
    parts.frame = sofData(8, 8, 8, {{1, 0x11, static_cast<uint8_t>(tq)}});
    EXPECT_RESULT(tq < 4 ? JPG_OK : JPG_E_UNSUPPORTED, open(parts.stream())) << tq;
  }
}

TEST(PrologFrame, CoefficientStoresThatCannotBeHadAreOutOfMemory) {
  Parts parts;
  parts.sof = kSof2;
  parts.frame = sofData(8, 65535, 65535, {{1, 0x11, 0}, {2, 0x11, 0}, {3, 0x11, 0}});
  parts.scan = sosData({{1, 0}, {2, 0}, {3, 0}}, 0, 0, 0);
  EXPECT_RESULT(JPG_E_OUT_OF_MEMORY, open(parts.stream()));
}

TEST(PrologScan, UnknownComponentsAreUnsupported) {
  for (const std::vector<ScanComponent> &scan :
       std::vector<std::vector<ScanComponent>>{{{2, 0}}, {{0, 0}}, {{1, 0}, {3, 0}}}) {
    Parts parts;
    parts.scan = sosData(scan, 0, 63, 0);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, open(parts.stream()));
  }
}

TEST(PrologScan, MoreThanFourComponentsAreUnsupported) {
  for (const size_t count : {5U, 6U, 255U}) {
    Parts parts;
    parts.scan = sosData(std::vector<ScanComponent>(count, {1, 0}), 0, 63, 0);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, open(parts.stream()));
  }
}

TEST(PrologScan, TableSelectorsAboveThreeAreUnsupported) {
  for (const uint8_t tables : Bytes{0x40, 0x04, 0xF0, 0x0F, 0x80, 0x08}) {
    Parts parts;
    parts.scan = sosData({{1, tables}}, 0, 63, 0);
    EXPECT_RESULT(JPG_E_UNSUPPORTED, open(parts.stream())) << static_cast<int>(tables);
  }
}

TEST(PrologScan, SequentialScansDoNotLookAtTheSpectralBand) {
  for (const auto &band : {std::array<uint8_t, 3>{5, 2, 0xFF}, {64, 255, 0}, {0, 0, 0x1E}}) {
    Parts parts;
    parts.scan = sosData({{1, 0}}, band[0], band[1], band[2]);
    EXPECT_EQ(138, sampleOf(parts.stream()));
  }
}

TEST(PrologScan, ProgressiveBandsOutOfRangeAreUnsupported) {
  const struct {
    uint8_t ss, se, ahAl;
    uint32_t result;
  } kCases[] = {{0, 0, 0x00, JPG_OK},
                {1, 63, 0x00, JPG_OK},
                {63, 63, 0x0D, JPG_OK},
                {1, 5, 0x0D, JPG_OK},
                {0, 64, 0x00, JPG_E_UNSUPPORTED},
                {1, 64, 0x00, JPG_E_UNSUPPORTED},
                {64, 64, 0x00, JPG_E_UNSUPPORTED},
                {2, 1, 0x00, JPG_E_UNSUPPORTED},
                {255, 0, 0x00, JPG_E_UNSUPPORTED},
                {1, 5, 0x0E, JPG_E_UNSUPPORTED},
                {0, 0, 0x0F, JPG_E_UNSUPPORTED}};
  for (const auto &c : kCases) {
    Parts parts;
    parts.sof = kSof2;
    parts.scan = sosData({{1, 0}}, c.ss, c.se, c.ahAl);
    EXPECT_RESULT(c.result, open(parts.stream()))
        << int{c.ss} << ' ' << int{c.se} << ' ' << int{c.ahAl};
  }
}

TEST(PrologScan, TheScanHeaderMayStandFarBehindTheFrame) {
  Parts parts;
  parts.between = StreamBuilder().com(std::string(9000, 'x')).dri(7).com("").bytes();
  EXPECT_EQ(138, sampleOf(parts.stream()));
}

}  // namespace
}  // namespace jpgtest
