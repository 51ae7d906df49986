// A separable forward DCT of butterflies and rotations in 12-bit fixed point:
// columns first, leaving 8 times the one-dimensional transform, then rows, which
// take those three bits back.
#include "write/jpgWFdct.h"

#include "share/jpgArith.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

// Multipliers, scaled by 4096.
constexpr int32_t kC4 = 2896;  // 0.7070: cos(pi/4)
constexpr int32_t kK1 = 2217;  // 0.5413
constexpr int32_t kK2 = 3135;  // 0.7654
constexpr int32_t kK3 = 7569;  // 1.8479
constexpr int32_t kK4 = 1130;  // 0.2759
constexpr int32_t kK5 = 4551;  // 1.1111
constexpr int32_t kK6 = 6811;  // 1.6628
constexpr int32_t kK7 = 4816;  // 1.1758
constexpr int32_t kK8 = 8034;  // 1.9614
constexpr int32_t kK9 = 1598;  // 0.3901

constexpr uint32_t kFractionBits = 12;
constexpr uint32_t kColumnShift = 9;   // 2^12 down to 8
constexpr uint32_t kRowShift = 15;     // 8 x 2^12 down to 1
constexpr uint32_t kEvenRowShift = 3;  // 8 down to 1

// Rounding: half of the last place that the shift leaves.
constexpr int32_t roundShift(int32_t v, uint32_t shift) {
  return asr(v + (1 << (shift - 1)), shift);
}

// Eight outputs of a line. 0 and 4 carry the input's scale, the others 2^12 times it.
struct Line {
  int32_t y[8];
};

Line transformLine(const int32_t *x) {
  const int32_t s07 = x[0] + x[7], d07 = x[0] - x[7];
  const int32_t s16 = x[1] + x[6], d16 = x[1] - x[6];
  const int32_t s25 = x[2] + x[5], d25 = x[2] - x[5];
  const int32_t s34 = x[3] + x[4], d34 = x[3] - x[4];
  const int32_t e0 = s07 + s34, e1 = s07 - s34;
  const int32_t e2 = s16 + s25, e3 = s16 - s25;

  const int32_t a = roundShift((d16 - d25) * kC4, kFractionBits);
  const int32_t b = roundShift((d16 + d25) * kC4, kFractionBits);
  const int32_t p = d34 - a, q = d34 + a;
  const int32_t r = d07 + b, t = d07 - b;
  const int32_t m1 = (r + q) * kK4;
  const int32_t m2 = (t + p) * kK7;
  const int32_t m3 = (e1 + e3) * kK1;

  return {{e0 + e2, r * kK5 + m1, e1 * kK2 + m3, m2 - p * kK8, e0 - e2, m2 - t * kK9, m3 - e3 * kK3,
           m1 - q * kK6}};
}

void transformColumn(const int16_t *column, int32_t *out) {
  int32_t x[8];
  for (uint32_t i = 0; i < 8; i++) x[i] = column[8 * i];
  const Line line = transformLine(x);
  for (uint32_t i = 0; i < 8; i++) {
    out[8 * i] = i % 4 == 0 ? line.y[i] * 8 : roundShift(line.y[i], kColumnShift);
  }
}

void transformRow(const int32_t *row, int16_t *out) {
  const Line line = transformLine(row);
  for (uint32_t k = 0; k < 8; k++) {
    out[k] = low16(roundShift(line.y[k], k % 4 == 0 ? kEvenRowShift : kRowShift));
  }
}

}  // namespace

void jpgFdct8x8(int16_t *block) {
  int32_t work[kBlockSize];
  for (uint32_t j = 0; j < 8; j++) transformColumn(block + j, work + j);
  for (uint32_t i = 0; i < 8; i++) transformRow(work + 8 * i, block + 8 * i);
}

}  // namespace jpg
