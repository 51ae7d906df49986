// SPDX-License-Identifier: MIT
// Faults of single operations while a file is opened, read and closed: which call fails
// decides which code comes back. The stream is made byte by byte: a grey picture of two
// blocks, a restart interval each, with new tables between them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "faulty.h"
#include "jpg.h"

namespace {

using namespace jpg;
using faulty::Fault;
using faulty::Operation;

using Bytes = std::vector<uint8_t>;

void append(Bytes *out, const Bytes &more) { out->insert(out->end(), more.begin(), more.end()); }

// A table of one symbol with the code 0.
Bytes dht(uint8_t tcTh, uint8_t symbol) {
  Bytes s = {0xFF, 0xC4, 0, 20, tcTh, 1};
  s.resize(21, 0);
  s.push_back(symbol);
  return s;
}

// DC category 1 and EOB, both with the code 0: a block is 0, a sign, 0.
Bytes stream(uint8_t sof, bool newTables) {
  Bytes s = {0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0};
  s.resize(s.size() + 64, 8);
  append(&s, {0xFF, sof, 0, 11, 8, 0, 8, 0, 16, 1, 1, 0x11, 0});
  append(&s, dht(0x00, 1));
  append(&s, dht(0x10, 0));
  const Bytes sos = {0xFF, 0xDA, 0, 8, 1, 1, 0x00, 0, 63, 0};
  append(&s, {0xFF, 0xDD, 0, 4, 0, 1});
  append(&s, sos);
  append(&s, {0b01011111, 0xFF, 0xD0});
  if (newTables) {
    append(&s, dht(0x00, 1));
    append(&s, dht(0x10, 0));
    append(&s, sos);
  }
  append(&s, {0b00011111, 0xFF, 0xD9});
  return s;
}

// A progressive picture of one block: a DC scan, then an AC scan with a table of its own.
Bytes progressiveStream() {
  Bytes s = {0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0};
  s.resize(s.size() + 64, 8);
  append(&s, {0xFF, 0xC2, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0});
  append(&s, dht(0x00, 1));
  append(&s, {0xFF, 0xDA, 0, 8, 1, 1, 0x00, 0, 0, 0, 0b01111111});
  append(&s, dht(0x10, 0x00));
  append(&s, {0xFF, 0xDA, 0, 8, 1, 1, 0x00, 1, 63, 0, 0b01111111, 0xFF, 0xD9});
  return s;
}

class PrologFaults : public testing::Test {
 protected:
  void SetUp() override {
    faulty::reset();
    name_ = testing::TempDir() + "jpg_prolog_faults_" + std::to_string(getpid());
    save(stream(0xC0, false), 0);
  }
  void TearDown() override {
    faulty::reset();
    std::remove(name_.c_str());
  }

  void save(const Bytes &data, size_t startOffset) const {
    std::FILE *file = std::fopen(name_.c_str(), "wb");
    for (size_t i = 0; i < startOffset; i++) std::fputc(0, file);
    std::fwrite(data.data(), 1, data.size(), file);
    std::fclose(file);
  }

  // Opens the file; a handle comes back only with success, and a failure leaves nothing.
  uint32_t open(uint32_t flags, JPGHANDLE *handle, int32_t startOffset = 0) const {
    *handle = reinterpret_cast<JPGHANDLE>(uintptr_t{8});
    const std::u16string wide(name_.begin(), name_.end());
    const uint32_t r = jpgReadPrologFromFile(wide.c_str(), startOffset, 0, flags, handle);
    EXPECT_EQ(*handle != nullptr, r == JPG_OK);
    if (r != JPG_OK) expectNothingAlive();
    return r;
  }

  uint32_t openOnly(uint32_t flags, int32_t startOffset = 0) const {
    JPGHANDLE h = nullptr;
    const uint32_t r = open(flags, &h, startOffset);
    if (r == JPG_OK) {
      EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
      expectNothingAlive();
    }
    return r;
  }

  static void expectNothingAlive() {
    EXPECT_EQ(faulty::liveBlocks(), 0u);
    EXPECT_EQ(faulty::openFiles(), 0u);
    EXPECT_EQ(faulty::wrongFrees(), 0u);
  }

  static uint32_t decode(JPGHANDLE h, uint8_t *pixels, bool progressive) {
    JpgRect rect = {};
    rect.width = 16;
    rect.stride = 16;
    rect.bitsPerPixel = 8;
    rect.bits = pixels;
    return progressive ? jpgReadProgressiveToRect(h, &rect, 8, 0) : jpgReadToRect(h, &rect, 8);
  }

  std::string name_;
};

TEST_F(PrologFaults, EveryAllocationThatFailsIsOutOfMemory) {
  for (const uint8_t sof : Bytes{0xC0, 0xC1, 0xC2}) {
    save(stream(sof, false), 0);
    faulty::reset();
    ASSERT_EQ(openOnly(0), JPG_OK);
    // The record, two code lists, two lookup arrays, the blocks and two maps.
    ASSERT_EQ(faulty::calls(Operation::kAlloc), 8u);
    for (uint32_t n = 1; n <= 8; n++) {
      faulty::reset();
      faulty::arm(Operation::kAlloc, Fault::kFail, n);
      EXPECT_EQ(openOnly(0), JPG_E_OUT_OF_MEMORY) << n;
    }
  }
  save(stream(0xC3, false), 0);
  faulty::reset();
  ASSERT_EQ(openOnly(0), JPG_OK);
  ASSERT_EQ(faulty::calls(Operation::kAlloc), 6u);  // one row buffer in place of the three
  for (uint32_t n = 1; n <= 6; n++) {
    faulty::reset();
    faulty::arm(Operation::kAlloc, Fault::kFail, n);
    EXPECT_EQ(openOnly(0), JPG_E_OUT_OF_MEMORY) << n;
  }
}

TEST_F(PrologFaults, TheSecondOpenDecides) {
  // The first open only takes the size, which only the search for EOI and lengths need.
  faulty::arm(Operation::kOpen, Fault::kFail, 1);
  EXPECT_EQ(openOnly(0), JPG_E_NOT_JPEG);
  faulty::reset();
  faulty::arm(Operation::kOpen, Fault::kFail, 1);
  EXPECT_EQ(openOnly(JPG_READ_COMPLETE), JPG_OK);
  faulty::reset();
  faulty::arm(Operation::kOpen, Fault::kFail, 2);
  EXPECT_EQ(openOnly(JPG_READ_COMPLETE), JPG_E_OPEN_FAILED);
  EXPECT_EQ(faulty::calls(Operation::kClose), 1u);  // the probe's
}

TEST_F(PrologFaults, ASizeThatCannotBeHadLeavesNothingToSearch) {
  faulty::arm(Operation::kGetSize, Fault::kFail, 1);
  EXPECT_EQ(openOnly(0), JPG_E_NOT_JPEG);
  faulty::reset();
  faulty::arm(Operation::kGetSize, Fault::kFail, 1);
  EXPECT_EQ(openOnly(JPG_READ_COMPLETE), JPG_OK);
}

TEST_F(PrologFaults, SeeksToTheStartOffsetAndBehindSoiMustSucceed) {
  save(stream(0xC0, false), 100);
  for (uint32_t n = 1; n <= 2; n++) {
    faulty::reset();
    faulty::arm(Operation::kSeek, Fault::kFail, n);
    EXPECT_EQ(openOnly(JPG_READ_COMPLETE, 100), JPG_E_SEEK) << n;
    EXPECT_EQ(faulty::calls(Operation::kClose), 2u);
  }
  faulty::reset();
  EXPECT_EQ(openOnly(JPG_READ_COMPLETE, 100), JPG_OK);
  EXPECT_EQ(faulty::calls(Operation::kSeek), 2u);
}

TEST_F(PrologFaults, TheFirstReadMustBringSoi) {
  for (const Fault fault : {Fault::kFail, Fault::kCutShort}) {  // one byte of two
    faulty::reset();
    faulty::arm(Operation::kRead, fault, 1);
    EXPECT_EQ(openOnly(JPG_READ_COMPLETE), JPG_E_NOT_JPEG);
    faulty::reset();
    faulty::arm(Operation::kRead, fault, 2);  // the first block of the headers
    EXPECT_EQ(openOnly(JPG_READ_COMPLETE), fault == Fault::kFail ? JPG_E_NOT_JPEG : JPG_OK);
  }
}

TEST_F(PrologFaults, TheEpilogTellsOnlyOfTheRecordsOwnRelease) {
  JPGHANDLE h = nullptr;
  ASSERT_EQ(open(0, &h), JPG_OK);
  ASSERT_EQ(jpgReadEpilog(h), JPG_OK);
  const uint32_t frees = faulty::calls(Operation::kFree);
  ASSERT_EQ(frees, 8u);
  for (uint32_t n = 1; n <= frees; n++) {
    faulty::reset();
    ASSERT_EQ(open(0, &h), JPG_OK);
    faulty::arm(Operation::kFree, Fault::kFail, n);
    EXPECT_EQ(jpgReadEpilog(h), n == frees ? JPG_E_FAIL : JPG_OK) << n;
    expectNothingAlive();
  }
}

// The file may not have reached the disk then.
TEST_F(PrologFaults, ACloseThatFailsIsToldByTheEpilogThatFreesEverything) {
  JPGHANDLE h = nullptr;
  ASSERT_EQ(open(0, &h), JPG_OK);
  faulty::arm(Operation::kClose, Fault::kFail, faulty::calls(Operation::kClose) + 1);
  EXPECT_EQ(jpgReadEpilog(h), JPG_E_FAIL);
  EXPECT_TRUE(faulty::faultHappened());
  expectNothingAlive();
  const std::u16string wide(name_.begin(), name_.end());
  faulty::reset();
  ASSERT_EQ(jpgWritePrologToFile(wide.c_str(), 0, &h), JPG_OK);
  faulty::arm(Operation::kClose, Fault::kFail, 1);
  EXPECT_EQ(jpgWriteEpilogToFile(h), JPG_E_FAIL);
  EXPECT_TRUE(faulty::faultHappened());
  expectNothingAlive();
}

TEST_F(PrologFaults, ACloseThatFailsBehindAnotherErrorLeavesThatOne) {
  JPGHANDLE h = nullptr;
  const std::u16string wide(name_.begin(), name_.end());
  ASSERT_EQ(jpgWritePrologToFile(wide.c_str(), 0, &h), JPG_OK);
  ASSERT_EQ(jpgWriteSetImageSize(h, 1, 1), JPG_OK);
  faulty::limitOutput(1, false);
  faulty::arm(Operation::kClose, Fault::kFail, 1);
  EXPECT_EQ(jpgWriteEpilogToFile(h), JPG_E_WRITE_FAULT);
  EXPECT_TRUE(faulty::faultHappened());
  expectNothingAlive();
}

TEST_F(PrologFaults, TablesThatCannotBeHadBetweenTheRowsLeaveTheOldOnes) {
  save(stream(0xC0, true), 0);
  JPGHANDLE h = nullptr;
  uint8_t pixels[8 * 16];
  // Two code lists, then their two lookup arrays; each time the scan keeps its old tables and
  // decodes on where the header was given up. Behind a table segment that is FF of the next
  // marker, no DC code; behind the length of SOS 01 01, whose bits 000 are a block of -8.
  const uint32_t kResult[5] = {JPG_E_BAD_DC_CODE, JPG_E_BAD_DC_CODE, JPG_OK, JPG_OK, JPG_OK};
  for (uint32_t n = 1; n <= 5; n++) {
    faulty::reset();
    ASSERT_EQ(open(0, &h), JPG_OK);
    faulty::arm(Operation::kAlloc, Fault::kFail, faulty::calls(Operation::kAlloc) + n);
    EXPECT_EQ(decode(h, pixels, false), kResult[n - 1]) << n;
    EXPECT_EQ(faulty::faultHappened(), n <= 4) << n;
    if (kResult[n - 1] == JPG_OK) {
      EXPECT_EQ(pixels[0], 129);
      EXPECT_EQ(pixels[8], 127);
    }
    EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
    expectNothingAlive();
  }
}

TEST_F(PrologFaults, AProgressiveScanWhoseTablesCannotBeHadEndsTheCall) {
  save(progressiveStream(), 0);
  JPGHANDLE h = nullptr;
  uint8_t pixels[8 * 16];
  // The AC table's code list and lookup array.
  for (uint32_t n = 1; n <= 3; n++) {
    faulty::reset();
    ASSERT_EQ(open(0, &h), JPG_OK);
    faulty::arm(Operation::kAlloc, Fault::kFail, faulty::calls(Operation::kAlloc) + n);
    EXPECT_EQ(decode(h, pixels, true), n <= 2 ? JPG_E_OUT_OF_MEMORY : JPG_OK) << n;
    EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
    expectNothingAlive();
  }
  EXPECT_EQ(pixels[0], 129);
}

TEST_F(PrologFaults, AWalkThatCannotGoBackToTheStartTellsOfNoMarker) {
  JPGHANDLE h = nullptr;
  ASSERT_EQ(open(0, &h), JPG_OK);
  uint16_t marker = 0xFFFF;
  uint32_t length = 1;
  faulty::arm(Operation::kSeek, Fault::kFail, faulty::calls(Operation::kSeek) + 1);
  EXPECT_EQ(jpgReadSeekMarkerSegment(h, JPG_SEGMENT_FIRST, &marker, &length), JPG_E_SEEK);
  EXPECT_EQ(marker, 0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
}

TEST_F(PrologFaults, ASecondHandleIsUnaffectedByAFaultOfTheFirst) {
  JPGHANDLE first = nullptr, second = nullptr;
  ASSERT_EQ(open(0, &first), JPG_OK);
  ASSERT_EQ(open(0, &second), JPG_OK);
  uint16_t marker = 0;
  uint32_t length = 0;
  faulty::arm(Operation::kSeek, Fault::kFail, faulty::calls(Operation::kSeek) + 1);
  EXPECT_EQ(jpgReadSeekMarkerSegment(first, JPG_SEGMENT_FIRST, &marker, &length), JPG_E_SEEK);
  uint8_t pixels[8 * 16];
  EXPECT_EQ(decode(second, pixels, false), JPG_OK);
  EXPECT_EQ(pixels[0], 129);
  EXPECT_EQ(pixels[8], 127);
  EXPECT_EQ(jpgReadEpilog(first), JPG_OK);
  EXPECT_EQ(jpgReadEpilog(second), JPG_OK);
  expectNothingAlive();
}

}  // namespace
