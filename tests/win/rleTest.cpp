// SPDX-License-Identifier: MIT
// Run-length codes beside a plain model, hostile ones too: nothing outside the bitmap is
// written, and every expansion ends.
#include "win/jpgRle.h"

#include <gtest/gtest.h>
#include <jpg.h>

#include <algorithm>
#include <vector>

#include "faulty.h"
#include "support/bytes.h"
#include "support/random.h"
#include "support/reader.h"

namespace {

using namespace jpgtest;

// A bitmap of pixels, one a byte, with rows as long as padding to 4 bytes makes them.
struct Pixels {
  int64_t columns;
  std::vector<Bytes> rows;
};

Pixels blank(int32_t width, int32_t height, int32_t depth) {
  const int64_t columns = (int64_t{width} * depth + 31) / 32 * 32 / depth;
  const Bytes row(static_cast<size_t>(columns));
  return {columns, std::vector<Bytes>(static_cast<size_t>(height), row)};
}

// The codes carried out pixel by pixel. False for a run that leaves its row; data that end early
// end the bitmap, and literal codes that aren't all there give no pixel.
class Model {
 public:
  Model(const Bytes &codes, int32_t depth, Pixels *to) : codes_(codes), depth_(depth), to_(to) {}

  bool run() {
    while (row_ < static_cast<int64_t>(to_->rows.size()) && at_ < codes_.size()) {
      const size_t count = codes_[at_++];
      if (!(count != 0 ? repeat(count) : escape())) return false;
    }
    return true;
  }

 private:
  bool has(size_t bytes) const { return codes_.size() - at_ >= bytes; }
  bool fits(size_t count) const { return column_ + static_cast<int64_t>(count) <= to_->columns; }
  void put(unsigned value) {
    to_->rows[static_cast<size_t>(row_)][static_cast<size_t>(column_++)] =
        static_cast<uint8_t>(value);
  }
  // The pixel at a place of a string of bytes.
  unsigned pixel(size_t first, size_t i) const {
    if (depth_ == 8) return codes_[first + i];
    const unsigned byte = codes_[first + i / 2];
    return i % 2 == 0 ? byte >> 4 : byte & 15;
  }
  void stop() { at_ = codes_.size(); }

  bool repeat(size_t count) {
    if (!fits(count)) return false;
    if (!has(1)) return true;
    for (size_t i = 0; i < count; i++) put(pixel(at_, depth_ == 8 ? 0 : i % 2));
    at_++;
    return true;
  }

  bool escape() {
    if (!has(1)) return true;
    const size_t code = codes_[at_++];
    if (code == 0) {
      row_++;
      column_ = 0;
    } else if (code == 1) {
      stop();
    } else if (code == 2) {
      if (!has(2)) {
        stop();
        return true;
      }
      column_ += codes_[at_];
      row_ += codes_[at_ + 1];
      at_ += 2;
    } else {
      return literals(code);
    }
    return true;
  }

  bool literals(size_t count) {
    if (!fits(count)) return false;
    const size_t bytes = depth_ == 8 ? count : (count + 1) / 2;
    if (!has(bytes)) {
      stop();
      return true;
    }
    for (size_t i = 0; i < count; i++) put(pixel(at_, i));
    at_ = std::min(codes_.size(), at_ + bytes + bytes % 2);  // padded to an even number
    return true;
  }

  const Bytes &codes_;
  int32_t depth_;
  Pixels *to_;
  size_t at_ = 0;
  int64_t column_ = 0, row_ = 0;
};

// A plain bitmap of the pixels.
Bytes packed(const Pixels &pixels, int32_t depth) {
  Bytes out;
  for (const Bytes &row : pixels.rows) {
    if (depth == 8) {
      append(out, row);
      continue;
    }
    for (size_t x = 0; x < row.size(); x += 2) {
      out.push_back(static_cast<uint8_t>(row[x] << 4 | row[x + 1]));
    }
  }
  return out;
}

struct Expansion {
  uint32_t result;
  Bytes bits;
};

// The library's expansion into a block of exactly the bitmap's size, from one of exactly the
// codes': AddressSanitizer sees any access outside.
Expansion expand(const Bytes &codes, int32_t width, int32_t height, int32_t depth) {
  const auto rowBytes = static_cast<uint32_t>((width * depth + 31) / 32 * 4);
  Expansion e = {0, Bytes(size_t{rowBytes} * static_cast<uint32_t>(height))};
  e.bits.shrink_to_fit();
  const Bytes exact(codes);
  const jpg::RlePlane plane = {e.bits.data(), rowBytes, static_cast<uint32_t>(height),
                               static_cast<uint32_t>(depth)};
  e.result = jpg::expandRle(exact.data(), static_cast<uint32_t>(exact.size()), plane);
  return e;
}

// How many expansions ended either way.
struct Tally {
  int fine = 0, failed = 0;
};

void expectAsModel(const Bytes &codes, int32_t width, int32_t height, int32_t depth,
                   Tally *tally = nullptr) {
  Pixels pixels = blank(width, height, depth);
  const bool fine = Model(codes, depth, &pixels).run();
  const Expansion e = expand(codes, width, height, depth);
  ASSERT_RESULT(fine ? JPG_OK : JPG_E_FAIL, e.result);
  ASSERT_EQ(e.bits, packed(pixels, depth));
  if (tally != nullptr) (fine ? tally->fine : tally->failed)++;
}

TEST(RunLengths, WrongOnesFailOrEndTheBitmap) {
  Bytes jumps;
  for (int i = 0; i < 1000; i++) append(jumps, {0, 2, 255, 0});
  const struct {
    const char *what;
    Bytes codes;
    uint32_t result;
    Bytes rows;  // of 8 x 2 pixels of 8 bits; empty: nothing is written
  } kCases[] = {
      {"a run to the row's end",
       {8, 5, 0, 1},
       JPG_OK,
       {5, 5, 5, 5, 5, 5, 5, 5, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"a run beyond it", {9, 5, 0, 1}, JPG_E_FAIL, {}},
      {"the longest run", {255, 5, 0, 1}, JPG_E_FAIL, {}},
      {"literals beyond it", {0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 1}, JPG_E_FAIL, {}},
      {"a run behind a jump beyond it", {0, 2, 9, 0, 1, 5, 0, 1}, JPG_E_FAIL, {}},
      {"a jump beyond it alone", {0, 2, 255, 0, 0, 1}, JPG_OK, {}},
      {"a jump below the last row", {0, 2, 0, 2, 8, 5, 0, 1}, JPG_OK, {}},
      {"jumps to the right without end", jumps, JPG_OK, {}},
      {"rows without end", Bytes(4096, 0), JPG_OK, {}},
      {"no codes but the end", {0, 1, 8, 5}, JPG_OK, {}},
      {"a count without its pixel", {8}, JPG_OK, {}},
      {"an escape without its code", {0}, JPG_OK, {}},
      {"a jump without its distance", {0, 2}, JPG_OK, {}},
      {"a jump with half of it", {0, 2, 1}, JPG_OK, {}},
      {"literals without their bytes", {0, 8, 1, 2, 3}, JPG_OK, {}},
      {"no end code", {2, 5}, JPG_OK, {5, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"literals without their padding",
       {0, 3, 1, 2, 3},
       JPG_OK,
       {1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
  };
  for (const auto &c : kCases) {
    const Expansion e = expand(c.codes, 8, 2, 8);
    EXPECT_RESULT(c.result, e.result) << c.what;
    EXPECT_EQ(e.bits, c.rows.empty() ? Bytes(16) : c.rows) << c.what;
    expectAsModel(c.codes, 8, 2, 8);
  }
}

TEST(RunLengths, ARowEndsWithItsPadding) {
  // 5 pixels of 8 bits lie in 8 bytes, 9 of 4 bits in 8 bytes too: 16 pixels.
  for (const uint8_t count : {uint8_t{8}, uint8_t{9}}) {
    EXPECT_RESULT(count == 8 ? JPG_OK : JPG_E_FAIL, expand({count, 1, 0, 1}, 5, 1, 8).result);
  }
  for (const uint8_t count : {uint8_t{16}, uint8_t{17}}) {
    EXPECT_RESULT(count == 16 ? JPG_OK : JPG_E_FAIL, expand({count, 1, 0, 1}, 9, 1, 4).result);
  }
}

// Codes that mostly fit, of all kinds, with damage.
Bytes randomCodes(Random *random, int32_t width) {
  Bytes codes;
  const auto put = [&codes](int32_t byte) { codes.push_back(static_cast<uint8_t>(byte)); };
  for (int32_t n = random->between(0, 30); n > 0; n--) {
    switch (random->between(0, 6)) {
      case 0:
        put(0);
        put(0);
        break;
      case 1:
        if (!random->oneIn(6)) break;
        put(0);
        put(1);
        break;
      case 2:
        put(0);
        put(2);
        put(random->oneIn(5) ? random->between(0, 255) : random->between(0, 3));
        put(random->oneIn(9) ? random->between(0, 255) : random->between(0, 2));
        break;
      case 3: {
        const int32_t count = random->between(3, std::max(3, random->oneIn(9) ? 255 : width / 2));
        put(0);
        put(count);
        for (int32_t i = 0; i < count + count % 2; i++) put(random->between(0, 255));
        break;
      }
      default:
        put(random->between(1, std::max(1, random->oneIn(9) ? 255 : width / 2)));
        put(random->between(0, 255));
        break;
    }
  }
  if (codes.empty()) put(random->between(0, 255));  // no size would mean no bound
  const auto size = static_cast<int32_t>(codes.size());
  if (random->oneIn(4)) codes.resize(static_cast<size_t>(random->between(1, size)));
  return codes;
}

TEST(RunLengths, RandomCodesAreExpandedAsTheModelDoes) {
  Tally tally;
  Random random(7);
  for (int round = 0; round < 20000; round++) {
    const int32_t depth = random.oneIn(2) ? 4 : 8;
    const int32_t width = random.between(1, 40), height = random.between(1, 12);
    const Bytes codes = randomCodes(&random, width);
    ASSERT_NO_FATAL_FAILURE(expectAsModel(codes, width, height, depth, &tally)) << round;
  }
  EXPECT_GT(tally.fine, 4000);
  EXPECT_GT(tally.failed, 4000);
}

TEST(RunLengths, RandomBytesAreExpandedAsTheModelDoes) {
  Tally tally;
  Random random(8);
  for (int round = 0; round < 20000; round++) {
    Bytes codes(static_cast<size_t>(random.between(1, 200)));
    for (uint8_t &byte : codes) {
      byte = static_cast<uint8_t>(random.oneIn(2) ? random.between(0, 4) : random.between(0, 255));
    }
    const int32_t width = random.between(1, 300), height = random.between(1, 12);
    const int32_t depth = random.oneIn(2) ? 4 : 8;
    ASSERT_NO_FATAL_FAILURE(expectAsModel(codes, width, height, depth, &tally)) << round;
  }
  EXPECT_GT(tally.fine, 1000);
  EXPECT_GT(tally.failed, 4000);
}

// ---- By way of the writer -------------------------------------------------

struct Info {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[256] = {};
  const BITMAPINFO *bmi() const { return reinterpret_cast<const BITMAPINFO *>(this); }
};

Info describe(int32_t width, int32_t height, int32_t depth) {
  Info info;
  info.header.biSize = 40;
  info.header.biWidth = width;
  info.header.biHeight = height;
  info.header.biPlanes = 1;
  info.header.biBitCount = static_cast<uint16_t>(depth);
  for (int i = 0; i < 256; i++) {
    info.colors[i] = {static_cast<uint8_t>(3 * i), static_cast<uint8_t>(255 - i),
                      static_cast<uint8_t>(7 * i), 0};
  }
  return info;
}

struct Written {
  uint32_t result;
  Bytes stream;
};

// Nothing of it may stay, whether it succeeds or not.
Written write(const Info &info, int32_t lines, const Bytes &bits) {
  const size_t blocks = jpg::faulty::liveBlocks();
  JPGHANDLE h = nullptr;
  EXPECT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &h));
  Bytes exact(bits);
  exact.push_back(0);  // an empty block has no address
  Written w = {jpgWriteFromWinDIBits(h, lines, exact.data(), info.bmi()), {}};
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
  const auto *bytes = static_cast<const uint8_t *>(data);
  w.stream.assign(bytes, bytes + size);
  EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
  EXPECT_EQ(blocks, jpg::faulty::liveBlocks());
  return w;
}

TEST(RunLengths, RandomCodesAreEncodedAsTheBitmapThatTheyMean) {
  Random random(9);
  for (int round = 0; round < 1500; round++) {
    const int32_t depth = random.oneIn(2) ? 4 : 8;
    const int32_t width = random.between(1, 40), height = random.between(1, 12);
    Bytes codes = randomCodes(&random, width);
    Pixels pixels = blank(width, height, depth);
    const bool fine = Model(codes, depth, &pixels).run();
    Info coded = describe(width, height, depth);
    coded.header.biCompression = depth == 8 ? BI_RLE8 : BI_RLE4;
    coded.header.biSizeImage = static_cast<uint32_t>(codes.size());
    const Written w = write(coded, height, codes);
    ASSERT_RESULT(fine ? JPG_OK : JPG_E_FAIL, w.result) << "round " << round;
    if (!fine) continue;
    const Written plain = write(describe(width, height, depth), height, packed(pixels, depth));
    ASSERT_EQ(w.stream == plain.stream, true) << "round " << round;
  }
}

// Without a size the codes go up to their end code.
TEST(RunLengths, WithoutASizeTheEndCodeEnds) {
  const Bytes codes = {3, 1, 0, 0, 2, 7, 0, 1};
  Info coded = describe(8, 4, 8);
  coded.header.biCompression = BI_RLE8;
  const Written unsized = write(coded, 4, codes);
  EXPECT_RESULT(JPG_OK, unsized.result);
  coded.header.biSizeImage = static_cast<uint32_t>(codes.size());
  EXPECT_EQ(unsized.stream == write(coded, 4, codes).stream, true);
}

}  // namespace
