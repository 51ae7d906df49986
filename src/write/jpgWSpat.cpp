// SPDX-License-Identifier: MIT
// Lossless encoding: prediction differences, line by line (T.81 Annex H).
#include <string.h>

#include "share/jpgAnnexK.h"
#include "share/jpgArith.h"
#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"
#include "share/jpgSpatial.h"
#include "write/jpgWBits.h"
#include "write/jpgWHead.h"
#include "write/jpgWMark.h"
#include "write/jpgWStore.h"
#include "write/jpgWVLC.h"

namespace jpg {
namespace {

// ---- Headers --------------------------------------------------------------

// Table K.3, and for samples above 8 bits its continuation by one code of each
// length 10 to 14: categories 0 to 16.
constexpr uint8_t kWideCounts[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
constexpr uint8_t kWideValues[17] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
constexpr StandardTable kByteTable = {kDcLuminanceCounts, kDcValues, sizeof(kDcValues)};
constexpr StandardTable kWideTable = {kWideCounts, kWideValues, sizeof(kWideValues)};
constexpr uint32_t kTableByte = 0x00;  // class DC, identifier 0

const StandardTable &tableFor(uint32_t precision) {
  return precision <= kMaxBytePrecision ? kByteTable : kWideTable;
}

// The frame's settings; nothing is written.
void fixSpatialFrame(JpgContext *c) {
  c->write.frameOut = 1;
  for (uint32_t i = 0; i < c->write.frameComponents; i++) {
    c->scanComponents[i].sampling = 0x11;
    c->scanComponents[i].tq = 0;
  }
  c->Ss = static_cast<uint8_t>(c->write.predictor);
}

Result writeSpatialHeaders(JpgContext *c) {
  if (const Result r = writeHuffmanTable(c, tableFor(c->precision), kTableByte); r != JPG_OK) {
    return r;
  }
  if (const Result r = writeFrameHeader(c, kMarkerSof3); r != JPG_OK) return r;
  if (const Result r = writeRestartInterval(c); r != JPG_OK) return r;
  return writeScanHeader(c, {0, c->write.frameComponents, {}, c->Ss, 0, 0});
}

// ---- Lines ----------------------------------------------------------------

// A line to be coded; `above` is the line before it, if there is one.
struct SpatialLine {
  JpgContext *c;
  const uint8_t *above;
  const uint8_t *in;
};

using LineRoutine = Result (*)(const SpatialLine &line);

// 8-bit differences are coded as they are, wider ones modulo 65536.
template <typename Samples>
inline void putSample(BitRun *run, const SpatialLine &line, uint32_t i, int32_t prediction) {
  const int32_t difference = Samples::load(line.in, i) - prediction;
  const JpgHuffCode *table = line.c->dcTables[0].codes;
  if (Samples::kBytes == 1) {
    putDifference(run, table, difference);
  } else {
    putLosslessDifference(run, table, difference);
  }
}

// Stores the differences of the samples from..to - 1, reduced modulo 65536, for which there is
// room.
template <typename Samples, typename Predictor>
void storeSamples(const SpatialLine &line, uint32_t from, uint32_t to, Predictor predictor) {
  ValueStore *store = &line.c->write.store;
  while (from < to) {
    const size_t room = kPieceValues - store->used % kPieceValues;
    const uint32_t end = to - from > room ? from + static_cast<uint32_t>(room) : to;
    int16_t *out = valueAt(*store, store->used);
    store->used += end - from;
    for (; from < end; from++) *out++ = low16(Samples::load(line.in, from) - predictor(from));
  }
}

// Codes the samples from..to - 1; the predictor gives the prediction of sample i.
template <typename Samples, typename Predictor>
Result putSamples(const SpatialLine &line, uint32_t from, uint32_t to, Predictor predictor) {
  if (isHeld(*line.c)) {
    storeSamples<Samples>(line, from, to, predictor);
    return JPG_OK;
  }
  uint8_t apart[kMaxRunBytes];
  while (from < to) {
    const uint32_t end = to - from > kMaxRunCodes ? from + kMaxRunCodes : to;
    BitRun run = beginRun(line.c, apart);
    for (; from < end; from++) putSample<Samples>(&run, line, from, predictor(from));
    if (const Result r = endRun(line.c, run); r != JPG_OK) return r;
  }
  return JPG_OK;
}

template <typename Samples>
Result encodeFirstLine(const SpatialLine &line) {
  const JpgContext &c = *line.c;
  const uint32_t n = c.write.frameComponents;
  const int32_t mid = 1 << (c.precision - 1);
  return putSamples<Samples>(line, 0, c.write.frameWidth * n, [&line, n, mid](uint32_t i) {
    return i < n ? mid : Samples::load(line.in, i - n);
  });
}

template <typename Samples, uint32_t kSelection>
Result encodeLine(const SpatialLine &line) {
  const uint32_t n = line.c->write.frameComponents;
  const Result r =
      putSamples<Samples>(line, 0, n, [&line](uint32_t i) { return Samples::load(line.above, i); });
  if (r != JPG_OK) return r;
  return putSamples<Samples>(line, n, line.c->write.frameWidth * n, [&line, n](uint32_t i) {
    return predict<kSelection>(Samples::load(line.in, i - n), Samples::load(line.above, i),
                               Samples::load(line.above, i - n));
  });
}

// The routines chosen for a call.
struct LineRoutines {
  LineRoutine first;
  LineRoutine other;
};

template <typename Samples>
LineRoutines chooseRoutines(uint32_t selection) {
  static constexpr LineRoutine kLines[kPredictors] = {
      encodeLine<Samples, 1>, encodeLine<Samples, 2>, encodeLine<Samples, 3>,
      encodeLine<Samples, 4>, encodeLine<Samples, 5>, encodeLine<Samples, 6>,
      encodeLine<Samples, 7>};
  return {encodeFirstLine<Samples>, kLines[selection - 1]};
}

LineRoutines chooseByPrecision(const JpgContext &c) {
  return c.precision <= kMaxBytePrecision ? chooseRoutines<ByteSamples>(c.Ss)
                                          : chooseRoutines<WordSamples>(c.Ss);
}

// Codes a line and, where a restart interval ends with it, the marker.
Result encodeAnyLine(const LineRoutines &routines, const SpatialLine &line) {
  JpgContext *c = line.c;
  const bool first = (c->flags & kFlagPositioned) != 0;
  c->flags &= ~kFlagPositioned;
  if (const Result r = first ? routines.first(line) : routines.other(line); r != JPG_OK) return r;
  c->mcusSinceRestart += c->write.frameWidth;
  if (c->mcusSinceRestart != c->write.frameRestart) return JPG_OK;
  c->flags |= kFlagPositioned;
  if (!isHeld(*c)) return writeRestart(c);
  c->mcusSinceRestart = 0;
  return JPG_OK;
}

// Codes `lines` lines and saves the last for the next call.
Result encodeSpatialLines(JpgContext *c, const JpgRect &rect, uint32_t lines) {
  const LineRoutines routines = chooseByPrecision(*c);
  const auto *in = static_cast<const uint8_t *>(rect.bits);
  const uint8_t *above = reinterpret_cast<const uint8_t *>(c->losslessRowBuffer);
  for (uint32_t i = 0; i < lines; i++) {
    if (i != 0) in += rect.stride;
    if (const Result r = encodeAnyLine(routines, {c, above, in}); r != JPG_OK) return r;
    c->rowPosition++;
    above = in;
  }
  const uint32_t samples = c->write.frameWidth * c->write.frameComponents;
  if (c->losslessRowBuffer != nullptr && lines != 0) {
    memcpy(c->losslessRowBuffer, in, samples * sampleBytes(c->precision));
  }
  return JPG_OK;
}

// ---- Driver ---------------------------------------------------------------

// Those of `lines` lines that don't exceed the height, where it is known.
uint32_t linesLeft(const JpgContext &c, uint32_t lines) {
  const uint32_t height = c.write.frameHeight;
  if (height == 0) return lines;
  const uint32_t left = c.rowPosition < height ? height - c.rowPosition : 0;
  return lines < left ? lines : left;
}

// Room for what a picture that is held will store of these lines.
Result reserveDifferences(JpgContext *c, uint32_t lines) {
  const uint64_t samples = uint64_t{c->write.frameWidth} * c->write.frameComponents;
  return reserveValues(&c->write.store, lines * samples);
}

// Room for the last line, unless this call completes the image.
Result reserveSavedLine(JpgContext *c, uint32_t lines) {
  const uint32_t height = c->write.frameHeight;
  const bool completes = height != 0 && lines >= height - c->rowPosition;
  if (completes) return JPG_OK;
  const uint32_t samples = c->write.frameWidth * c->write.frameComponents;
  c->losslessRowBuffer = static_cast<uint16_t *>(heapAlloc(samples * sizeof(uint16_t)));
  return c->losslessRowBuffer != nullptr ? JPG_OK : JPG_E_OUT_OF_MEMORY;
}

// What a frame allocates as it begins.
Result reserveFrame(JpgContext *c, uint32_t precision, uint32_t lines) {
  const Result r = isHeld(*c)
                       ? reserveDifferences(c, linesLeft(*c, lines))
                       : makeEncodingTable(tableFor(precision), CodeUse::kAlone, &c->dcTables[0]);
  return r != JPG_OK ? r : reserveSavedLine(c, lines);
}

// All checks and allocations come before the first header byte is written.
Result beginSpatialFrame(JpgContext *c, const JpgRect &rect, uint32_t lines) {
  // Headers that went out with a partial bitstream are those of a baseline image.
  if ((c->flags & kFlagHeadersWritten) != 0) return JPG_E_UNSUPPORTED;
  if (const Result r = checkFrameSize(rect, frameHeight(*c, rect)); r != JPG_OK) return r;
  const auto precision = static_cast<uint32_t>(rect.bitsPerSample);
  if (precision < kMinLosslessPrecision || precision > kMaxLosslessPrecision) {
    return JPG_E_INVALID_PARAMETER;
  }
  if (const Result r = checkComponentSlots(rect); r != JPG_OK) return r;
  planFrame(c, settingsOf(*c, rect));
  if (const Result r = reserveFrame(c, precision, lines); r != JPG_OK) return r;
  settleFrame(c, kMarkerSof3, precision);
  nameComponents(c);
  fixSpatialFrame(c);
  c->flags |= kFlagPositioned;
  return isHeld(*c) ? JPG_OK : writeSpatialHeaders(c);
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgWriteSpatialFromRect(JPGHANDLE handle, const JpgRect *rect, uint32_t lines) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr || rect == nullptr || rect->bits == nullptr) return JPG_E_INVALID_HANDLE;
  if (lines == 0) return JPG_E_INVALID_PARAMETER;
  if (c->write.outputFailed != kOutputFine) return JPG_E_WRITE_FAULT;
  if (c->rowPosition == 0) {
    if (const Result r = beginSpatialFrame(c, *rect, lines); r != JPG_OK) return r;
  }
  if (c->sofMarker != kMarkerSof3) return JPG_E_UNSUPPORTED;
  lines = linesLeft(*c, lines);
  if (isHeld(*c)) {
    if (const Result r = reserveDifferences(c, lines); r != JPG_OK) return r;
  }
  return encodeSpatialLines(c, *rect, lines);
}
