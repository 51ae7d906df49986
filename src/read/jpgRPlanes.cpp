// SPDX-License-Identifier: MIT
// The memory of planes, and their rows' way from a source to pixels.
#include "read/jpgRPlanes.h"

#include <string.h>

#include "read/jpgRPlaneRows.h"
#include "share/jpgAssert.h"
#include "share/jpgHeap.h"
#include "share/jpgSamples.h"

namespace jpg {
namespace {

constexpr uint32_t kScaleShift = 3;  // a full cell has 2^3 samples both ways

constexpr uint32_t ceilDiv(uint32_t n, uint32_t d) { return (n + d - 1) / d; }

// The ratio of two sampling factors of 1 to 4.
PlaneRatio ratioOf(uint32_t part, uint32_t whole) {
  if (part == whole) return {1, 1};
  if (part == 2 && whole == 4) return {1, 2};
  return {part, whole};
}

// Width or height at the scale.
uint32_t scaled(uint32_t length, uint32_t scale) {
  const uint32_t shift = kScaleShift - scale;
  return (length + (1U << shift) - 1) >> shift;
}

bool isSubsampled(const PlaneComponent &k) { return k.across.whole != 1 || k.down.whole != 1; }

// ---- Memory ---------------------------------------------------------------

// The geometry, and the bytes of a row of samples with its slack.
void layOutComponent(const JpgContext &c, Planes *p, uint32_t i) {
  PlaneComponent *k = &p->component[i];
  const uint32_t sampling = c.numComponents == 1 ? 0x11 : c.scanComponents[i].sampling;
  k->blocksAcross = sampling >> 4;
  k->blocksDown = sampling & 15;
  k->across = ratioOf(k->blocksAcross, c.hMax);
  k->down = ratioOf(k->blocksDown, c.vMax);
  k->width = ceilDiv(scaled(c.width, p->scale) * k->across.part, k->across.whole);
  k->rows = k->blocksDown * p->cell;
  const size_t samples = size_t{c.mcusPerRow} * k->blocksAcross * p->cell;
  const size_t bytes = (samples + kRowSlack) * (p->wide ? 2 : 1) + kRowSlack;
  k->stride = static_cast<ptrdiff_t>((bytes + kRowSlack - 1) / kRowSlack * kRowSlack);
}

// The kernel for Y, Cb and Cr in bytes, Y at full resolution, and Cb and Cr alike, with one or two
// pixels to a sample each way; null for other layouts.
YccRowKernel chooseYccRow(const Planes &p) {
  const PlaneComponent *k = p.component;
  if (p.wide || p.components < 3 || isSubsampled(k[0])) return nullptr;
  for (uint32_t i = 1; i < 3; i++) {
    const bool simple = k[i].across.part == 1 && k[i].across.whole <= 2 && k[i].down.part == 1 &&
                        k[i].down.whole <= 2;
    if (!simple || k[i].across.whole != k[1].across.whole || k[i].down.whole != k[1].down.whole) {
      return nullptr;
    }
  }
  return (*p.kernels->putYccRow)[p.smooth ? 1 : 0][k[1].across.whole - 1][k[1].down.whole - 1];
}

void layOut(const JpgContext &c, bool wide, Planes *p) {
  *p = {};
  p->scale = c.scanState;
  p->wide = wide;
  p->components = c.numComponents;
  p->cell = 1U << c.scanState;
  p->mcuHeight = c.vMax * p->cell;
  p->columns = c.mcusPerRow * c.hMax * p->cell;
  p->kernels = c.kernels;
  bool subsampled = false;
  for (uint32_t i = 0; i < p->components; i++) {
    layOutComponent(c, p, i);
    subsampled = subsampled || isSubsampled(p->component[i]);
  }
  // Of pieces nothing may be read ahead.
  const bool pieces = (c.flags & kFlagPartialBitstream) != 0;
  p->smooth = subsampled && (c.options & kOptionSmooth) != 0 && !pieces;
  p->kept = p->smooth ? 2 : 1;
  p->putYcc = chooseYccRow(*p);
}

constexpr size_t kHeader = (sizeof(Planes) + kRowSlack - 1) / kRowSlack * kRowSlack;

// Samples of a work row.
size_t workLength(const Planes &p) { return size_t{p.columns} + kRowSlack; }

uint64_t bytesOf(const Planes &p) {
  uint64_t bytes = kHeader + uint64_t{kRowSlack};
  for (uint32_t i = 0; i < p.components; i++) {
    const PlaneComponent &k = p.component[i];
    bytes += static_cast<uint64_t>(k.stride) * k.rows * p.kept;
  }
  return bytes + uint64_t{workLength(p)} * sizeof(uint16_t) * (p.components + 1);
}

void divideMemory(Planes *p) {
  uint8_t *next = reinterpret_cast<uint8_t *>(p) + kHeader + kRowSlack;
  for (uint32_t i = 0; i < p->components; i++) {
    PlaneComponent *k = &p->component[i];
    k->samples = next;
    next += static_cast<size_t>(k->stride) * k->rows * p->kept;
  }
  auto *work = samplesOf<uint16_t>(next);
  for (uint32_t i = 0; i < p->components; i++, work += workLength(*p)) p->work[i] = work;
  // Formats of three components don't use the fourth one, but there is memory to read.
  for (uint32_t i = p->components; i < kMaxComponents; i++) p->work[i] = work;
  p->blend = work + 1;
}

bool fits(const Planes *p, const JpgContext &c, bool wide) {
  return p != nullptr && p->scale == c.scanState && p->wide == wide;
}

// ---- Rows of MCUs ---------------------------------------------------------

// Fills a row of samples up behind the picture, so that its last sample has a neighbour, and gives
// its first one, too. There is memory for that also in a picture without columns.
template <typename Sample>
void padRow(Sample *row, uint32_t width, uint32_t length) {
  row[-1] = row[0];
  const Sample last = (row + width)[-1];
  for (uint32_t x = width; x < length; x++) row[x] = last;
}

void padComponent(const Planes &p, const PlaneComponent &k, uint32_t mcuRow) {
  const uint32_t bytes = static_cast<uint32_t>(k.stride) - kRowSlack;
  for (uint32_t r = 0; r < k.rows; r++) {
    uint8_t *row = k.samples + k.stride * static_cast<ptrdiff_t>(mcuRow % p.kept * k.rows + r);
    if (p.wide) {
      padRow(samplesOf<uint16_t>(row), k.width, bytes / 2);
    } else {
      padRow(row, k.width, bytes);
    }
  }
}

// Asks the source for the next row of MCUs.
Result decodeNext(JpgContext *c, Planes *p, const McuRowSource &source) {
  const Result r = source.read(c, p, p->decoded, source.state);
  if (r != JPG_OK) return r;
  for (uint32_t i = 0; p->smooth && i < p->components; i++) {
    const PlaneComponent &k = p->component[i];
    if (k.across.whole != 1) padComponent(*p, k, p->decoded);
  }
  p->decoded++;
  return JPG_OK;
}

// Makes sure that the row of MCUs that holds the next row of pixels is there.
Result provide(JpgContext *c, Planes *p, const McuRowSource &source) {
  while (p->decoded <= p->row / p->mcuHeight) {
    const Result r = p->failure != JPG_OK ? p->failure : decodeNext(c, p, source);
    p->failure = JPG_OK;
    if (r != JPG_OK) return r;
  }
  return JPG_OK;
}

// ---- Rows of pixels -------------------------------------------------------

uint32_t lesser(uint32_t a, uint32_t b) { return a < b ? a : b; }

// Rows of samples up to the lower edge, or to the end of what is decoded.
uint32_t rowsDown(const Planes &p, const PlaneComponent &k) {
  if (p.lastRow == 0) return UINT32_MAX;
  return ceilDiv(p.lastRow * k.down.part, k.down.whole);
}

// The rows of samples for the row of pixels, cut to `limit` rows.
RowPair rowPairOf(const Planes &p, const PlaneComponent &k, uint32_t limit) {
  if (!p.smooth || k.down.whole == 1) {
    const uint32_t row = p.row * k.down.part / k.down.whole;
    return {row, row, 1, 0};
  }
  const RowPlace place = rowPlaceOf(k.down, p.row);
  const uint32_t upper = place.upper < 0 ? 0 : static_cast<uint32_t>(place.upper);
  const auto lower = static_cast<uint32_t>(place.upper + 1);
  return {lesser(upper, limit - 1), lesser(lower, limit - 1), 2 * k.down.whole - place.lowerWeight,
          place.lowerWeight};
}

// Decodes one more row of MCUs if the row of pixels takes samples of it.
void lookAhead(JpgContext *c, Planes *p, const McuRowSource &source) {
  if (p->failure != JPG_OK) return;
  for (uint32_t i = 0; i < p->components; i++) {
    const PlaneComponent &k = p->component[i];
    if (rowPairOf(*p, k, rowsDown(*p, k)).lower < p->decoded * k.rows) continue;
    p->failure = decodeNext(c, p, source);
    return;
  }
}

RowPair heldRows(const Planes &p, const PlaneComponent &k) {
  return rowPairOf(p, k, lesser(rowsDown(p, k), p.decoded * k.rows));
}

void putGrayRow(const Planes &p, uint8_t *out, uint32_t columns) {
  const PlaneComponent &k = p.component[0];
  memcpy(out, planeRow(p, k, heldRows(p, k).upper), columns);
}

void putYccRow(const Planes &p, uint8_t *out, uint32_t columns) {
  YccRow row = {};
  row.y = planeRow(p, p.component[0], p.row);
  row.odd = p.row % 2 != 0;
  for (uint32_t i = 0; i < 2; i++) {
    const PlaneComponent &k = p.component[i + 1];
    const RowPair rows = heldRows(p, k);
    const bool lowerIsFirst = rows.lowerWeight > rows.upperWeight;
    row.first[i] = planeRow(p, k, lowerIsFirst ? rows.lower : rows.upper);
    row.second[i] = planeRow(p, k, lowerIsFirst ? rows.upper : rows.lower);
  }
  p.putYcc(row, out, columns);
}

void putRow(Planes *p, const PlaneOutput &output, uint8_t *out, uint32_t columns) {
  const bool gray = output.format == PlaneFormat::kGray;
  if (gray && !p->wide && !isSubsampled(p->component[0])) {
    putGrayRow(*p, out, columns);
    return;
  }
  if (output.format == PlaneFormat::kYccToBgr && p->putYcc != nullptr) {
    putYccRow(*p, out, columns);
    return;
  }
  for (uint32_t i = 0; i < (gray ? 1 : p->components); i++) {
    const PlaneComponent &k = p->component[i];
    upsampleRow(*p, k, heldRows(*p, k), p->row, p->work[i], columns);
  }
  storePlaneRow(*p, output, out, columns);
}

// Notes at the first row where it lies in the picture, and the picture's height once it is known.
void notePlace(const JpgContext &c, Planes *p) {
  if (!p->begun) p->fromTop = c.rowPosition == 0;
  p->begun = true;
  if (p->fromTop) p->lastRow = scaled(c.height, p->scale);
}

// Sample s less than 0 below: bytes have kLevelShift added, samples of 12 bits 2048.
template <typename Sample, int32_t kShift>
void putCell(const int16_t *in, uint8_t *out, ptrdiff_t stride, uint32_t cell) {
  for (uint32_t y = 0; y < cell; y++, in += kRowLength, out += stride) {
    auto *row = samplesOf<Sample>(out);
    for (uint32_t x = 0; x < cell; x++) {
      JPG_ASSERT(in[x] >= -kShift && in[x] < kShift);
      row[x] = static_cast<Sample>(in[x] + kShift);
    }
  }
}

}  // namespace

Result makePlanes(JpgContext *c, bool wide) {
  if (fits(c->planes, *c, wide)) return JPG_OK;
  freePlanes(c);
  Planes plan;
  layOut(*c, wide, &plan);
  const uint64_t bytes = bytesOf(plan);
  auto *p = static_cast<Planes *>(heapAllocChecked(bytes));
  if (p == nullptr) return JPG_E_OUT_OF_MEMORY;
  memset(p, 0, static_cast<size_t>(bytes));
  *p = plan;
  divideMemory(p);
  c->planes = p;
  return JPG_OK;
}

void freePlanes(JpgContext *c) { heapRelease(c->planes); }

void resetPlanes(JpgContext *c) {
  Planes *p = c->planes;
  if (p == nullptr) return;
  p->begun = false;
  p->decoded = 0;
  p->row = 0;
  p->lastRow = 0;
  p->failure = JPG_OK;
}

void seekPlanes(Planes *p, uint32_t row) {
  if (p->begun && p->row == row) return;
  const uint32_t mcuRow = row / p->mcuHeight;
  p->begun = true;
  p->fromTop = true;
  p->decoded = mcuRow == 0 ? 0 : mcuRow - 1;
  p->row = row;
  p->failure = JPG_OK;
}

void putBlock(Planes *p, uint32_t component, uint32_t mcuRow, uint32_t row, uint32_t column,
              const int16_t *samples) {
  const PlaneComponent &k = p->component[component];
  const uint32_t line = mcuRow % p->kept * k.rows + row * p->cell;
  uint8_t *out = k.samples + k.stride * static_cast<ptrdiff_t>(line);
  const size_t x = size_t{column} * p->cell;
  JPG_ASSERT(row < k.blocksDown);
  JPG_ASSERT((x + p->cell) * (p->wide ? 2 : 1) + kRowSlack <= static_cast<size_t>(k.stride));
  if (!p->wide && p->cell == kFullCell) {
    p->kernels->storeBlock(samples, out + x, k.stride);
  } else if (p->wide) {
    putCell<uint16_t, kWideLevelShift>(samples, out + 2 * x, k.stride, p->cell);
  } else {
    putCell<uint8_t, kLevelShift>(samples, out + x, k.stride, p->cell);
  }
}

void putMcu(Planes *p, uint32_t mcuRow, uint32_t mcuColumn, const int16_t *blocks) {
  for (uint32_t i = 0; i < p->components; i++) {
    const PlaneComponent &k = p->component[i];
    for (uint32_t row = 0; row < k.blocksDown; row++) {
      for (uint32_t column = 0; column < k.blocksAcross; column++, blocks += kBlockSize) {
        putBlock(p, i, mcuRow, row, mcuColumn * k.blocksAcross + column, blocks);
      }
    }
  }
}

Result putPlaneRows(JpgContext *c, Planes *p, const McuRowSource &source, const PlaneOutput &output,
                    const JpgRect &rect, int32_t rows, int32_t width) {
  const uint32_t columns = width > 0 ? lesser(static_cast<uint32_t>(width), p->columns) : 0;
  auto *out = static_cast<uint8_t *>(rect.bits);
  notePlace(*c, p);
  for (int32_t i = 0; i < rows; i++) {
    if (const Result r = provide(c, p, source); r != JPG_OK) return r;
    if (p->smooth) lookAhead(c, p, source);
    notePlace(*c, p);
    if (columns != 0) putRow(p, output, out + static_cast<ptrdiff_t>(i) * rect.stride, columns);
    p->row++;
    c->rowPosition++;
  }
  return JPG_OK;
}

const uint8_t *planeRow(const Planes &p, const PlaneComponent &k, uint32_t row) {
  return k.samples + k.stride * static_cast<ptrdiff_t>(row % (p.kept * k.rows));
}

}  // namespace jpg
