// SPDX-License-Identifier: MIT
// Rows of pixels from planes, and blocks stored as bytes: every kernel against plain sums.
#include <algorithm>
#include <string>
#include <vector>

#include "kernels/kernelSets.h"
#include "model/colour.h"

namespace {

using namespace jpg;
using jpgtest::FencedBytes;
using jpgtest::Random;

constexpr uint32_t kAhead = 1, kBehind = 64;  // samples that a kernel may read around a row

// Rows of samples for a row of `columns` pixels, each between pages that can't be touched.
struct Samples {
  Samples(uint32_t columns, uint32_t chroma, Random *r)
      : y(columns + kBehind, FencedBytes::kBehind),
        rows{{fenced(chroma), fenced(chroma)}, {fenced(chroma), fenced(chroma)}} {
    scatter(&y, r);
    for (auto &component : rows) {
      for (auto &row : component) scatter(row.get(), r);
    }
  }
  static std::unique_ptr<FencedBytes> fenced(uint32_t samples) {
    return std::make_unique<FencedBytes>(kAhead + samples + kBehind, FencedBytes::kBehind);
  }
  static void scatter(FencedBytes *bytes, Random *r) {
    const bool ends = r->oneIn(4);
    for (size_t i = 0; i < bytes->size(); i++) {
      const uint8_t any = r->byte();
      bytes->begin()[i] = !ends ? any : any < 128 ? uint8_t{0} : uint8_t{255};
    }
  }
  int at(uint32_t component, uint32_t row, int64_t i) const {
    return rows[component][row]->begin()[kAhead + i];
  }

  FencedBytes y;
  std::unique_ptr<FencedBytes> rows[2][2];
};

// Which kernel: [interpolates][across - 1][down - 1].
struct Layout {
  bool interpolates;
  uint32_t across, down;
};

// The sample of a pixel: sixteenths of the four nearest samples, halves rounded as jpgKernels.h has
// it.
int chromaOf(const Samples &s, const Layout &l, bool oddRow, uint32_t component, uint32_t x) {
  const int64_t i = x / l.across;
  if (!l.interpolates || l.across * l.down == 1) return s.at(component, 0, i);
  const int64_t beside = l.across == 1 ? i : x % 2 != 0 ? i + 1 : i - 1;
  const auto down = [&](int64_t column) {
    const int first = s.at(component, 0, column);
    return l.down == 1 ? 4 * first : 3 * first + s.at(component, 1, column);
  };
  const int sixteenths = 3 * down(i) + down(beside);
  const bool both = l.across == 2 && l.down == 2;
  const bool odd = l.across == 2 ? x % 2 != 0 : oddRow;
  return (sixteenths + (odd != both ? 8 : 7)) / 16;
}

std::vector<uint8_t> expectedRow(const Samples &s, const Layout &l, bool oddRow, uint32_t columns) {
  std::vector<uint8_t> out;
  for (uint32_t x = 0; x < columns; x++) {
    const auto bgr = jpgtest::modelYccToBgr(const_cast<Samples &>(s).y.begin()[x] - 128,
                                            chromaOf(s, l, oddRow, 0, x) - 128,
                                            chromaOf(s, l, oddRow, 1, x) - 128);
    out.insert(out.end(), bgr.begin(), bgr.end());
  }
  return out;
}

class Rows : public jpgtest::KernelTest {
 protected:
  void check(const Layout &l, uint32_t columns, Random *r) {
    const Samples s(columns, (columns + l.across - 1) / l.across, r);
    const bool oddRow = r->oneIn(2);
    YccRow row = {};
    row.y = const_cast<Samples &>(s).y.begin();
    row.odd = oddRow;
    for (uint32_t k = 0; k < 2; k++) {
      row.first[k] = s.rows[k][0]->begin() + kAhead;
      row.second[k] = s.rows[k][1]->begin() + kAhead;
    }
    FencedBytes out(size_t{3} * columns, FencedBytes::kBehind);
    (*tested_->putYccRow)[l.interpolates ? 1 : 0][l.across - 1][l.down - 1](row, out.begin(),
                                                                            columns);
    const std::vector<uint8_t> expected = expectedRow(s, l, oddRow, columns);
    ASSERT_TRUE(
        jpgtest::sameValues(*tested_, "putYccRow", expected.data(), out.begin(), expected.size(),
                            [&](size_t i) {
                              return "column " + std::to_string(i / 3) + " of " +
                                     std::to_string(columns) + ", channel " + std::to_string(i % 3);
                            }))
        << (l.interpolates ? "interpolated " : "replicated ") << l.across << "x" << l.down;
  }
};

TEST_P(Rows, OfEachLayoutAndEveryLengthAreThePlainOnes) {
  Random r(5);
  for (const bool interpolates : {false, true}) {
    for (uint32_t across = 1; across <= 2; across++) {
      for (uint32_t down = 1; down <= 2; down++) {
        for (uint32_t columns = 1; columns <= 130; columns++) {
          for (int n = 0; n < 4; n++) check({interpolates, across, down}, columns, &r);
        }
        check({interpolates, across, down}, 4099, &r);
      }
    }
  }
}

// All pairs of chroma values, and those of Y that are on the ends of the range with them.
TEST_P(Rows, OfEveryChromaHaveTheColoursOfTheTables) {
  constexpr uint32_t kColumns = 256;
  std::vector<uint8_t> y(kColumns + 64), cb(kColumns + 65), cr(kColumns + 65);
  for (uint32_t i = 0; i < cb.size(); i++) cb[i] = static_cast<uint8_t>(i - 1);
  for (int v = 0; v < 256; v++) {
    std::fill(cr.begin(), cr.end(), static_cast<uint8_t>(v));
    for (const int luma : {0, 1, 77, 128, 200, 255}) {
      std::fill(y.begin(), y.end(), static_cast<uint8_t>(luma));
      const YccRow row = {y.data(), {&cb[1], &cr[1]}, {&cb[1], &cr[1]}, false};
      uint8_t out[3 * kColumns];
      (*tested_->putYccRow)[0][0][0](row, out, kColumns);
      for (int b = 0; b < 256; b++) {
        const auto bgr = jpgtest::modelYccToBgr(luma - 128, b - 128, v - 128);
        for (size_t k = 0; k < 3; k++) {
          ASSERT_EQ(out[3 * static_cast<size_t>(b) + k], bgr[k]) << luma << ", " << b << ", " << v;
        }
      }
    }
  }
}

TEST_P(Rows, OfABlockAreItsSamplesWithTheLevelShiftAdded) {
  Random r(6);
  for (const ptrdiff_t stride : {8, 13, 64, -8, -32}) {
    for (int n = 0; n < 50; n++) {
      int16_t block[64];
      for (int16_t &v : block) v = static_cast<int16_t>(r.between(-128, 127));
      const size_t size = static_cast<size_t>(stride < 0 ? -stride : stride) * 7 + 8;
      FencedBytes expected(size, FencedBytes::kBehind), made(size, FencedBytes::kBehind);
      const size_t top = stride < 0 ? size - 8 : 0;
      for (ptrdiff_t y = 0; y < 8; y++) {
        for (ptrdiff_t x = 0; x < 8; x++) {
          expected.begin()[static_cast<ptrdiff_t>(top) + y * stride + x] =
              static_cast<uint8_t>(block[8 * y + x] + 128);
        }
      }
      tested_->storeBlock(block, made.begin() + top, stride);
      ASSERT_TRUE(made.equals(expected)) << stride;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, Rows, ::testing::ValuesIn(jpgtest::kernelSets()),
                         jpgtest::nameOfSet);

}  // namespace
