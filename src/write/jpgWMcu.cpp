// SPDX-License-Identifier: MIT
#include "write/jpgWMcu.h"

#include "share/jpgArith.h"

namespace jpg {
namespace {

constexpr int32_t kLevelShift = 128;
constexpr uint32_t kFractionBits = 12;

// ---- Colour conversion ----------------------------------------------------

int16_t descale(int32_t v) { return low16(asr(v, kFractionBits)); }

// Factors scaled by 4096; 2048 is both 0.5 and the rounding.
void convertBgrToYcc(const uint8_t *in, int16_t *out, uint32_t pixels) {
  constexpr int32_t kHalf = 1 << (kFractionBits - 1);
  for (uint32_t i = 0; i < pixels; i++, in += 3, out += 3) {
    const int32_t b = in[0], g = in[1], r = in[2];
    const int32_t y = 1225 * r + 2404 * g + 467 * b + kHalf;
    out[0] = descale(y - (kLevelShift << kFractionBits));
    out[1] = descale(2048 * b - 691 * r - 1357 * g + kHalf);
    out[2] = descale(2048 * r - 1715 * g - 333 * b + kHalf);
  }
}

// Blue, green, red as components red, green, blue.
void convertBgrToRgb(const uint8_t *in, int16_t *out, uint32_t pixels) {
  for (uint32_t i = 0; i < pixels; i++, in += 3, out += 3) {
    for (uint32_t k = 0; k < 3; k++) out[k] = static_cast<int16_t>(in[2 - k] - kLevelShift);
  }
}

// Plain bytes; the level shift of these layouts is done by their gather routines.
template <uint32_t kComponents>
void convertPlain(const uint8_t *in, int16_t *out, uint32_t pixels) {
  for (uint32_t i = 0; i < pixels * kComponents; i++) out[i] = in[i];
}

// ---- Gathering ------------------------------------------------------------

// One block: every kStepX-th sample of every kStepY-th line.
template <uint32_t kComponents, uint32_t kStepX, uint32_t kStepY, int32_t kBias>
int16_t *gatherBlock(const int16_t *in, int16_t *out) {
  for (uint32_t y = 0; y < 8; y++, in += kStepY * kAreaSize * kComponents) {
    for (uint32_t x = 0; x < 8; x++) {
      *out++ = static_cast<int16_t>(in[x * kStepX * kComponents] - kBias);
    }
  }
  return out;
}

// kAcross x kDown blocks, left to right and down. A component that has a single
// block in a direction in which the MCU has two takes every second sample there.
template <uint32_t kComponents, uint32_t kAcross, uint32_t kDown, uint32_t kStepX, uint32_t kStepY,
          int32_t kBias>
int16_t *gather(const int16_t *in, int16_t *out) {
  constexpr uint32_t kBlockLines = 8 * kAreaSize * kComponents;
  for (uint32_t v = 0; v < kDown; v++) {
    for (uint32_t h = 0; h < kAcross; h++) {
      const int16_t *block = in + v * kBlockLines + h * 8 * kComponents;
      out = gatherBlock<kComponents, kStepX, kStepY, kBias>(block, out);
    }
  }
  return out;
}

// Three-component gatherers by the component's blocks across and down, each 1 or 2.
using GatherTable = GatherRoutine[2][2];  // [across - 1][down - 1]
constexpr GatherTable kGather1x1 = {{gather<3, 1, 1, 1, 1, 0>, nullptr}, {nullptr, nullptr}};
constexpr GatherTable kGather1x2 = {{gather<3, 1, 1, 1, 2, 0>, gather<3, 1, 2, 1, 1, 0>},
                                    {nullptr, nullptr}};
constexpr GatherTable kGather2x1 = {{gather<3, 1, 1, 2, 1, 0>, nullptr},
                                    {gather<3, 2, 1, 1, 1, 0>, nullptr}};
constexpr GatherTable kGather2x2 = {{gather<3, 1, 1, 2, 2, 0>, gather<3, 1, 2, 2, 1, 0>},
                                    {gather<3, 2, 1, 1, 2, 0>, gather<3, 2, 2, 1, 1, 0>}};

// The tables by the MCU's shape, 2 hMax - 3 + vMax.
constexpr const GatherTable *kGatherByShape[] = {&kGather1x1, &kGather1x2, &kGather2x1,
                                                 &kGather2x2};

bool isFactor(uint32_t n) { return n == 1 || n == 2; }

// The kernel for chroma of one block each; Y then has the MCU's full size.
LoadKernel chooseLoad(const JpgContext &c) {
  const bool plainChroma =
      c.scanComponents[1].sampling == 0x11 && c.scanComponents[2].sampling == 0x11;
  if (!plainChroma) return nullptr;
  const bool averages = (c.options & kOptionAverage) != 0;
  const LoadKernels &kernels = averages ? *c.kernels->averageYcc : *c.kernels->loadYcc;
  return kernels[c.hMax - 1][c.vMax - 1];
}

Result chooseThree(const JpgContext &c, McuSource *source) {
  if (!isFactor(c.hMax) || !isFactor(c.vMax)) return JPG_E_UNSUPPORTED;
  const GatherTable &table = *kGatherByShape[2 * c.hMax - 3 + c.vMax];
  for (uint32_t i = 0; i < 3; i++) {
    const uint32_t h = c.scanComponents[i].sampling >> 4;
    const uint32_t v = c.scanComponents[i].sampling & 15;
    if (!isFactor(h) || !isFactor(v)) return JPG_E_UNSUPPORTED;
    source->gather[i] = table[h - 1][v - 1];
  }
  const bool raw = c.write.frameRaw != 0;
  source->convert = raw ? convertBgrToRgb : convertBgrToYcc;
  source->load = raw ? nullptr : chooseLoad(c);
  return JPG_OK;
}

Result chooseFour(const JpgContext &c, McuSource *source) {
  for (uint32_t i = 0; i < 4; i++) {
    if (c.scanComponents[i].sampling != 0x11) return JPG_E_UNSUPPORTED;
    source->gather[i] = gather<4, 1, 1, 1, 1, kLevelShift>;
  }
  source->convert = convertPlain<4>;
  source->load = nullptr;
  return JPG_OK;
}

}  // namespace

Result chooseMcuSource(const JpgContext &c, McuSource *source) {
  switch (c.write.frameComponents) {
    case 1:  // its sampling byte is always 0x11
      source->load = c.kernels->loadGray;
      source->convert = convertPlain<1>;
      source->gather[0] = gather<1, 1, 1, 1, 1, kLevelShift>;
      return JPG_OK;
    case 3:
      return chooseThree(c, source);
    case 4:
      return chooseFour(c, source);
    default:
      return JPG_E_UNSUPPORTED;
  }
}

}  // namespace jpg
