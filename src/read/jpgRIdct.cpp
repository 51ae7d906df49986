// A separable inverse DCT in 12-bit fixed point: columns first, leaving values at
// 8 times the one-dimensional transform, then rows, which divide by 2^17.
#include "read/jpgRIdct.h"

#include "share/jpgArith.h"
#include "share/jpgTables.h"

namespace jpg {
namespace {

// Multipliers: nearest integers to 4096 cos and 4096 sin of the angle.
constexpr int32_t kC1 = 4017;  // cos(pi/16)
constexpr int32_t kS1 = 799;   // sin(pi/16)
constexpr int32_t kC3 = 3406;  // cos(3pi/16)
constexpr int32_t kS3 = 2276;  // sin(3pi/16)
constexpr int32_t kC4 = 2896;  // cos(pi/4)
constexpr int32_t kC2 = 3784;  // cos(pi/8)
constexpr int32_t kS2 = 1567;  // sin(pi/8)

constexpr uint32_t kColumnShift = 9;  // first pass: 2^12 down to 8
constexpr uint32_t kRowShift = 17;    // second pass: 8 x 2^12 x 4 down to 1
constexpr uint32_t kButterflyShift = 12;

// Rounding: half of the last place that the shift leaves.
constexpr int32_t roundShift(int32_t v, uint32_t shift) {
  return asr(wrapAdd(v, 1 << (shift - 1)), shift);
}

// Eight values ahead of descaling.
struct Line {
  int32_t y[8];
};

// The one-dimensional transform. x1S1 is the first rotation's product of x1, which
// the two passes form differently.
Line transformLine(const int32_t *x, int32_t x1S1) {
  int32_t p = wrapMul(x[1], kC1);
  int32_t q = x1S1;
  if (x[7] != 0) {
    p = wrapAdd(p, wrapMul(x[7], kS1));
    q = wrapSub(q, wrapMul(x[7], kC1));
  }
  int32_t o0 = p, t1 = p, o3 = q, t2 = q;
  if ((x[3] | x[5]) != 0) {
    const int32_t u = wrapAdd(wrapMul(x[3], kC3), wrapMul(x[5], kS3));
    const int32_t v = wrapSub(wrapMul(x[5], kC3), wrapMul(x[3], kS3));
    o0 = wrapAdd(p, u);
    t1 = wrapSub(p, u);
    o3 = wrapAdd(q, v);
    t2 = wrapSub(q, v);
  }
  const int32_t o1 = wrapMul(roundShift(wrapAdd(t1, t2), kButterflyShift), kC4);
  const int32_t o2 = wrapMul(roundShift(wrapSub(t1, t2), kButterflyShift), kC4);

  int32_t e0 = wrapMul(wrapAdd(x[0], x[4]), kC4);
  int32_t e1 = wrapMul(wrapSub(x[0], x[4]), kC4);
  int32_t e3 = e0, e2 = e1;
  if ((x[2] | x[6]) != 0) {
    const int32_t r = wrapAdd(wrapMul(x[2], kC2), wrapMul(x[6], kS2));
    const int32_t s = wrapSub(wrapMul(x[2], kS2), wrapMul(x[6], kC2));
    e3 = wrapSub(e0, r);
    e0 = wrapAdd(e0, r);
    e2 = wrapSub(e1, s);
    e1 = wrapAdd(e1, s);
  }
  return {{wrapAdd(e0, o0), wrapAdd(e1, o1), wrapAdd(e2, o2), wrapAdd(e3, o3), wrapSub(e3, o3),
           wrapSub(e2, o2), wrapSub(e1, o1), wrapSub(e0, o0)}};
}

// First pass over one column. The product of x1 in the first rotation is x1 * x1
// here, where a textbook transform has x1 * kS1: this is the library's output
// whenever vertical frequency 1 is present, and must stay.
void transformColumn(const int16_t *column, int32_t *out) {
  int32_t x[8];
  int32_t ac = 0;
  for (uint32_t k = 0; k < 8; k++) x[k] = column[8 * k];
  for (uint32_t k = 1; k < 8; k++) ac |= x[k];
  if (ac == 0) {
    const int32_t level = x[0] == 0 ? 0 : roundShift(x[0] * kC4, kColumnShift);
    for (uint32_t k = 0; k < 8; k++) out[8 * k] = level;
    return;
  }
  const Line line = transformLine(x, x[1] * x[1]);
  for (uint32_t k = 0; k < 8; k++) out[8 * k] = roundShift(line.y[k], kColumnShift);
}

void transformRow(const int32_t *row, int16_t *out) {
  const Line line = transformLine(row, wrapMul(row[1], kS1));
  for (uint32_t k = 0; k < 8; k++) out[k] = low16(roundShift(line.y[k], kRowShift));
}

constexpr SampleLimitTable makeSampleLimit() {
  SampleLimitTable t{};
  for (int32_t i = 0; i < kSampleLimitSize; i++) {
    int32_t v = i - kSampleLimitZero;
    if (v < kMinSample) v = kMinSample;
    if (v > kMaxSample) v = kMaxSample;
    t.entry[i] = static_cast<int16_t>(v);
  }
  return t;
}

}  // namespace

constexpr SampleLimitTable jpgSampleLimit = makeSampleLimit();

void jpgIdct8x8(int16_t *block) {
  int32_t work[kBlockSize];
  for (uint32_t j = 0; j < 8; j++) transformColumn(block + j, work + j);
  for (uint32_t r = 0; r < 8; r++) transformRow(work + 8 * r, block + 8 * r);
}

int16_t flatSample(int16_t dc) {
  const int32_t level = roundShift(dc * kC4, kColumnShift);
  return limitSample(low16(roundShift(wrapMul(level, kC4), kRowShift)));
}

void limitBlock(int16_t *block) {
  for (uint32_t i = 0; i < kBlockSize; i++) block[i] = limitSample(block[i]);
}

}  // namespace jpg
