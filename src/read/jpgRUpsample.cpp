// SPDX-License-Identifier: MIT
// Interpolation and replication of subsampled components, at any ratio.
//
// A component's samples lie in the middle of the pixels that they stand for. A pixel between two
// samples takes of each in proportion to how near it is (a triangle filter): with two pixels to a
// sample, 3/4 of the nearest and 1/4 of the next. Beyond the picture's edges its last samples
// count. Ties are rounded down in even columns and up in odd ones (by rows where only rows are
// interpolated, and the other way round where both are), so that the mean doesn't move.
#include "read/jpgRPlaneRows.h"
#include "share/jpgAssert.h"

namespace jpg {
namespace {

// A row that needs nothing of this.
template <typename Sample>
void copyRow(const uint8_t *row, uint16_t *out, uint32_t columns) {
  const auto *in = samplesOf<Sample>(row);
  for (uint32_t x = 0; x < columns; x++) out[x] = in[x];
}

// Weighted sum of two rows of samples, from the sample ahead of the first one on.
template <typename Sample>
void blendRows(const Planes &p, const PlaneComponent &k, const RowPair &rows, uint32_t samples) {
  const auto *upper = samplesOf<Sample>(planeRow(p, k, rows.upper));
  const auto *lower = samplesOf<Sample>(planeRow(p, k, rows.lower));
  uint16_t *out = p.blend;
  JPG_ASSERT(samples < p.columns + kRowSlack);
  JPG_ASSERT(samples * sizeof(Sample) <= static_cast<size_t>(k.stride));
  for (uint32_t x = 0; x < samples; x++) {
    out[x] = static_cast<uint16_t>(upper[x] * rows.upperWeight + lower[x] * rows.lowerWeight);
  }
}

// Each pixel takes the sample that covers it.
void replicate(const uint16_t *in, const PlaneRatio &across, uint16_t *out, uint32_t columns) {
  uint32_t i = 0, phase = 0;
  for (uint32_t x = 0; x < columns; x++) {
    out[x] = in[i];
    phase += across.part;
    if (phase < across.whole) continue;
    phase -= across.whole;
    i++;
  }
}

// The division of a sum of weighted samples by the weights, which are 2 * whole in a direction that
// is interpolated, that is 4, 6 or 8.
struct Rounding {
  uint32_t shift;    // powers of 2 in the divisor
  uint32_t threes;   // powers of 3
  uint32_t ties[2];  // added ahead, in even and in odd columns

  uint16_t divide(uint32_t sum, uint32_t tie) const {
    const uint32_t v = (sum + ties[tie]) >> shift;
    return static_cast<uint16_t>(threes == 0 ? v : threes == 1 ? v / 3 : v / 9);
  }
};

Rounding roundingOf(uint32_t wholeAcross, uint32_t wholeDown) {
  static constexpr uint8_t kDivisor[] = {0, 1, 4, 6, 8}, kShift[] = {0, 0, 2, 1, 3};
  const uint32_t divisor = uint32_t{kDivisor[wholeAcross]} * kDivisor[wholeDown];
  const uint32_t low = (divisor - 1) / 2, high = divisor / 2;
  const bool both = wholeAcross != 1 && wholeDown != 1;
  Rounding r = {uint32_t{kShift[wholeAcross]} + kShift[wholeDown], 0, {low, high}};
  r.threes = (wholeAcross == 3 ? 1U : 0U) + (wholeDown == 3 ? 1U : 0U);
  if (both) r.ties[0] = high;
  if (both) r.ties[1] = low;
  return r;
}

void divide(uint16_t *row, const Rounding &r, uint32_t tie, uint32_t columns) {
  for (uint32_t x = 0; x < columns; x++) row[x] = r.divide(row[x], tie);
}

// The weight of the right one of two samples goes up by 2 * part from pixel to pixel, modulo
// 2 * whole.
void interpolate(const uint16_t *in, const PlaneRatio &across, const Rounding &r, uint16_t *out,
                 uint32_t columns) {
  const uint32_t sum = 2 * across.whole;
  uint32_t right = sum + across.part - across.whole;
  const uint16_t *left = in - 1;
  for (uint32_t x = 0; x < columns; x++) {
    const uint32_t v = left[0] * (sum - right) + left[1] * right;
    out[x] = r.divide(v, x % 2);
    right += 2 * across.part;
    if (right < sum) continue;
    right -= sum;
    left++;
  }
}

}  // namespace

RowPlace rowPlaceOf(const PlaneRatio &down, uint32_t y) {
  // Twice the sample's place, from the middle of the one above the start: never negative.
  const uint32_t twice = (2 * y + 1) * down.part + down.whole;
  const uint32_t sum = 2 * down.whole;
  return {static_cast<int32_t>(twice / sum) - 1, twice % sum};
}

void upsampleRow(const Planes &p, const PlaneComponent &k, const RowPair &rows, uint32_t y,
                 uint16_t *out, uint32_t columns) {
  if (k.across.whole == 1 && rows.lowerWeight == 0) {
    (p.wide ? copyRow<uint16_t> : copyRow<uint8_t>)(planeRow(p, k, rows.upper), out, columns);
    return;
  }
  const bool across = p.smooth && k.across.whole != 1;
  const uint32_t samples = columns * k.across.part / k.across.whole + 2;
  if (p.wide) {
    blendRows<uint16_t>(p, k, rows, samples);
  } else {
    blendRows<uint8_t>(p, k, rows, samples);
  }
  p.blend[-1] = p.blend[0];
  const uint32_t down = rows.upperWeight + rows.lowerWeight == 1 ? 1 : k.down.whole;
  if (across) {
    interpolate(p.blend, k.across, roundingOf(k.across.whole, down), out, columns);
    return;
  }
  replicate(p.blend, k.across, out, columns);
  if (down != 1) divide(out, roundingOf(1, down), y % 2, columns);
}

}  // namespace jpg
