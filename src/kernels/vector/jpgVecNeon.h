// SPDX-License-Identifier: MIT
// The layer of vectors with NEON, of ARMv7 and AArch64. jpgVec.h says what each operation gives.
#ifndef JPG_KERNELS_VECTOR_VECNEON_H
#define JPG_KERNELS_VECTOR_VECNEON_H

#include <arm_neon.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#define JPG_VEC [[gnu::always_inline]] inline

namespace jpg {
namespace vec {

struct Words {
  int16x8_t v;
};
struct TwoWords {
  Words low, high;
};
struct Bytes {
  uint8x16_t v;
};
struct Colours {
  Bytes blue, green, red;
};
struct Longs4 {
  int32x4_t v;
};
struct Longs {
  Longs4 low, high;
};
struct Pairs4 {
  int16x4_t a, b;
};
struct Pairs {
  Pairs4 low, high;
};

JPG_VEC uint16x8_t withoutSign(Words w) { return vreinterpretq_u16_s16(w.v); }
JPG_VEC Words wordsOf(uint16x8_t v) { return {vreinterpretq_s16_u16(v)}; }

// ---- Words ----

// On AArch64 gcc 12 adds offsets to the address ahead of the loads and stores that have a name.
#if defined(__aarch64__)
JPG_VEC uint8x16_t loadVector(const uint8_t *from) {
  uint8x16_t v;
  memcpy(&v, from, sizeof(v));
  return v;
}
JPG_VEC Words load(const int16_t *from) {
  Words w;
  memcpy(&w.v, from, sizeof(w.v));
  return w;
}
JPG_VEC void store(int16_t *to, Words w) { memcpy(to, &w.v, sizeof(w.v)); }
#else
JPG_VEC uint8x16_t loadVector(const uint8_t *from) { return vld1q_u8(from); }
JPG_VEC Words load(const int16_t *from) { return {vld1q_s16(from)}; }
JPG_VEC void store(int16_t *to, Words w) { vst1q_s16(to, w.v); }
#endif
JPG_VEC Words loadFour(const int16_t *from) {
  return {vcombine_s16(vld1_s16(from), vdup_n_s16(0))};
}
JPG_VEC Words loadTwo(const int16_t *from, const int16_t *next) {
  int32_t first = 0, second = 0;
  memcpy(&first, from, sizeof(first));
  memcpy(&second, next, sizeof(second));
  const int32x2_t both = vset_lane_s32(second, vdup_n_s32(first), 1);
  return {vcombine_s16(vreinterpret_s16_s32(both), vdup_n_s16(0))};
}
JPG_VEC void storeFour(int16_t *to, Words w) { vst1_s16(to, vget_low_s16(w.v)); }
JPG_VEC Words words(int value) { return {vdupq_n_s16(static_cast<int16_t>(value))}; }
JPG_VEC Words operator+(Words a, Words b) { return {vaddq_s16(a.v, b.v)}; }
JPG_VEC Words operator-(Words a, Words b) { return {vsubq_s16(a.v, b.v)}; }
JPG_VEC Words operator*(Words a, Words b) { return {vmulq_s16(a.v, b.v)}; }
JPG_VEC Words operator&(Words a, Words b) { return {vandq_s16(a.v, b.v)}; }
JPG_VEC Words least(Words a, Words b) { return {vminq_s16(a.v, b.v)}; }
JPG_VEC Words most(Words a, Words b) { return {vmaxq_s16(a.v, b.v)}; }
JPG_VEC Words magnitude(Words w) { return {vabsq_s16(w.v)}; }
JPG_VEC Words withSignOf(Words magnitude, Words w) {
  const int16x8_t sign = vshrq_n_s16(w.v, 15);
  return {vsubq_s16(veorq_s16(magnitude.v, sign), sign)};
}
JPG_VEC Words addSaturated(Words a, Words b) {
  return wordsOf(vqaddq_u16(withoutSign(a), withoutSign(b)));
}
template <int kShift>
JPG_VEC Words shiftLeft(Words w) {
  return {vshlq_n_s16(w.v, kShift)};
}
template <int kShift>
JPG_VEC Words shiftRight(Words w) {
  return wordsOf(vshrq_n_u16(withoutSign(w), kShift));
}
JPG_VEC Words shiftRight(Words w, uint32_t count) {
  return wordsOf(
      vshlq_u16(withoutSign(w), vdupq_n_s16(static_cast<int16_t>(-static_cast<int>(count)))));
}
JPG_VEC Words upperProduct(Words a, Words b) {
  const uint16x8_t x = withoutSign(a), y = withoutSign(b);
  const uint32x4_t low = vmull_u16(vget_low_u16(x), vget_low_u16(y));
  const uint32x4_t high = vmull_u16(vget_high_u16(x), vget_high_u16(y));
  return wordsOf(vcombine_u16(vshrn_n_u32(low, 16), vshrn_n_u32(high, 16)));
}

template <int kFactor, int kAdd>
JPG_VEC Words scaled(Words w) {
  const int16x8_t product = vqrdmulhq_n_s16(w.v, kFactor);
  if constexpr (kAdd == 0) return {product};
  return {vaddq_s16(product, vdupq_n_s16(kAdd))};
}

JPG_VEC bool anyAbove(Words w, int limit) {
  const uint16x8_t beyond = vqsubq_u16(withoutSign(w), vdupq_n_u16(static_cast<uint16_t>(limit)));
  const uint16x4_t any = vorr_u16(vget_low_u16(beyond), vget_high_u16(beyond));
  return vget_lane_u64(vreinterpret_u64_u16(any), 0) != 0;
}
JPG_VEC Words whereNonZero(Words w, Words taken) {
  return {vandq_s16(vreinterpretq_s16_u16(vtstq_s16(w.v, w.v)), taken.v)};
}
JPG_VEC uint32_t highest(Words w) {
  int16x4_t v = vmax_s16(vget_low_s16(w.v), vget_high_s16(w.v));
  v = vpmax_s16(v, v);
  v = vpmax_s16(v, v);
  return static_cast<uint32_t>(vget_lane_s16(v, 0));
}
JPG_VEC uint64_t nonZeroBits(const Words *w) {
  // Saturated to bytes, values other than 0 stay so. Each byte gives a bit of its own.
  const uint8x16_t weights = vreinterpretq_u8_u64(vdupq_n_u64(0x8040201008040201));
  uint8x16_t bits[4];
  for (int k = 0; k < 4; k++) {
    const int8x16_t bytes = vcombine_s8(vqmovn_s16(w[2 * k].v), vqmovn_s16(w[2 * k + 1].v));
    bits[k] = vandq_u8(vtstq_s8(bytes, bytes), weights);
  }
  const auto sums = [](uint8x16_t v) { return vpadd_u8(vget_low_u8(v), vget_high_u8(v)); };
  const uint8x8_t upper = vpadd_u8(sums(bits[0]), sums(bits[1]));
  const uint8x8_t lower = vpadd_u8(sums(bits[2]), sums(bits[3]));
  return vget_lane_u64(vreinterpret_u64_u8(vpadd_u8(upper, lower)), 0);
}

JPG_VEC Words interleaveLow(Words a, Words b) { return {vzipq_s16(a.v, b.v).val[0]}; }
JPG_VEC TwoWords interleaved(Words a, Words b) {
#if defined(__aarch64__)
  return {{vzip1q_s16(a.v, b.v)}, {vzip2q_s16(a.v, b.v)}};
#else
  // By its name, the instruction's result goes to registers that follow one another, and on by
  // moves.
  int16x8_t low = a.v, high = b.v;
  asm("vzip.16 %q0, %q1" : "+w"(low), "+w"(high));
  return {{low}, {high}};
#endif
}
JPG_VEC Words lowHalves(Words a, Words b) {
  return {vcombine_s16(vget_low_s16(a.v), vget_low_s16(b.v))};
}
JPG_VEC Words highHalves(Words a, Words b) {
  return {vcombine_s16(vget_high_s16(a.v), vget_high_s16(b.v))};
}

// ---- Longs ----

JPG_VEC Longs4 longs4(int value) { return {vdupq_n_s32(value)}; }
JPG_VEC Longs4 operator+(Longs4 a, Longs4 b) { return {vaddq_s32(a.v, b.v)}; }
JPG_VEC Longs4 operator-(Longs4 a, Longs4 b) { return {vsubq_s32(a.v, b.v)}; }
template <int kShift>
JPG_VEC Longs4 shift(Longs4 a) {
  return {vshrq_n_s32(a.v, kShift)};
}
template <int kShift>
JPG_VEC Words pack(Longs4 low, Longs4 high) {
  return {vcombine_s16(vqshrn_n_s32(low.v, kShift), vqshrn_n_s32(high.v, kShift))};
}
template <int kShift>
JPG_VEC Words packRounded(Longs4 low, Longs4 high) {
  return {vcombine_s16(vqrshrn_n_s32(low.v, kShift), vqrshrn_n_s32(high.v, kShift))};
}
// Shifts beyond 16 take the upper halves of the sums first.
template <int kShift>
JPG_VEC Words packSum(const Longs &a, const Longs &b) {
  if constexpr (kShift > 16) {
    const int16x4_t low = vaddhn_s32(a.low.v, b.low.v), high = vaddhn_s32(a.high.v, b.high.v);
    return {vshrq_n_s16(vcombine_s16(low, high), kShift - 16)};
  } else {
    return pack<kShift>(a.low + b.low, a.high + b.high);
  }
}
template <int kShift>
JPG_VEC Words packDifference(const Longs &a, const Longs &b) {
  if constexpr (kShift > 16) {
    const int16x4_t low = vsubhn_s32(a.low.v, b.low.v), high = vsubhn_s32(a.high.v, b.high.v);
    return {vshrq_n_s16(vcombine_s16(low, high), kShift - 16)};
  } else {
    return pack<kShift>(a.low - b.low, a.high - b.high);
  }
}
template <int kFactor>
JPG_VEC Longs4 times(Longs4 a) {
  return {vmulq_n_s32(a.v, kFactor)};
}
template <int kFactor>
JPG_VEC Longs4 timesSmall(Longs4 a) {
  return times<kFactor>(a);
}

// ---- Pairs ----

JPG_VEC Pairs4 pairsLow(Words a, Words b) { return {vget_low_s16(a.v), vget_low_s16(b.v)}; }
JPG_VEC Pairs4 pairsHigh(Words a, Words b) { return {vget_high_s16(a.v), vget_high_s16(b.v)}; }
// The factors come from one register, by their lanes. Hidden from the optimiser, which would put
// each into a register of its own, by two instructions.
JPG_VEC int16x4_t factors(int a, int b, int c, int d) {
  int16x4_t f = vdup_n_s16(static_cast<int16_t>(a));
  f = vset_lane_s16(static_cast<int16_t>(b), f, 1);
  f = vset_lane_s16(static_cast<int16_t>(c), f, 2);
  f = vset_lane_s16(static_cast<int16_t>(d), f, 3);
  asm("" : "+w"(f));
  return f;
}
JPG_VEC Longs4 dot(Pairs4 x, int a, int b) {
  const int16x4_t f = factors(a, b, 0, 0);
  return {vmlal_lane_s16(vmull_lane_s16(x.a, f, 0), x.b, f, 1)};
}
JPG_VEC Longs4 dot(Pairs4 x, int a, int b, Pairs4 y, int c, int d) {
  const int16x4_t f = factors(a, b, c, d);
  const int32x4_t first = vmlal_lane_s16(vmull_lane_s16(x.a, f, 0), x.b, f, 1);
  return {vmlal_lane_s16(vmlal_lane_s16(first, y.a, f, 2), y.b, f, 3)};
}
JPG_VEC Longs4 dot(Pairs4 x, Pairs4 y) { return {vmlal_s16(vmull_s16(x.a, y.a), x.b, y.b)}; }

// ---- Bytes ----

JPG_VEC Bytes loadBytes(const uint8_t *from) { return {loadVector(from)}; }
JPG_VEC Words loadEightBytes(const uint8_t *from) { return wordsOf(vmovl_u8(vld1_u8(from))); }
JPG_VEC Words lowWords(Bytes b) { return wordsOf(vmovl_u8(vget_low_u8(b.v))); }
JPG_VEC Words highWords(Bytes b) { return wordsOf(vmovl_u8(vget_high_u8(b.v))); }
JPG_VEC Words evenBytes(Bytes b) {
  return wordsOf(vandq_u16(vreinterpretq_u16_u8(b.v), vdupq_n_u16(0xFF)));
}
JPG_VEC Words oddBytes(Bytes b) { return wordsOf(vshrq_n_u16(vreinterpretq_u16_u8(b.v), 8)); }
JPG_VEC Words pairSums(Bytes b) { return wordsOf(vpaddlq_u8(b.v)); }

JPG_VEC void storeSamples(uint8_t *first, uint8_t *second, Words a, Words b) {
  const auto bytes = [](Words w) {
    return veor_u8(vreinterpret_u8_s8(vqmovn_s16(w.v)), vdup_n_u8(0x80));
  };
  vst1_u8(first, bytes(a));
  vst1_u8(second, bytes(b));
}

// ---- Pixels ----

struct Sixteen {
  Words even, odd;
};
JPG_VEC Sixteen sixteen(Words left, Words right) {
  const int16x8x2_t v = vuzpq_s16(left.v, right.v);
  return {{v.val[0]}, {v.val[1]}};
}
JPG_VEC Words ordered(Words w) { return w; }
JPG_VEC Sixteen sixteen(Bytes b) { return {evenBytes(b), oddBytes(b)}; }

JPG_VEC Colours loadPixels(const uint8_t *from) {
  const uint8x16x3_t v = vld3q_u8(from);
  return {{v.val[0]}, {v.val[1]}, {v.val[2]}};
}
JPG_VEC Colours loadLines(const uint8_t *upper, const uint8_t *lower) {
  const uint8x8x3_t a = vld3_u8(upper), b = vld3_u8(lower);
  return {{vcombine_u8(a.val[0], b.val[0])},
          {vcombine_u8(a.val[1], b.val[1])},
          {vcombine_u8(a.val[2], b.val[2])}};
}

// Sixteen columns as bytes. Shifted left by 8, words saturate as bytes do that are the upper ones;
// then the even columns move into the lower ones of the odd columns.
JPG_VEC uint8x16_t bytesOf(const Sixteen &s) {
  const uint16x8_t even = vqshluq_n_s16(s.even.v, 8), odd = vqshluq_n_s16(s.odd.v, 8);
  return vreinterpretq_u8_u16(vsriq_n_u16(odd, even, 8));
}
JPG_VEC void storeLines(uint8_t *upper, uint8_t *lower, const Sixteen &b, const Sixteen &g,
                        const Sixteen &r) {
  const uint8x16_t x = bytesOf(b), y = bytesOf(g), z = bytesOf(r);
  vst3_u8(upper, {{vget_low_u8(x), vget_low_u8(y), vget_low_u8(z)}});
  vst3_u8(lower, {{vget_high_u8(x), vget_high_u8(y), vget_high_u8(z)}});
}
JPG_VEC void storePixels(uint8_t *to, const Sixteen &b, const Sixteen &g, const Sixteen &r) {
  vst3q_u8(to, {{bytesOf(b), bytesOf(g), bytesOf(r)}});
}

}  // namespace vec
}  // namespace jpg

#endif
