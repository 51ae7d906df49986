// SPDX-License-Identifier: MIT
#include "write/jpgWHead.h"

#include <string.h>

#include "share/jpgAnnexK.h"
#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"
#include "write/jpgWMark.h"
#include "write/jpgWVLC.h"

namespace jpg {
namespace {

constexpr uint32_t kQuantTables = 2;  // luminance, chrominance
constexpr uint8_t kClassDc = 0x00;    // Tc of a table byte
constexpr uint8_t kClassAc = 0x10;
constexpr uint32_t kSingleSampling = 0x11;  // of a single component, whatever was set

constexpr StandardTable kDcTables[] = {{kDcLuminanceCounts, kDcValues, sizeof(kDcValues)},
                                       {kDcChrominanceCounts, kDcValues, sizeof(kDcValues)}};
constexpr StandardTable kAcTables[] = {
    {kAcLuminanceCounts, kAcLuminanceValues, sizeof(kAcLuminanceValues)},
    {kAcChrominanceCounts, kAcChrominanceValues, sizeof(kAcChrominanceValues)}};

// Percentage by which the standard tables are scaled for a quality of 1 to 100.
uint32_t scaleOf(uint32_t quality) { return quality < 50 ? 5000 / quality : 200 - 2 * quality; }

uint32_t scaleEntry(uint32_t base, uint32_t scale) {
  const uint32_t entry = (base * scale + 50) / 100;
  if (entry < 1) return 1;
  return entry > 255 ? 255 : entry;
}

void makeQuantTable(const QuantBase &base, uint32_t quality, uint32_t *table) {
  for (uint32_t k = 0; k < kBlockSize; k++) {
    table[k] = scaleEntry(base.entry[k], scaleOf(quality));
  }
}

// Both tables for the set quality, their entries multiplied by the forward DCT's scale.
void makeQuantTables(JpgContext *c) {
  makeQuantTable(kLuminanceQuant, c->quality, c->quantTables[0]);
  makeQuantTable(kChrominanceQuant, c->quality, c->quantTables[1]);
  for (uint32_t t = 0; t < kQuantTables; t++) {
    for (uint32_t &entry : c->quantTables[t]) entry *= kForwardScale;
    makeReciprocals(c->quantTables[t], &c->write.reciprocals[t]);
  }
}

Result writeHuffmanTables(JpgContext *c) {
  for (uint32_t i = 0; i < 2; i++) {
    if (const Result r = writeHuffmanTable(c, kDcTables[i], kClassDc | i); r != JPG_OK) return r;
  }
  for (uint32_t i = 0; i < 2; i++) {
    if (const Result r = writeHuffmanTable(c, kAcTables[i], kClassAc | i); r != JPG_OK) return r;
  }
  return JPG_OK;
}

uint32_t ceilDiv(uint32_t n, uint32_t d) { return d == 0 ? 0 : n / d + (n % d != 0 ? 1 : 0); }

// Sampling, blocks and selectors of the components; the first uses the luminance
// tables, the others the chrominance ones.
void layOutComponents(JpgContext *c) {
  const uint32_t components = c->write.frameComponents;
  const uint32_t packed = components == 1 ? kSingleSampling : c->samplingPacked;
  c->hMax = 0;
  c->vMax = 0;
  for (uint32_t i = 0; i < components; i++) {
    JpgScanComponent *k = &c->scanComponents[i];
    k->sampling = static_cast<uint8_t>(packed >> (8 * (components - 1 - i)));
    k->tq = i == 0 ? 0 : 1;
    const uint32_t h = k->sampling >> 4;
    const uint32_t v = k->sampling & 15;
    k->blocksPerMcu = h * v;
    if (h > c->hMax) c->hMax = h;
    if (v > c->vMax) c->vMax = v;
  }
}

// SOS of a sequential scan of all components.
Result writeSos(JpgContext *c) {
  ScanHeader scan = {0, c->write.frameComponents, {}, 0, kBlockSize - 1, 0};
  for (uint32_t i = 0; i < scan.count; i++) {
    const uint32_t table = c->scanComponents[i].tq;  // the same number for all kinds
    scan.tables[i] = static_cast<uint8_t>(table << 4 | table);
  }
  return writeScanHeader(c, scan);
}

void useTables(JpgContext *c) {
  for (uint32_t i = 0; i < c->write.frameComponents; i++) {
    JpgScanComponent *k = &c->scanComponents[i];
    k->quantTable = c->quantTables[k->tq];
    k->dcCodes = c->dcTables[k->tq].codes;
    k->acCodes = c->acTables[k->tq].codes;
  }
}

}  // namespace

Result makeEncodingTable(const StandardTable &source, CodeUse use, JpgHuffTable *table) {
  constexpr size_t kBytes = kEncodingEntries * sizeof(JpgHuffCode);
  JpgHuffTable fresh = {};
  const Result r = makeHuffCodes({source.counts, source.values}, &fresh);
  if (r != JPG_OK) return r;
  auto *bySymbol = static_cast<JpgHuffCode *>(heapAlloc(kBytes));
  if (bySymbol != nullptr) {
    memset(bySymbol, 0, kBytes);
    for (uint32_t i = 0; i < fresh.count; i++) {
      const JpgHuffCode &code = fresh.codes[i];
      const uint32_t size = use == CodeUse::kWithBits ? code.value & 15U : 0;
      bySymbol[code.value] = {code.code << size, code.value,
                              static_cast<uint16_t>(code.length + size)};
    }
  }
  heapFree(fresh.codes);
  if (bySymbol == nullptr) return JPG_E_OUT_OF_MEMORY;
  freeHuffTable(table);
  fresh.codes = bySymbol;
  *table = fresh;
  return JPG_OK;
}

Result writeHuffmanTable(JpgContext *c, const StandardTable &source, uint32_t tcTh) {
  const uint32_t length = 1 + kMaxCodeLength + source.symbols;
  const auto tableByte = static_cast<uint8_t>(tcTh);
  if (const Result r = beginSegment(c, kMarkerDht, length); r != JPG_OK) return r;
  c->segConsumed = length;
  if (const Result r = writeBytes(c, &tableByte, 1); r != JPG_OK) return r;
  if (const Result r = writeBytes(c, source.counts, kMaxCodeLength); r != JPG_OK) return r;
  return writeBytes(c, source.values, source.symbols);
}

Result checkFrameSize(const JpgRect &rect, uint32_t height) {
  const auto width = static_cast<uint32_t>(rect.width);
  const bool fits = width >= 1 && width <= kMaxDimension && height <= kMaxDimension;
  return fits ? JPG_OK : JPG_E_INVALID_PARAMETER;
}

Result checkComponentSlots(const JpgRect &rect) {
  const bool fits = rect.channels >= 1 && rect.channels <= static_cast<int32_t>(kMaxComponents);
  return fits ? JPG_OK : JPG_E_UNSUPPORTED;
}

FrameSettings settingsOf(const JpgContext &c) { return {c.width, c.height, c.numComponents}; }

FrameSettings settingsOf(const JpgContext &c, const JpgRect &rect) {
  return {static_cast<uint32_t>(rect.width), frameHeight(c, rect),
          static_cast<uint32_t>(rect.channels)};
}

uint32_t frameHeight(const JpgContext &c, const JpgRect &rect) {
  return c.height != 0 ? c.height : static_cast<uint32_t>(rect.height);
}

void planFrame(JpgContext *c, const FrameSettings &settings) {
  c->write.frameWidth = settings.width;
  c->write.frameHeight = settings.height;
  c->write.frameComponents = settings.components;
  c->write.frameRestart = c->restartInterval;
  c->write.frameRaw = (c->flags & kFlagNoColorConversion) != 0 ? 1U : 0U;
}

void layOutFrame(JpgContext *c) {
  layOutComponents(c);
  c->mcuWidth = 8 * c->hMax;
  c->mcuHeight = 8 * c->vMax;
  c->mcusPerRow = ceilDiv(c->write.frameWidth, c->mcuWidth);
  c->mcuRows = ceilDiv(c->write.frameHeight, c->mcuHeight);
}

uint32_t blocksOfMcu(const JpgContext &c) {
  uint32_t blocks = 0;
  for (uint32_t i = 0; i < c.write.frameComponents; i++) blocks += c.scanComponents[i].blocksPerMcu;
  return blocks;
}

void settleFrame(JpgContext *c, uint32_t marker, uint32_t precision) {
  c->sofMarker = marker;
  c->precision = precision;
  c->width = c->write.frameWidth;
  c->height = c->write.frameHeight;
  c->numComponents = c->write.frameComponents;
}

void nameComponents(JpgContext *c) {
  constexpr uint8_t kRgb[3] = {'R', 'G', 'B'};
  const bool rgb = c->write.frameComponents == 3 && c->write.frameRaw != 0;
  for (uint32_t i = 0; i < c->write.frameComponents; i++) {
    c->scanComponents[i].id = rgb ? kRgb[i] : static_cast<uint8_t>(i + 1);
  }
}

Result makeEncodingTables(JpgContext *c) {
  for (uint32_t i = 0; i < 2; i++) {
    Result r = makeEncodingTable(kDcTables[i], CodeUse::kWithBits, &c->dcTables[i]);
    if (r == JPG_OK) r = makeEncodingTable(kAcTables[i], CodeUse::kWithBits, &c->acTables[i]);
    if (r != JPG_OK) return r;
  }
  return JPG_OK;
}

Result writeFrameHeader(JpgContext *c, uint32_t marker) {
  constexpr uint32_t kFixed = 6;
  const WriteState &w = c->write;
  uint8_t data[kFixed + 3 * kMaxComponents] = {
      static_cast<uint8_t>(c->precision),  static_cast<uint8_t>(w.frameHeight >> 8),
      static_cast<uint8_t>(w.frameHeight), static_cast<uint8_t>(w.frameWidth >> 8),
      static_cast<uint8_t>(w.frameWidth),  static_cast<uint8_t>(w.frameComponents)};
  uint8_t *out = data + kFixed;
  for (uint32_t i = 0; i < w.frameComponents; i++) {
    const JpgScanComponent &k = c->scanComponents[i];
    *out++ = k.id;
    *out++ = k.sampling;
    *out++ = k.tq;
  }
  return writeSegment(c, marker, data, static_cast<uint32_t>(out - data));
}

Result writeRestartInterval(JpgContext *c) {
  const uint32_t interval = c->write.frameRestart;
  if (interval == 0) return JPG_OK;
  const uint8_t data[2] = {static_cast<uint8_t>(interval >> 8), static_cast<uint8_t>(interval)};
  return writeSegment(c, kMarkerDri, data, sizeof(data));
}

Result writeScanHeader(JpgContext *c, const ScanHeader &scan) {
  uint8_t data[1 + 2 * kMaxComponents + 3] = {static_cast<uint8_t>(scan.count)};
  uint8_t *out = data + 1;
  for (uint32_t i = 0; i < scan.count; i++) {
    *out++ = c->scanComponents[scan.first + i].id;
    *out++ = scan.tables[i];
  }
  *out++ = scan.Ss;
  *out++ = scan.Se;
  *out++ = scan.approximation;
  return writeSegment(c, kMarkerSos, data, static_cast<uint32_t>(out - data));
}

void fixFrame(JpgContext *c) {
  c->write.frameOut = 1;
  if (c->write.frameComponents == 1) c->samplingPacked = kSingleSampling;
  makeQuantTables(c);
}

Result writeQuantTables(JpgContext *c, uint32_t tables) {
  uint8_t data[kQuantTables * (1 + kBlockSize)];
  uint8_t *out = data;
  for (uint32_t t = 0; t < tables; t++) {
    *out++ = static_cast<uint8_t>(t);  // Pq 0: 8-bit entries
    for (const uint32_t entry : c->quantTables[t]) {
      *out++ = static_cast<uint8_t>(entry / kForwardScale);
    }
  }
  return writeSegment(c, kMarkerDqt, data, static_cast<uint32_t>(out - data));
}

Result writeFrameHeaders(JpgContext *c) {
  fixFrame(c);
  if (const Result r = writeQuantTables(c, kQuantTables); r != JPG_OK) return r;
  if (const Result r = writeHuffmanTables(c); r != JPG_OK) return r;
  if (const Result r = writeFrameHeader(c, kMarkerSof0); r != JPG_OK) return r;
  if (const Result r = writeRestartInterval(c); r != JPG_OK) return r;
  if (const Result r = writeSos(c); r != JPG_OK) return r;
  useTables(c);
  return JPG_OK;
}

}  // namespace jpg
