// SPDX-License-Identifier: MIT
// The baseline encode driver: bands of pixels to MCUs.
#include <string.h>

#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"
#include "write/jpgWAverage.h"
#include "write/jpgWHead.h"
#include "write/jpgWMcu.h"
#include "write/jpgWStore.h"
#include "write/jpgWVLC.h"

namespace jpg {
namespace {

constexpr int32_t kPrecision = 8;               // of baseline images
constexpr uint32_t kMaxPairBlocks = 2 * 3 + 1;  // two MCUs of three blocks, and one

// The source of a call's MCUs.
struct BandSource {
  const JpgRect *rect;
  int16_t *area;  // kAreaSize lines of kAreaSize pixels
  McuSource routines;
  uint32_t lastColumnPixels;  // of the right-edge MCU
  bool pairs;                 // whole MCUs may be encoded two at a time
  const uint8_t *passedBy;    // last MCU, if the kernel took it past the work area; or null
};

// Converts the MCU at `in` into the work area. Samples beyond `lines` and `pixels`
// keep what the MCU before left there: that is how partial MCUs are filled.
void loadArea(const JpgContext &c, const BandSource &band, const uint8_t *in, uint32_t lines,
              uint32_t pixels) {
  int16_t *out = band.area;
  for (uint32_t y = 0; y < lines; y++) {
    band.routines.convert(in, out, pixels);
    out += kAreaSize * c.write.frameComponents;
    if (y + 1 < lines) in += band.rect->stride;
  }
}

// Encodes an MCU through the work area. If the MCU before it went through the kernel, that one is
// loaded first, because a partial MCU is filled with its samples.
Result encodeByArea(JpgContext *c, BandSource *band, const uint8_t *in, uint32_t lines,
                    uint32_t pixels) {
  if (band->passedBy != nullptr) loadArea(*c, *band, band->passedBy, c->mcuHeight, c->mcuWidth);
  band->passedBy = nullptr;
  loadArea(*c, *band, in, lines, pixels);
  int16_t blocks[kMaxBlocksPerMcu * kBlockSize];
  int16_t *out = blocks;
  for (uint32_t i = 0; i < c->write.frameComponents; i++) {
    out = band->routines.gather[i](band->area + i, out);
  }
  return encodeMcu(c, blocks);
}

// Encodes a whole MCU through the kernel.
Result encodeByKernel(JpgContext *c, BandSource *band, const uint8_t *in) {
  int16_t blocks[kMaxBlocksPerMcu * kBlockSize];
  band->routines.load(in, band->rect->stride, blocks);
  band->passedBy = in;
  return encodeMcu(c, blocks);
}

// Encodes two whole MCUs, one beside the other, through the kernel. Out of line: its blocks needn't
// be on the stack beside those of the others.
[[gnu::noinline]] Result encodeTwoByKernel(JpgContext *c, BandSource *band, const uint8_t *in) {
  int16_t blocks[kMaxPairBlocks * kBlockSize];
  const uint32_t n = c->write.frameComponents;
  const uint8_t *second = in + n * c->mcuWidth;
  band->routines.load(in, band->rect->stride, blocks + kBlockSize);
  band->routines.load(second, band->rect->stride, blocks + (1 + n) * kBlockSize);
  band->passedBy = second;
  return encodeMcuPair(c, blocks);
}

// Encodes an MCU with averages; a partial one goes through the work area, as bytes, where it is
// filled up.
Result encodeAverages(JpgContext *c, BandSource *band, const McuPixels &mcu) {
  const bool whole = mcu.lines == c->mcuHeight && mcu.columns == c->mcuWidth;
  const uint8_t *in = mcu.bits;
  ptrdiff_t stride = mcu.stride;
  if (!whole) {
    auto *filled = reinterpret_cast<uint8_t *>(band->area);
    continueEdges(*c, mcu, filled);
    in = filled;
    stride = ptrdiff_t{kAreaSize} * static_cast<ptrdiff_t>(c->write.frameComponents);
  }
  int16_t blocks[kMaxBlocksPerMcu * kBlockSize];
  if (band->routines.load != nullptr) {
    band->routines.load(in, stride, blocks);
  } else {
    averageMcu(*c, in, stride, blocks);
  }
  return whole ? encodeMcu(c, blocks) : encodePartialMcu(c, blocks, mcu.columns, mcu.lines);
}

Result encodeOneMcu(JpgContext *c, BandSource *band, const uint8_t *in, uint32_t lines,
                    uint32_t pixels) {
  if ((c->options & kOptionAverage) != 0) {
    return encodeAverages(c, band, {in, band->rect->stride, lines, pixels});
  }
  const bool whole = lines == c->mcuHeight && pixels == c->mcuWidth;
  return whole && band->routines.load != nullptr ? encodeByKernel(c, band, in)
                                                 : encodeByArea(c, band, in, lines, pixels);
}

// Encodes one row of MCUs of which `lines` lines are given.
Result encodeMcuRow(JpgContext *c, BandSource *band, const uint8_t *in, uint32_t lines) {
  const uint32_t mcuBytes = c->mcuWidth * c->write.frameComponents;
  for (uint32_t i = 0; i < c->mcusPerRow;) {
    const uint8_t *mcu = in + size_t{i} * mcuBytes;
    const bool last = i + 1 == c->mcusPerRow;
    const uint32_t pixels = last ? band->lastColumnPixels : c->mcuWidth;
    const bool two = band->pairs && lines == c->mcuHeight && i + 2 < c->mcusPerRow;
    const Result r =
        two ? encodeTwoByKernel(c, band, mcu) : encodeOneMcu(c, band, mcu, lines, pixels);
    if (r != JPG_OK) return r;
    i += two ? 2 : 1;
  }
  return JPG_OK;
}

Result encodeLines(JpgContext *c, BandSource *band, uint32_t lines) {
  const auto *in = static_cast<const uint8_t *>(band->rect->bits);
  for (;;) {
    const uint32_t rows = lines < c->mcuHeight ? lines : c->mcuHeight;
    if (const Result r = encodeMcuRow(c, band, in, rows); r != JPG_OK) return r;
    lines -= rows;
    if (lines == 0) return JPG_OK;
    in += static_cast<ptrdiff_t>(c->mcuHeight) * band->rect->stride;
  }
}

bool agreesWithHeaders(const JpgContext &c, const JpgRect &rect) {
  return static_cast<uint32_t>(rect.width) == c.write.frameWidth &&
         static_cast<uint32_t>(rect.channels) == c.write.frameComponents;
}

// The first call plans the frame. If the headers went out with the first partial bitstream, the
// rectangle must agree with them instead.
Result planFirstCall(JpgContext *c, const JpgRect &rect) {
  if (const Result r = checkFrameSize(rect, frameHeight(*c, rect)); r != JPG_OK) return r;
  if (rect.bitsPerSample != kPrecision) return JPG_E_INVALID_PARAMETER;
  if (const Result r = checkComponentSlots(rect); r != JPG_OK) return r;
  if (c->write.frameOut != 0) return agreesWithHeaders(*c, rect) ? JPG_OK : JPG_E_INVALID_PARAMETER;
  planFrame(c, settingsOf(*c, rect));
  layOutFrame(c);
  return JPG_OK;
}

// Writes the headers of a frame whose pixel layout is supported. The tables are allocated first:
// after that, only the sink can run out of memory. A frame that is held is only settled; its
// headers go out in the epilog.
Result beginFrame(JpgContext *c) {
  if (isHeld(*c)) {
    const bool progressive = (c->options & kOptionProgressive) != 0;
    settleFrame(c, progressive ? kMarkerSof2 : kMarkerSof0, kPrecision);
    nameComponents(c);
    fixFrame(c);
    return JPG_OK;
  }
  if (const Result r = makeEncodingTables(c); r != JPG_OK) return r;
  settleFrame(c, kMarkerSof0, kPrecision);
  nameComponents(c);
  return writeFrameHeaders(c);
}

Result reserveLines(JpgContext *c, uint32_t lines) {
  const uint64_t rows = uint64_t{lines / c->mcuHeight} + (lines % c->mcuHeight != 0 ? 1 : 0);
  return reserveValues(&c->write.store, rows * c->mcusPerRow * blocksOfMcu(*c) * kBlockSize);
}

Result encodeBand(JpgContext *c, BandSource *band, uint32_t lines) {
  if (isHeld(*c)) {
    if (const Result r = reserveLines(c, lines); r != JPG_OK) return r;
  }
  if (c->write.frameOut == 0) {
    if (const Result r = beginFrame(c); r != JPG_OK) return r;
  }
  band->pairs = band->routines.load != nullptr && encodesPairs(*c);
  band->lastColumnPixels = c->write.frameWidth - (c->mcusPerRow - 1) * c->mcuWidth;
  return encodeLines(c, band, lines);
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgWriteFromRect(JPGHANDLE handle, const JpgRect *rect, uint32_t lines) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr || rect == nullptr || rect->bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (lines == 0) return JPG_E_INVALID_PARAMETER;
  if (c->write.outputFailed != kOutputFine) return JPG_E_WRITE_FAULT;
  if (c->rowPosition == 0) {
    if (const Result r = planFirstCall(c, *rect); r != JPG_OK) return r;
  } else if (c->sofMarker == kMarkerSof3) {
    return JPG_E_UNSUPPORTED;  // a lossless image is under way
  }
  McuSource routines = {};
  if (const Result r = chooseMcuSource(*c, &routines); r != JPG_OK) return r;
  const size_t areaBytes = c->write.frameComponents * kAreaSize * kAreaSize * sizeof(int16_t);
  BandSource band = {rect,   static_cast<int16_t *>(heapAlloc(areaBytes)), routines, 0, false,
                     nullptr};
  if (band.area == nullptr) return JPG_E_OUT_OF_MEMORY;
  memset(band.area, 0, areaBytes);
  const Result r = encodeBand(c, &band, lines);
  const Result freed = heapFree(band.area);
  if (r != JPG_OK) return r;
  c->rowPosition += lines;
  return freed;
}
