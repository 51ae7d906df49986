// SPDX-License-Identifier: MIT
// Memory of the progressive and scaled readers, and their behaviour under faults.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>

#include "faulty.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"

namespace {

using namespace jpgtest;
using jpg::faulty::Fault;
using jpg::faulty::Operation;
namespace faulty = jpg::faulty;

constexpr size_t kFixed = 64 * 1024;  // record, tables, one MCU

uint32_t readMemory(const Bytes &stream, const Picture &p, bool scaled) {
  JPGHANDLE h = nullptr;
  uint32_t r = jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h);
  if (r != JPG_OK) return r;
  Canvas canvas(p.width, p.height, 3);
  const JpgRect rect = canvas.rect();
  r = scaled ? jpgReadScaleOutputToRect(h, &rect, (p.height + 1) / 2, JPG_SCALE_HALF)
             : jpgReadProgressiveToRect(h, &rect, p.height, 0);
  EXPECT_TRUE(canvas.guardsIntact());
  const uint32_t closed = jpgReadEpilog(h);
  return r != JPG_OK ? r : closed;
}

TEST(Heap, AProgressivePictureTakesItsStoreAndNothingElseThatGrows) {
  for (const uint16_t side : {uint16_t{64}, uint16_t{512}, uint16_t{1024}}) {
    Picture p = makePicture(side, side, {0x22, 0x11, 0x11}, Fill::kDcOnly);
    const Bytes stream = encodeProgressive(p, spectralScript(3));
    faulty::reset();
    EXPECT_EQ(readMemory(stream, p, false), JPG_OK);
    const size_t store = size_t{p.mcuCount()} * 6 * 128;
    EXPECT_GE(faulty::peakBytes(), store);
    EXPECT_LT(faulty::peakBytes(), store + kFixed);
    EXPECT_EQ(faulty::liveBlocks(), 0u);
  }
}

// 204 x 204 MCUs of 768 bytes: a piece holds 200 rows of them.
constexpr uint16_t kLargeSide = 3264;

TEST(Heap, AStoreOfSeveralPiecesHoldsWhatASequentialPictureGives) {
  Picture p = makePicture(kLargeSide, kLargeSide, {0x22, 0x11, 0x11}, Fill::kDcOnly);
  const Bytes progressive = encodeProgressive(p, spectralScript(3)), sequential = encode(p);
  faulty::reset();
  JPGHANDLE h = nullptr, other = nullptr;
  ASSERT_EQ(
      jpgReadPrologFromMemory(progressive.data(), static_cast<int32_t>(progressive.size()), 0, &h),
      JPG_OK);
  EXPECT_GE(faulty::peakBytes(), size_t{p.mcuCount()} * 6 * 128);
  ASSERT_EQ(jpgReadPrologFromMemory(sequential.data(), static_cast<int32_t>(sequential.size()), 0,
                                    &other),
            JPG_OK);
  constexpr int32_t kBand = 48;
  Canvas canvas(kLargeSide, kBand, 3), expected(kLargeSide, kBand, 3);
  const JpgRect rect = canvas.rect(), beside = expected.rect();
  for (int32_t row = 0; row < kLargeSide; row += kBand) {
    ASSERT_EQ(jpgReadProgressiveToRect(h, &rect, kBand, 0), JPG_OK);
    ASSERT_EQ(jpgReadToRect(other, &beside, kBand), JPG_OK);
    for (int32_t y = 0; y < kBand; y++) ASSERT_EQ(canvas.row(y), expected.row(y)) << row + y;
  }
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  EXPECT_EQ(jpgReadEpilog(other), JPG_OK);
  EXPECT_EQ(faulty::liveBlocks(), 0u);
}

// A progressive stream whose frame header tells another size; that makes the store, whatever the
// data hold.
Bytes streamOfSize(uint16_t width, uint16_t height) {
  const Picture p = makePicture(16, 16, {0x22, 0x11, 0x11}, Fill::kDcOnly);
  Bytes stream = encodeProgressive(p, spectralScript(3));
  const Bytes frame = {0xFF, 0xC2};
  auto at = std::search(stream.begin(), stream.end(), frame.begin(), frame.end()) + 5;
  for (const int byte : {height >> 8, height & 0xFF, width >> 8, width & 0xFF}) {
    *at++ = static_cast<uint8_t>(byte);
  }
  return stream;
}

uint32_t openAndClose(const Bytes &stream) {
  JPGHANDLE h = nullptr;
  const auto size = static_cast<int32_t>(stream.size());
  const uint32_t r = jpgReadPrologFromMemory(stream.data(), size, 0, &h);
  return r == JPG_OK ? jpgReadEpilog(h) : r;
}

// The record, codes and look-ups of a DC and an AC table, coefBuffer and two maps, then the list
// of further pieces and these.
TEST(Heap, APieceOfTheStoreThatIsRefusedEndsThePrologAndLeaksNothing) {
  for (const uint32_t pieces : {1U, 2U}) {
    const Bytes stream = streamOfSize(kLargeSide, static_cast<uint16_t>(kLargeSide * pieces));
    uint32_t refused = 0;
    for (uint32_t n = 1;; n++, refused++) {
      faulty::reset();
      faulty::arm(Operation::kAlloc, Fault::kFail, n);
      const uint32_t r = openAndClose(stream);
      EXPECT_EQ(faulty::liveBlocks(), 0u);
      if (r == JPG_OK) break;
      EXPECT_EQ(r, JPG_E_OUT_OF_MEMORY);
    }
    EXPECT_EQ(refused, 1u + 2 * 2 + 3 + 1 + pieces);
  }
}

TEST(Heap, AStoreOfPiecesTakesNoMoreThanItsRows) {
  for (const uint32_t rows : {201U, 399U, 400U, 401U, 600U, 601U}) {
    faulty::reset();
    ASSERT_EQ(openAndClose(streamOfSize(kLargeSide, static_cast<uint16_t>(16 * rows))), JPG_OK);
    const size_t store = size_t{rows} * 204 * 6 * 128;
    EXPECT_GE(faulty::peakBytes(), store) << rows;
    EXPECT_LT(faulty::peakBytes(), store + kFixed) << rows;
  }
}

TEST(Heap, ScaledOutputTakesConstantMemory) {
  size_t peak = 0;
  for (const uint16_t side : {uint16_t{64}, uint16_t{1024}}) {
    Picture p = makePicture(side, side, {0x22, 0x11, 0x11}, Fill::kDcOnly);
    const Bytes stream = encode(p);
    faulty::reset();
    EXPECT_EQ(readMemory(stream, p, true), JPG_OK);
    EXPECT_LT(faulty::peakBytes(), kFixed);
    peak = faulty::peakBytes();
  }
  EXPECT_GT(peak, 0u);
}

uint32_t readFile(const std::u16string &name) {
  JPGHANDLE h = nullptr;
  uint32_t r = jpgReadPrologFromFile(name.c_str(), 0, 0, 0, &h);
  if (r != JPG_OK) {
    EXPECT_EQ(h, nullptr);
    return r;
  }
  Canvas canvas(40, 40, 3);
  const JpgRect rect = canvas.rect();
  r = jpgReadProgressiveToRect(h, &rect, 40, 1);
  if (r == JPG_OK) r = jpgReadProgressiveToRect(h, &rect, 40, 0);
  EXPECT_TRUE(canvas.guardsIntact());
  const uint32_t closed = jpgReadEpilog(h);
  return r != JPG_OK ? r : closed;
}

TEST(Heap, EveryFaultOfAProgressiveFileEndsWithACodeAndLeaksNothing) {
  Picture p = makePicture(40, 40, {0x22, 0x11, 0x11}, Fill::kDense);
  p.restartInterval = 3;
  const Bytes stream = encodeProgressive(p, refiningScript(3));
  ASSERT_GT(stream.size(), 4096u);  // several reads
  const std::string name = testing::TempDir() + "jpg_prog_" + std::to_string(getpid());
  std::FILE *file = std::fopen(name.c_str(), "wb");
  ASSERT_EQ(std::fwrite(stream.data(), 1, stream.size(), file), stream.size());
  std::fclose(file);
  const std::u16string path(name.begin(), name.end());
  const struct {
    Operation operation;
    Fault fault;
    std::set<uint32_t> codes;
  } kKinds[] = {
      {Operation::kAlloc, Fault::kFail, {JPG_E_OUT_OF_MEMORY}},
      {Operation::kOpen, Fault::kFail, {JPG_E_OPEN_FAILED, JPG_E_NOT_JPEG}},
      {Operation::kSeek, Fault::kFail, {JPG_E_SEEK, JPG_E_NOT_JPEG}},
      {Operation::kRead,
       Fault::kFail,
       {JPG_OK, JPG_NO_DATA, JPG_E_NOT_JPEG, JPG_E_UNSUPPORTED, JPG_E_BAD_DC_CODE,
        JPG_E_BAD_AC_CODE, JPG_E_COEF_OVERFLOW}},
  };
  for (const auto &kind : kKinds) {
    uint32_t n = 0;
    do {
      faulty::reset();
      faulty::arm(kind.operation, kind.fault, ++n);
      const uint32_t r = readFile(path);
      EXPECT_EQ(faulty::liveBlocks() + faulty::openFiles() + faulty::wrongFrees(), 0u);
      if (faulty::faultHappened()) {
        EXPECT_EQ(kind.codes.count(r), 1u) << std::hex << r;
      } else {
        EXPECT_EQ(r, JPG_OK);
      }
    } while (faulty::faultHappened() && n < 10000);
    EXPECT_GT(n, 1u);
  }
  std::remove(name.c_str());
}

// A seek has set the second scan up, so that the first decode call reads the headers once more: the
// file's first seek from then on goes there, and its first read fetches them.
TEST(Faults, OfTheWayBackToTheFirstScanAreTold) {
  Picture p = makePicture(40, 40, {0x11, 0x11, 0x11});
  p.restartInterval = 5;
  const Bytes stream = encodeProgressive(p, spectralScript(3));
  const std::string name = testing::TempDir() + "jpg_way_back_" + std::to_string(getpid());
  std::FILE *file = std::fopen(name.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(std::fwrite(stream.data(), 1, stream.size(), file), stream.size());
  std::fclose(file);
  const std::u16string path(name.begin(), name.end());
  const struct {
    Operation operation;
    uint32_t code;
  } kFaults[] = {{Operation::kSeek, JPG_E_SEEK}, {Operation::kRead, JPG_E_NOT_JPEG}};
  for (const auto &fault : kFaults) {
    faulty::reset();
    JPGHANDLE h = nullptr;
    ASSERT_EQ(jpgReadPrologFromFile(path.c_str(), 0, 0, 0, &h), JPG_OK);
    EXPECT_EQ(jpgReadSeekRestartMarker(h, 9, JPG_RESTART_FROM_START), JPG_NO_DATA);
    Canvas canvas(p.width, p.height, 3);
    const JpgRect rect = canvas.rect();
    faulty::arm(fault.operation, Fault::kFail, faulty::calls(fault.operation) + 1);
    EXPECT_EQ(jpgReadProgressiveToRect(h, &rect, p.height, 0), fault.code);
    EXPECT_TRUE(faulty::faultHappened());
    EXPECT_TRUE(canvas.untouched());
    EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
    EXPECT_EQ(faulty::liveBlocks() + faulty::openFiles(), 0u);
  }
  std::remove(name.c_str());
}

}  // namespace
