// SPDX-License-Identifier: MIT
// Table segments and scan headers, below the interface.
#include "read/jpgRScan.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "bitStream.h"
#include "faulty.h"
#include "read/jpgRTables.h"
#include "read/jpgRVLC.h"
#include "share/jpgMarkers.h"

namespace {

using namespace jpg;
using jpgtest::BitStream;

using Bytes = std::vector<uint8_t>;

Bytes operator+(Bytes a, const Bytes &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// A segment's data in a context whose tables are freed at the end.
class SegmentOf {
 public:
  explicit SegmentOf(const Bytes &data) : stream_(data) {
    c()->segLength = static_cast<uint32_t>(data.size());
  }
  ~SegmentOf() {
    freeRetiredTables(c());
    for (JpgHuffTable &table : c()->dcTables) freeHuffTable(&table);
    for (JpgHuffTable &table : c()->acTables) freeHuffTable(&table);
    EXPECT_EQ(faulty::liveBlocks(), 0u);
    EXPECT_EQ(faulty::wrongFrees(), 0u);
  }
  SegmentOf(const SegmentOf &) = delete;
  SegmentOf &operator=(const SegmentOf &) = delete;
  JpgContext *c() { return stream_.context(); }

 private:
  BitStream stream_;
};

class TableSegments : public testing::Test {
 protected:
  void SetUp() override { faulty::reset(); }
};

// Two codes of two bits, 00 and 01.
Bytes table(uint8_t tcTh, uint8_t first, uint8_t second) {
  Bytes t(17, 0);
  t[0] = tcTh;
  t[2] = 2;
  return t + Bytes{first, second};
}

TEST_F(TableSegments, HuffmanTablesGoToTheSlotOfTheirClassAndIdentifier) {
  // Any class but 0 is an AC table.
  SegmentOf s(table(0x00, 1, 2) + table(0x03, 3, 4) + table(0x10, 5, 6) + table(0x72, 7, 8));
  ASSERT_EQ(readHuffmanTables(s.c()), JPG_OK);
  EXPECT_EQ(s.c()->dcTables[0].codes[1].value, 2);
  EXPECT_EQ(s.c()->dcTables[3].codes[0].value, 3);
  EXPECT_EQ(s.c()->acTables[0].codes[0].value, 5);
  EXPECT_EQ(s.c()->acTables[2].codes[1].value, 8);
  EXPECT_EQ(s.c()->dcTables[1].codes, nullptr);
  EXPECT_EQ(s.c()->pendingHuffCount, 4u);
  const uint32_t kPending[5] = {0x00, 0x03, 0x10, 0x72, 0xFFFFFFFF};
  for (size_t i = 0; i < 5; i++) EXPECT_EQ(s.c()->pendingHuffIds[i], kPending[i]);
  EXPECT_EQ(s.c()->dcTables[0].lookup, nullptr);  // made at the scan
  ASSERT_EQ(buildPendingTables(s.c()), JPG_OK);
  EXPECT_NE(s.c()->dcTables[0].lookup, nullptr);
  EXPECT_NE(s.c()->acTables[2].lookup, nullptr);
  EXPECT_EQ(s.c()->pendingHuffCount, 0u);
  EXPECT_EQ(s.c()->pendingHuffIds[0], 0xFFFFFFFFu);
}

TEST_F(TableSegments, ALaterTableOfTheSameSlotReplacesTheFirst) {
  SegmentOf s(table(0x01, 1, 2) + table(0x01, 9, 10));
  ASSERT_EQ(readHuffmanTables(s.c()), JPG_OK);
  EXPECT_EQ(s.c()->dcTables[1].codes[0].value, 9);
  EXPECT_EQ(s.c()->pendingHuffCount, 2u);
}

TEST_F(TableSegments, AHuffmanTableThatDoesNotFitIsNotLoaded) {
  const Bytes whole = table(0x00, 1, 2) + table(0x10, 3, 4);
  for (uint32_t length = 0; length <= whole.size(); length++) {
    SegmentOf s(whole);
    s.c()->segLength = length;
    ASSERT_EQ(readHuffmanTables(s.c()), JPG_OK) << length;
    EXPECT_EQ(s.c()->dcTables[0].codes != nullptr, length >= 19) << length;
    EXPECT_EQ(s.c()->acTables[0].codes != nullptr, length >= 38) << length;
    EXPECT_EQ(s.c()->pendingHuffCount, length / 19) << length;
    EXPECT_LE(s.c()->segConsumed, length) << length;
  }
}

TEST_F(TableSegments, AHuffmanIdentifierAbove3IsRefused) {
  for (const uint8_t id : Bytes{0x04, 0x0F, 0x14, 0x1F}) {
    SegmentOf s(table(id, 1, 2));
    EXPECT_EQ(readHuffmanTables(s.c()), JPG_E_UNSUPPORTED) << int{id};
    EXPECT_EQ(s.c()->pendingHuffCount, 0u);
  }
}

TEST_F(TableSegments, EightHuffmanTablesMayWaitForAScanButNotNine) {
  Bytes eight;
  for (uint8_t i = 0; i < 8; i++) eight = eight + table(static_cast<uint8_t>(i % 4), i, 100);
  {
    SegmentOf fits(eight);
    EXPECT_EQ(readHuffmanTables(fits.c()), JPG_OK);
    EXPECT_EQ(fits.c()->pendingHuffCount, 8u);
    EXPECT_EQ(buildPendingTables(fits.c()), JPG_OK);
  }
  SegmentOf tooMany(eight + table(0x00, 1, 2));
  EXPECT_EQ(readHuffmanTables(tooMany.c()), JPG_E_UNSUPPORTED);
}

TEST_F(TableSegments, QuantisationTablesKeepTheStreamsOrder) {
  Bytes bytes(64), words(128);
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  for (size_t i = 0; i < 64; i++) {
    words[2 * i] = 1;
    words[2 * i + 1] = static_cast<uint8_t>(i);
  }
  // 16 bits for a precision of exactly 1, 8 bits for every other.
  SegmentOf s(Bytes{0x00} + bytes + Bytes{0x13} + words + Bytes{0x22} + bytes);
  ASSERT_EQ(readQuantTables(s.c()), JPG_OK);
  for (uint32_t i = 0; i < 64; i++) {
    EXPECT_EQ(s.c()->quantTables[0][i], i + 1);
    EXPECT_EQ(s.c()->quantTables[3][i], 256 + i);
    EXPECT_EQ(s.c()->quantTables[2][i], i + 1);
    EXPECT_EQ(s.c()->quantTables[1][i], 0u);
  }
}

TEST_F(TableSegments, AQuantisationTableThatDoesNotFitIsNotLoaded) {
  for (const uint32_t length : {0u, 1u, 2u, 64u, 65u, 66u, 129u, 193u, 194u}) {
    SegmentOf s(Bytes{0x00} + Bytes(64, 5) + Bytes{0x11} + Bytes(128, 6));
    s.c()->segLength = length;
    ASSERT_EQ(readQuantTables(s.c()), JPG_OK) << length;
    EXPECT_EQ(s.c()->quantTables[0][63], length >= 65 ? 5u : 0u) << length;
    EXPECT_EQ(s.c()->quantTables[1][63], length >= 194 ? 0x0606u : 0u) << length;
    EXPECT_LE(s.c()->segConsumed, length) << length;
  }
  SegmentOf high(Bytes{0x04} + Bytes(64, 5));
  EXPECT_EQ(readQuantTables(high.c()), JPG_E_UNSUPPORTED);
}

TEST_F(TableSegments, LookupsThatCannotBeMadeAreTold) {
  SegmentOf s(table(0x00, 1, 2));
  ASSERT_EQ(readHuffmanTables(s.c()), JPG_OK);
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFailAfter, 1);
  EXPECT_EQ(buildPendingTables(s.c()), JPG_E_OUT_OF_MEMORY);
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kNone, 0);
}

// ---- Scan headers ---------------------------------------------------------

// A frame of components 7, 8, 9 sampled 2x2, 2x1, 1x1.
void makeFrame(JpgContext *c, uint32_t sof) {
  const uint8_t kSampling[3] = {0x22, 0x21, 0x11};
  c->sofMarker = sof;
  c->numComponents = 3;
  for (uint8_t i = 0; i < 3; i++) {
    c->scanComponents[i].id = static_cast<uint8_t>(7 + i);
    c->scanComponents[i].sampling = kSampling[i];
  }
}

Result readHeader(uint32_t sof, const Bytes &data, ScanHeader *scan) {
  BitStream b(data);
  makeFrame(b.context(), sof);
  return readScanHeader(b.context(), scan);
}

TEST(ScanHeaders, TellComponentsTablesAndProgression) {
  ScanHeader scan;
  ASSERT_EQ(readHeader(kMarkerSof2, {2, 9, 0x21, 7, 0x03, 1, 63, 0x32}, &scan), JPG_OK);
  EXPECT_EQ(scan.count, 2u);
  EXPECT_EQ(scan.firstId, 9);
  EXPECT_EQ(scan.frameIndex[0], 2);
  EXPECT_EQ(scan.frameIndex[1], 0);
  EXPECT_EQ(scan.dcTable[0], 2);
  EXPECT_EQ(scan.acTable[0], 1);
  EXPECT_EQ(scan.dcTable[1], 0);
  EXPECT_EQ(scan.acTable[1], 3);
  EXPECT_EQ(scan.Ss, 1);
  EXPECT_EQ(scan.Se, 63);
  EXPECT_EQ(scan.Ah, 3);
  EXPECT_EQ(scan.Al, 2);
}

TEST(ScanHeaders, WhatTheFrameDoesNotHaveIsRefused) {
  const Bytes kRefused[] = {
      {1, 6, 0x00, 0, 63, 0},                                      // no such component
      {1, 7, 0x40, 0, 63, 0},                                      // Td 4
      {1, 7, 0x04, 0, 63, 0},                                      // Ta 4
      {5, 7, 0x00, 8, 0x00, 9, 0x00, 7, 0x00, 8, 0x00, 0, 63, 0},  // five components
      {2, 7, 0x00, 10, 0x00, 0, 63, 0},                            // second unknown
  };
  for (const Bytes &data : kRefused) {
    ScanHeader scan;
    EXPECT_EQ(readHeader(kMarkerSof0, data, &scan), JPG_E_UNSUPPORTED);
  }
}

TEST(ScanHeaders, ProgressionOutOfRangeIsRefusedInProgressiveFramesOnly) {
  const struct {
    uint8_t ss, se, approximation;
    bool inRange;
  } kCases[] = {{0, 0, 0x00, true},   {1, 63, 0x0D, true},   {63, 63, 0xED, true},
                {1, 64, 0x00, false}, {64, 64, 0x00, false}, {5, 4, 0x00, false},
                {0, 0, 0x0E, false},  {1, 63, 0xFF, false}};
  for (const auto &k : kCases) {
    const Bytes data = {1, 7, 0x00, k.ss, k.se, k.approximation};
    ScanHeader scan;
    EXPECT_EQ(readHeader(kMarkerSof2, data, &scan), k.inRange ? JPG_OK : JPG_E_UNSUPPORTED);
    EXPECT_EQ(readHeader(kMarkerSof0, data, &scan), JPG_OK);
  }
}

TEST(ScanUse, ChoosesTheBlockDecoderByBandAndApproximation) {
  const struct {
    uint8_t ss, se, ah;
    BlockDecoder decoder;
  } kCases[] = {{0, 0, 0, decodeDcFirst},  {0, 0, 1, decodeDcRefine}, {1, 5, 0, decodeAcFirst},
                {1, 5, 2, decodeAcRefine}, {0, 63, 0, decodeAcFirst}, {0, 63, 1, decodeAcRefine}};
  for (const auto &k : kCases) {
    BitStream b({});
    makeFrame(b.context(), kMarkerSof2);
    ScanHeader scan = {};
    scan.count = 1;
    scan.Ss = k.ss;
    scan.Se = k.se;
    scan.Ah = k.ah;
    useScan(b.context(), scan);
    EXPECT_EQ(b.context()->blockDecoder, k.decoder) << int{k.ss} << " " << int{k.se};
  }
}

TEST(ScanUse, CountsBlocksOfItsComponentsAndAheadOfTheFirst) {
  const uint32_t kAhead[3] = {0, 4, 6};
  const uint32_t kBlocks[3] = {4, 2, 1};
  for (uint8_t i = 0; i < 3; i++) {
    BitStream b({});
    JpgContext *c = b.context();
    makeFrame(c, kMarkerSof2);
    ScanHeader scan = {};
    scan.count = 1;
    scan.firstId = static_cast<uint8_t>(7 + i);
    scan.frameIndex[0] = i;
    useScan(c, scan);
    EXPECT_EQ(c->scanBlockOffset, kAhead[i]);
    EXPECT_EQ(c->scanComponents[0].blocksPerMcu, kBlocks[i]);
    EXPECT_EQ(c->scanNs, 1);
    EXPECT_EQ(c->scanFirstComponentId, 7 + i);
    EXPECT_EQ(c->scanComponents[0].id, 7);  // the frame's part of the slot stays
    EXPECT_EQ(c->read.scanHoldsFrame, 0u);
  }
}

// Whichever component is first: the blocks are counted, 4, 2 and 1 of them.
TEST(ScanUse, HoldsTheFrameWithAsManyComponentsAndBlocks) {
  const struct {
    uint32_t count;
    uint8_t components[3];
    bool holds;
  } kCases[] = {{3, {0, 1, 2}, true},  {3, {1, 0, 2}, true},  {3, {2, 1, 0}, true},
                {3, {0, 2, 2}, false}, {3, {1, 1, 2}, false}, {3, {2, 1, 2}, false},
                {2, {0, 1}, false},    {1, {0}, false}};
  for (const auto &k : kCases) {
    BitStream b({});
    makeFrame(b.context(), kMarkerSof0);
    ScanHeader scan = {};
    scan.count = k.count;
    for (uint32_t i = 0; i < k.count; i++) scan.frameIndex[i] = k.components[i];
    useScan(b.context(), scan);
    EXPECT_EQ(b.context()->read.scanHoldsFrame, k.holds ? 1u : 0u)
        << k.count << " components, the first of them " << int{k.components[0]};
  }
}

TEST(ScanUse, BeginsWithoutPredictionsAndRuns) {
  BitStream b({});
  JpgContext *c = b.context();
  for (JpgScanComponent &k : c->scanComponents) k.dcPredictor = -5;
  c->eobRun = 3;
  c->mcusSinceRestart = 4;
  beginScan(c);
  for (const JpgScanComponent &k : c->scanComponents) EXPECT_EQ(k.dcPredictor, 0);
  EXPECT_EQ(c->eobRun, 0u);
  EXPECT_EQ(c->mcusSinceRestart, 0u);
}

}  // namespace
