// SPDX-License-Identifier: MIT
// Tables that are replaced while a scan decodes with them.
#include <gtest/gtest.h>

#include <vector>

#include "faulty.h"
#include "jpg.h"

namespace {

using namespace jpg;

using Bytes = std::vector<uint8_t>;

void append(Bytes *out, const Bytes &more) { out->insert(out->end(), more.begin(), more.end()); }

// A table of one-bit codes: 0 for the symbol.
Bytes dht(uint8_t tcTh, uint8_t symbol) {
  Bytes s(22, 0);
  s[0] = 0xFF;
  s[1] = 0xC4;
  s[3] = 20;
  s[4] = tcTh;
  s[5] = 1;
  s[21] = symbol;
  return s;
}

// A grey picture of three blocks, a restart interval each; DC category 1 (code 0), EOB (code
// 0); `between` stands behind the first RST marker. A block is the bits 0 v 0, padded.
Bytes stream(const Bytes &between) {
  Bytes s;
  append(&s, {0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0});
  append(&s, Bytes(64, 8));
  append(&s, {0xFF, 0xC0, 0, 11, 8, 0, 8, 0, 24, 1, 1, 0x11, 0});
  append(&s, dht(0x00, 1));
  append(&s, dht(0x10, 0));
  append(&s, {0xFF, 0xDD, 0, 4, 0, 1, 0xFF, 0xDA, 0, 8, 1, 1, 0x00, 0, 63, 0});
  append(&s, {0b01011111, 0xFF, 0xD0});
  append(&s, between);
  append(&s, {0b00011111, 0xFF, 0xD1, 0b01011111, 0xFF, 0xD9});
  return s;
}

struct Row {
  uint32_t result;
  uint8_t first, second, third;  // a sample of each block
};

Row decode(const Bytes &data) {
  faulty::reset();
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), 0, &h), JPG_OK);
  uint8_t pixels[24 * 8] = {};
  JpgRect rect = {};
  rect.width = 24;
  rect.stride = 24;
  rect.bitsPerPixel = 8;
  rect.bits = pixels;
  const uint32_t r = jpgReadToRect(h, &rect, 8);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  EXPECT_EQ(faulty::liveBlocks(), 0u);
  EXPECT_EQ(faulty::wrongFrees(), 0u);
  return {r, pixels[0], pixels[8], pixels[16]};
}

// Coefficient +-8 gives samples of +-1.
void expectBlocks(const Row &row) {
  EXPECT_EQ(row.result, JPG_OK);
  EXPECT_EQ(row.first, 129);
  EXPECT_EQ(row.second, 127);
  EXPECT_EQ(row.third, 129);
}

TEST(ReplacedTables, WithoutAnythingBetweenTheBlocksDecode) { expectBlocks(decode(stream({}))); }

TEST(ReplacedTables, AScanHeaderThatFailsLeavesTheScanItsOldTables) {
  // New tables that would decode otherwise, then a scan of an unknown component.
  Bytes between = dht(0x00, 2);
  append(&between, dht(0x10, 0x05));
  append(&between, dht(0x00, 3));  // twice: the table in use is kept, the one between is freed
  append(&between, {0xFF, 0xDA, 0, 8, 1, 9, 0x00});
  // Decoding goes on where the header was given up.
  expectBlocks(decode(stream(between)));
}

TEST(ReplacedTables, ATableThatIsRefusedChangesNothing) {
  Bytes between = dht(0x00, 1);
  between[3] = 22;
  between[5] = 3;  // three codes of one bit
  append(&between, {2, 3});
  expectBlocks(decode(stream(between)));
}

TEST(ReplacedTables, AScanHeaderThatSucceedsTakesTheNewOnes) {
  // Category 0 in place of 1: the DC bits 0 then 0 are a zero difference and EOB.
  Bytes between = dht(0x00, 0);
  append(&between, {0xFF, 0xDA, 0, 8, 1, 1, 0x00, 0, 63, 0});
  const Row row = decode(stream(between));
  EXPECT_EQ(row.second, 128);
  EXPECT_EQ(row.result, JPG_E_BAD_AC_CODE);  // the third block is coded by the old ones
}

}  // namespace
