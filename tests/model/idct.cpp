// SPDX-License-Identifier: MIT
#include "model/idct.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace jpgtest {
namespace {

// A 32-bit integer that wraps on overflow and shifts arithmetically.
struct Word {
  uint32_t v = 0;
  friend Word operator+(Word a, Word b) { return {a.v + b.v}; }
  friend Word operator-(Word a, Word b) { return {a.v - b.v}; }
  friend Word operator*(Word a, Word b) { return {a.v * b.v}; }
};

Word word(int64_t value) { return {static_cast<uint32_t>(value)}; }

int32_t valueOf(Word w) { return static_cast<int32_t>(w.v); }

// floor(w / 2^n)
Word shifted(Word w, unsigned n) {
  const int64_t value = valueOf(w);
  const int64_t divisor = int64_t{1} << n;
  const int64_t floor = value >= 0 ? value / divisor : -((-value + divisor - 1) / divisor);
  return word(floor);
}

// The nearest integers to 4096 cos(k pi / 16).
std::array<Word, 9> cosines() {
  std::array<Word, 9> table;
  for (unsigned k = 0; k <= 8; ++k) {
    table[k] = word(std::lround(4096.0 * std::cos(k * std::acos(-1.0) / 16.0)));
  }
  return table;
}

Word cosine(unsigned k) {
  static const std::array<Word, 9> table = cosines();
  return table[k];
}

Word sine(unsigned k) { return cosine(8 - k); }

using Eight = std::array<Word, 8>;

// One dimension. `q0` is the product that stands for x1 * S1; `dropped` of the 12 fraction bits of
// two sums are dropped before they are multiplied by c4, which keeps 12 of its own bits for all 12.
Eight kernel(const Eight &x, Word q0, unsigned dropped) {
  const Word c1 = cosine(1), s1 = sine(1), c3 = cosine(3), s3 = sine(3);
  const Word c4 = cosine(4), c2 = cosine(2), s2 = sine(2);
  const Word p = x[1] * c1 + x[7] * s1;
  const Word q = q0 - x[7] * c1;
  const Word u = x[3] * c3 + x[5] * s3;
  const Word v = x[5] * c3 - x[3] * s3;
  const Word t1 = p - u;
  const Word t2 = q - v;
  const Word o0 = p + u;
  const Word half = word(int64_t{1} << (dropped - 1)), c4Left = shifted(c4, 12 - dropped);
  const Word o1 = shifted(t1 + t2 + half, dropped) * c4Left;
  const Word o2 = shifted(t1 - t2 + half, dropped) * c4Left;
  const Word o3 = q + v;
  const Word sum = (x[0] + x[4]) * c4;
  const Word difference = (x[0] - x[4]) * c4;
  const Word r = x[2] * c2 + x[6] * s2;
  const Word s = x[2] * s2 - x[6] * c2;
  const Word e0 = sum + r, e3 = sum - r, e1 = difference + s, e2 = difference - s;
  return {e0 + o0, e1 + o1, e2 + o2, e3 + o3, e3 - o3, e2 - o2, e1 - o1, e0 - o0};
}

}  // namespace

void modelInverseDct(ModelBlock &block, FirstPass firstPass, int16_t most) {
  std::array<Word, 64> work;
  for (unsigned j = 0; j < 8; ++j) {
    Eight x;
    for (unsigned k = 0; k < 8; ++k) x[k] = word(block[8 * k + j]);
    const Eight y = kernel(x, x[1] * (firstPass == FirstPass::kSquared ? x[1] : sine(1)),
                           firstPass == FirstPass::kFine ? 8 : 12);
    for (unsigned k = 0; k < 8; ++k) work[8 * k + j] = shifted(y[k] + word(256), 9);
  }
  for (unsigned r = 0; r < 8; ++r) {
    Eight x;
    std::copy_n(work.begin() + 8 * r, 8, x.begin());
    const Eight y = kernel(x, x[1] * sine(1), 12);
    for (unsigned k = 0; k < 8; ++k) {
      const auto low = static_cast<uint16_t>(shifted(y[k] + word(65536), 17).v);
      const auto least = static_cast<int16_t>(-most - 1);
      block[8 * r + k] = std::clamp(static_cast<int16_t>(low), least, most);
    }
  }
}

}  // namespace jpgtest
