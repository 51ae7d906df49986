// SPDX-License-Identifier: MIT
// Progressive decoding beside the model's decoding of the same coefficients, and its row
// bookkeeping.
#include <gtest/gtest.h>

#include <vector>

#include "model/reader.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/random.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

// An open handle on a stream.
class Handle {
 public:
  explicit Handle(const Bytes &data, uint32_t flags = 0) : data_(data) {
    result = jpgReadPrologFromMemory(data_.data(), static_cast<int32_t>(data_.size()), flags, &h);
  }
  ~Handle() {
    if (h != nullptr) {
      EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
    }
  }
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;
  uint32_t rows(Canvas *canvas, int32_t first, int32_t count, int32_t mode = 0) {
    const JpgRect rect = canvas->rect(first);
    return jpgReadProgressiveToRect(h, &rect, count, mode);
  }
  JPGHANDLE h = nullptr;
  uint32_t result = 0;

 private:
  Bytes data_;
};

int32_t pixelBytes(const Picture &p) { return p.components.size() < 3 ? 1 : 3; }

// The picture through the model's sequential decoder.
Bytes expected(const Picture &p) {
  Canvas canvas(p.width, p.height, pixelBytes(p));
  Model model;
  EXPECT_EQ(model.openMemory(encode(p), 0), JPG_OK);
  EXPECT_EQ(model.readToRect(canvas.rect(), p.height), JPG_OK);
  return canvas.pixels();
}

Bytes decoded(const Bytes &stream, const Picture &p) {
  Canvas canvas(p.width, p.height, pixelBytes(p));
  Handle handle(stream);
  EXPECT_RESULT(JPG_OK, handle.result);
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, p.height));
  EXPECT_TRUE(canvas.guardsIntact());
  return canvas.pixels();
}

const std::vector<std::vector<uint8_t>> kLayouts = {{0x11},
                                                    {0x11, 0x11},
                                                    {0x11, 0x11, 0x11},
                                                    {0x21, 0x11, 0x11},
                                                    {0x12, 0x11, 0x11},
                                                    {0x22, 0x11, 0x11},
                                                    {0x22, 0x21, 0x12},
                                                    {0x11, 0x22, 0x11},
                                                    {0x22, 0x11, 0x11, 0x22},
                                                    {0x11, 0x11, 0x11, 0x11}};

TEST(Progressive, PixelsAreThoseOfTheSameCoefficientsInOneScan) {
  uint32_t seed = 1;
  for (const auto &layout : kLayouts) {
    for (const uint16_t width : {uint16_t{1}, uint16_t{17}, uint16_t{40}}) {
      for (const uint16_t height : {uint16_t{1}, uint16_t{16}, uint16_t{23}}) {
        const Picture p = makePicture(width, height, layout, Fill::kSmooth, seed++);
        const Bytes pixels = expected(p);
        SCOPED_TRACE(testing::Message()
                     << layout.size() << " components, " << width << "x" << height);
        EXPECT_EQ(decoded(encodeProgressive(p, spectralScript(layout.size())), p) == pixels, true);
        EXPECT_EQ(decoded(encodeProgressive(p, refiningScript(layout.size())), p) == pixels, true);
      }
    }
  }
}

TEST(Progressive, SparseAndDenseBlocksRefineExactly) {
  for (const Fill fill : {Fill::kSparse, Fill::kDense, Fill::kDcOnly}) {
    for (uint32_t seed = 1; seed <= 10; seed++) {
      const Picture p = makePicture(50, 30, {0x22, 0x11, 0x11}, fill, seed);
      const Bytes pixels = expected(p);
      EXPECT_EQ(decoded(encodeProgressive(p, spectralScript(3)), p) == pixels, true);
      EXPECT_EQ(decoded(encodeProgressive(p, refiningScript(3)), p) == pixels, true);
    }
  }
}

TEST(Progressive, RestartMarkersStandInEveryKindOfScan) {
  for (const auto &layout : kLayouts) {
    Picture p = makePicture(49, 35, layout);
    const Bytes pixels = expected(p);
    // 12 divides the MCU count of some layouts and block counts of some components.
    for (const uint16_t interval : std::vector<uint16_t>{1, 2, 5, 7, 12, 35, 1000}) {
      p.restartInterval = interval;
      SCOPED_TRACE(testing::Message() << layout.size() << " components, interval " << interval);
      EXPECT_EQ(decoded(encodeProgressive(p, refiningScript(layout.size())), p) == pixels, true);
    }
  }
}

TEST(Progressive, BandsOfWholeMcuRowsGiveThePicture) {
  const Picture p = makePicture(30, 53, {0x22, 0x11, 0x11});
  const Bytes pixels = expected(p);
  Canvas canvas(30, 53, 3);
  Handle handle(encodeProgressive(p, spectralScript(3)));
  for (const int32_t first : {0, 16, 48}) {
    EXPECT_RESULT(JPG_OK, handle.rows(&canvas, first, first == 16 ? 32 : 16));
  }
  EXPECT_EQ(canvas.pixels() == pixels, true);
  EXPECT_RESULT(JPG_E_FAIL, handle.rows(&canvas, 0, 16));
}

TEST(Progressive, RowsThatWereNotAskedForAreNotStoredAndAreLost) {
  const Picture p = makePicture(16, 64, {0x22, 0x11, 0x11});
  const Bytes pixels = expected(p);
  Canvas canvas(16, 64, 3);
  Handle handle(encodeProgressive(p, spectralScript(3)));
  // 20 rows: one whole MCU row and 4 of the next, which counts as delivered.
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, 20));
  for (int32_t y = 0; y < 20; y++) {
    EXPECT_EQ(canvas.row(y), Bytes(pixels.begin() + 48 * y, pixels.begin() + 48 * (y + 1)));
  }
  EXPECT_EQ(canvas.row(20), Bytes(48, Canvas::kGuard));
  // The next call goes on with the third MCU row.
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 20, 16));
  EXPECT_EQ(canvas.row(20), Bytes(pixels.begin() + 48 * 32, pixels.begin() + 48 * 33));
}

TEST(Progressive, AShortFirstBandIsCountedAndItsMcuRowDeliveredAgain) {
  const Picture p = makePicture(16, 32, {0x22, 0x11, 0x11});
  const Bytes pixels = expected(p);
  Canvas canvas(16, 32, 3);
  Handle handle(encodeProgressive(p, spectralScript(3)));
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, 5));
  EXPECT_EQ(canvas.row(5), Bytes(48, Canvas::kGuard));
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 5, 1));
  EXPECT_EQ(canvas.row(5), Bytes(pixels.begin(), pixels.begin() + 48));
}

TEST(Progressive, NoRowsDecodeTheScansAndStoreNothing) {
  const Picture p = makePicture(16, 16, {0x11});
  Canvas canvas(16, 16, 1);
  Handle handle(encodeProgressive(p, spectralScript(1)));
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, 0));
  EXPECT_TRUE(canvas.untouched());
  // The scans are all read: a pass that begins anew finds none.
  EXPECT_RESULT(JPG_NO_DATA, handle.rows(&canvas, 0, 16));
}

// The picture after the first n scans, by decoding a stream that ends there.
Bytes afterScans(const Picture &p, const Script &script, size_t n) {
  return decoded(
      encodeProgressive(p, Script(script.begin(), script.begin() + static_cast<long>(n))), p);
}

TEST(Progressive, IncrementalCallsShowThePictureGrowingScanByScan) {
  const Picture p = makePicture(33, 21, {0x21, 0x11, 0x11});
  const Script script = refiningScript(3);
  Handle handle(encodeProgressive(p, script));
  for (size_t n = 1; n <= script.size(); n++) {
    Canvas canvas(33, 21, 3);
    ASSERT_EQ(handle.rows(&canvas, 0, 21, 1), JPG_OK) << n;
    EXPECT_EQ(canvas.pixels() == afterScans(p, script, n), true) << n;
  }
  Canvas canvas(33, 21, 3);
  EXPECT_RESULT(JPG_NO_DATA, handle.rows(&canvas, 0, 21, 1));
  EXPECT_TRUE(canvas.untouched());
}

TEST(Progressive, AnIncrementalPassMayBeDeliveredInBands) {
  const Picture p = makePicture(20, 40, {0x11});
  const Script script = spectralScript(1);
  Handle handle(encodeProgressive(p, script));
  for (size_t n = 1; n <= script.size(); n++) {
    Canvas canvas(20, 40, 1);
    EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, 16, 1));
    EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 16, 24, 1));
    EXPECT_EQ(canvas.pixels() == afterScans(p, script, n), true) << n;
  }
}

TEST(Progressive, AFullPassAfterAnIncrementalOneDecodesTheRestAndEndsTheMode) {
  const Picture p = makePicture(20, 16, {0x11});
  Handle handle(encodeProgressive(p, spectralScript(1)));
  Canvas first(20, 16, 1), second(20, 16, 1);
  EXPECT_RESULT(JPG_OK, handle.rows(&first, 0, 16, 1));
  EXPECT_RESULT(JPG_OK, handle.rows(&second, 0, 16, 0));
  EXPECT_EQ(second.pixels() == expected(p), true);
  EXPECT_RESULT(JPG_E_FAIL, handle.rows(&second, 0, 16, 0));
}

TEST(Progressive, MarkerAccessBeforeTheFirstRowsSpoilsNothing) {
  const Picture p = makePicture(20, 20, {0x22, 0x11, 0x11});
  Handle handle(encodeProgressive(p, refiningScript(3)));
  uint16_t marker = 0;
  uint32_t length = 0;
  uint8_t some[3];
  EXPECT_RESULT(JPG_OK, jpgReadSeekMarkerSegment(handle.h, 0, &marker, &length));
  EXPECT_RESULT(JPG_OK, jpgReadReadMarkerData(handle.h, some, 3, nullptr));
  Canvas canvas(20, 20, 3);
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, 20));
  EXPECT_EQ(canvas.pixels() == expected(p), true);
}

TEST(Progressive, ChecksComeInTheirOrder) {
  const Picture p = makePicture(8, 8, {0x11, 0x11, 0x11});
  Handle handle(encodeProgressive(p, spectralScript(3)));
  Handle sequential(encode(p));
  Canvas canvas(8, 8, 3);
  JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadProgressiveToRect(nullptr, &rect, 8, 0));
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadProgressiveToRect(handle.h, nullptr, 8, 0));
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadProgressiveToRect(sequential.h, &rect, 8, 0));
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadToRect(handle.h, &rect, 8));
  rect.bits = nullptr;
  EXPECT_RESULT(JPG_E_INVALID_HANDLE, jpgReadProgressiveToRect(sequential.h, &rect, 8, 0));
}

TEST(Progressive, WithoutConversionTheBytesMustFitTheComponents) {
  const Picture p = makePicture(9, 9, {0x11, 0x11, 0x11, 0x11});
  const Bytes stream = encodeProgressive(p, spectralScript(4));
  Handle narrow(stream);
  jpgReadSetNoColorConversion(narrow.h);
  Canvas three(9, 9, 3);
  EXPECT_RESULT(JPG_E_UNSUPPORTED, narrow.rows(&three, 0, 9));
  Handle wide(stream);
  jpgReadSetNoColorConversion(wide.h);
  Canvas four(9, 9, 4), model(9, 9, 4);
  EXPECT_RESULT(JPG_OK, wide.rows(&four, 0, 9));
  Model m;
  EXPECT_EQ(m.openMemory(encode(p), 0), JPG_OK);
  EXPECT_EQ(m.setNoColorConversion(), JPG_OK);
  EXPECT_EQ(m.readToRect(model.rect(), 9), JPG_OK);
  EXPECT_EQ(four.pixels() == model.pixels(), true);
}

TEST(Progressive, RgbFilesAreTakenForYcbcrAllTheSame) {
  Picture p = makePicture(16, 16, {0x11, 0x11, 0x11});
  const Bytes ycc = decoded(encodeProgressive(p, spectralScript(3)), p);
  p.components[0].id = 'R';
  p.components[1].id = 'G';
  p.components[2].id = 'B';
  EXPECT_EQ(decoded(encodeProgressive(p, spectralScript(3)), p) == ycc, true);
}

// ---- Damaged and hostile streams ------------------------------------------

uint32_t resultOf(const Bytes &stream, const Picture &p) {
  Canvas canvas(p.width, p.height, pixelBytes(p));
  Handle handle(stream, JPG_READ_COMPLETE);
  if (handle.result != JPG_OK) return handle.result;
  const uint32_t r = handle.rows(&canvas, 0, p.height);
  EXPECT_TRUE(canvas.guardsIntact());
  return r;
}

TEST(Progressive, ScansOutOfRangeAreRefused) {
  const Picture p = makePicture(8, 8, {0x11});
  const struct {
    uint8_t ss, se, al;
  } kBad[] = {{0, 64, 0}, {64, 64, 0}, {10, 9, 0}, {1, 5, 14}, {255, 255, 15}};
  for (const auto &bad : kBad) {
    StreamBuilder first = progressiveHeaders(p);
    first.sos({{1, 0}}, bad.ss, bad.se, bad.al).raw({0, 0, 0, 0}).eoi();
    EXPECT_RESULT(JPG_E_UNSUPPORTED, resultOf(first.bytes(), p));
    StreamBuilder second = progressiveHeaders(p);
    const ScanScript dc = {{0}, 0, 0, 0, 0};
    second.sos({{1, 0}}, 0, 0, 0).raw(progressiveScan(p, dc));
    second.sos({{1, 0}}, bad.ss, bad.se, bad.al).raw({0, 0, 0, 0}).eoi();
    EXPECT_RESULT(JPG_E_UNSUPPORTED, resultOf(second.bytes(), p));
  }
}

TEST(Progressive, ScansWhoseComponentsLeaveTheMcuAreRefused) {
  const Picture p = makePicture(16, 16, {0x22, 0x11, 0x11});
  const std::vector<std::vector<ScanComponent>> kBad = {
      {{3, 0}, {1, 0}}, {{2, 0}, {1, 0}}, {{1, 0}, {1, 0}}, {{2, 0}, {3, 0}, {3, 0}}};
  for (const auto &components : kBad) {
    StreamBuilder s = progressiveHeaders(p);
    s.sos(components, 0, 0, 0).raw(Bytes(100, 0)).eoi();
    EXPECT_RESULT(JPG_E_UNSUPPORTED, resultOf(s.bytes(), p));
  }
}

TEST(Progressive, AFrameThatNoMemoryHoldsIsOutOfMemory) {
  Picture p = makePicture(8, 8, {0x11, 0x11, 0x11});
  p.width = 65535;
  p.height = 65535;
  StreamBuilder s = progressiveHeaders(p);
  s.sos({{1, 0}, {2, 0}, {3, 0}}, 0, 0, 0).raw({0}).eoi();
  const Bytes stream = s.bytes();
  JPGHANDLE h = nullptr;
  EXPECT_RESULT(JPG_E_OUT_OF_MEMORY,
                jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h));
  EXPECT_EQ(h, nullptr);
}

TEST(Progressive, AHeightOfZeroHasNoRows) {
  Picture p = makePicture(8, 8, {0x11});
  const Bytes dc = progressiveScan(p, {{0}, 0, 0, 0, 0});
  p.height = 0;
  StreamBuilder s = progressiveHeaders(p);
  s.sos({{1, 0}}, 0, 0, 0).eoi();
  Canvas canvas(8, 8, 1);
  Handle handle(s.bytes());
  EXPECT_RESULT(JPG_OK, handle.rows(&canvas, 0, 8));
  EXPECT_TRUE(canvas.untouched());
}

TEST(Progressive, WhatFollowsAScanMustBeAMarker) {
  const Picture p = makePicture(8, 8, {0x11});
  StreamBuilder s = progressiveHeaders(p);
  s.sos({{1, 0}}, 0, 0, 0).raw(progressiveScan(p, {{0}, 0, 0, 0, 0})).raw({0x12, 0x34}).eoi();
  EXPECT_RESULT(JPG_NO_DATA, resultOf(s.bytes(), p));
}

TEST(Progressive, TruncatedAndDamagedStreamsEndWithACode) {
  const Picture p = makePicture(24, 24, {0x22, 0x11, 0x11}, Fill::kSparse);
  const Bytes whole = encodeProgressive(p, refiningScript(3));
  const size_t headers = progressiveHeaders(p).size();
  for (size_t n = headers; n < whole.size(); n += 3) {
    resultOf(Bytes(whole.begin(), whole.begin() + static_cast<long>(n)), p);
  }
  Random random(1);
  int failures = 0;
  for (int i = 0; i < 3000; i++) {
    Bytes damaged = whole;
    const auto size = static_cast<uint32_t>(whole.size() - headers);
    damaged[headers + random.below(size)] = random.byte();
    failures += resultOf(damaged, p) != JPG_OK ? 1 : 0;
  }
  EXPECT_GT(failures, 0);  // and no crash, no write beyond the canvas
}

}  // namespace
