// SPDX-License-Identifier: MIT
// Opening and closing of read handles, and the getters.
#include <string.h>

#include "kernels/jpgKernels.h"
#include "read/jpgRBits.h"
#include "read/jpgRCoefs.h"
#include "read/jpgRFindEoi.h"
#include "read/jpgRHead.h"
#include "read/jpgRLenient.h"
#include "read/jpgRPlanes.h"
#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"

namespace jpg {
namespace {

constexpr uint64_t kBlockBytes = kBlockSize * sizeof(int16_t);

// Frees what a read handle owns, then the record.
Result closeReader(JpgContext *c) {
  freePlanes(c);
  heapRelease(c->blockMapB);
  heapRelease(c->blockMapA);
  freeCoefPieces(c);
  heapRelease(c->coefBuffer);
  heapRelease(c->losslessRowBuffer);
  freeLenient(c);
  return destroyContext(c);
}

// Clears the results of an earlier parse, all flags included.
void clearForParse(JpgContext *c) {
  c->lastMarker = 0;
  c->width = 0;
  c->height = 0;
  c->restartInterval = 0;
  c->losslessRowBuffer = nullptr;
  c->segLength = 0;
  c->segConsumed = 0;
  c->jfifUnits = 0;
  c->pendingHuffCount = 0;
  c->pendingHuffIds[0] = kNoPending;
  c->coefBuffer = nullptr;
  c->read.storePieces = nullptr;
  c->blockMapA = nullptr;
  c->blockMapB = nullptr;
  c->scanState = kScanStateNone;
  c->flags = kFlagPrologParsed | kFlagPositioned;
}

Result parseFrame(JpgContext *c) {
  uint32_t marker = 0;
  if (const Result r = runHeaderLoop(c, &marker); r != JPG_OK) return r;
  if (marker > kMarkerSof3) return JPG_E_UNSUPPORTED;
  c->sofMarker = marker;
  return readFrameHeader(c);
}

// For every 8x8 cell of the MCU in raster order, one index into blockMapA per
// component; a component has hvMax entries there.
void fillCellIndex(JpgContext *c) {
  uint32_t *entry = c->blockMapB;
  for (uint32_t cell = 0; cell < c->hvMax; cell++) {
    for (uint32_t k = 0; k < kMaxComponents; k++) *entry++ = cell + k * c->hvMax;
  }
}

// One MCU of blocks, the scratch blocks of expansion, and either another MCU
// (sequential) or the store of the whole image's coefficients (progressive).
Result allocateBlocks(JpgContext *c) {
  const bool progressive = c->sofMarker == kMarkerSof2;
  const uint64_t fixed = (uint64_t{c->lumaBlockSlots} + c->blocksPerMcu) * kBlockBytes;
  const uint64_t bytes =
      fixed + (progressive ? firstPieceBytes(*c) : c->blocksPerMcu * kBlockBytes);
  c->coefBuffer = static_cast<int16_t *>(heapAllocChecked(bytes));
  c->blockMapA = static_cast<int16_t **>(heapAlloc(c->lumaBlockSlots * sizeof(int16_t *)));
  c->blockMapB = static_cast<uint32_t *>(heapAlloc(c->lumaBlockSlots * sizeof(uint32_t)));
  if (c->coefBuffer == nullptr || c->blockMapA == nullptr || c->blockMapB == nullptr) {
    return JPG_E_OUT_OF_MEMORY;
  }
  memset(c->coefBuffer, 0, static_cast<size_t>(progressive ? fixed : bytes));
  memset(c->blockMapA, 0, c->lumaBlockSlots * sizeof(int16_t *));
  c->scratchBlocks = c->coefBuffer + c->blocksPerMcu * kBlockSize;
  fillCellIndex(c);
  if (!progressive) return JPG_OK;
  c->coefStore = c->scratchBlocks + c->lumaBlockSlots * kBlockSize;
  c->coefCurrent = c->coefStore;
  return makeCoefPieces(c);
}

Result allocateLosslessRow(JpgContext *c) {
  const uint64_t bytes = uint64_t{c->numComponents} * c->width * sizeof(uint16_t);
  c->losslessRowBuffer = static_cast<uint16_t *>(heapAllocChecked(bytes));
  if (c->losslessRowBuffer == nullptr) return JPG_E_OUT_OF_MEMORY;
  memset(c->losslessRowBuffer, 0, static_cast<size_t>(bytes));
  return JPG_OK;
}

// The lenient reader makes its buffers when decoding begins.
Result allocateBuffers(JpgContext *c) {
  if (c->sofMarker == kMarkerSof3) return allocateLosslessRow(c);
  return isLenient(*c) ? JPG_OK : allocateBlocks(c);
}

// Whether three components are YCbCr: JFIF says yes, Adobe says which, otherwise
// the identifiers 'R', 'G', 'B' say no.
bool isYcbcr(const JpgContext &c) {
  if ((c.flags & kFlagJfifSeen) != 0) return true;
  if ((c.flags & kFlagAdobeSeen) != 0) return c.adobeTransform != 0;
  const JpgScanComponent *k = c.scanComponents;
  return !(k[0].id == 'R' && k[1].id == 'G' && k[2].id == 'B');
}

// Parses the headers from behind SOI up to and including the first scan header.
Result parseProlog(JpgContext *c) {
  clearForParse(c);
  const bool lenient = (c->options & kOptionLenient) != 0;
  if (const Result r = lenient ? makeLenient(c) : JPG_OK; r != JPG_OK) return r;
  if (const Result r = parseFrame(c); r != JPG_OK) return r;
  if (const Result r = lenient ? openLenientScan(c) : setUpScan(c); r != JPG_OK) return r;
  c->scanDataOffset = tellOffset(&c->stream);
  if (lenient && c->height == 0) {
    if (const Result r = findHeight(c); r != JPG_OK) return r;
  }
  for (uint32_t i = 0; i < c->numComponents; i++) {
    JpgScanComponent *k = &c->scanComponents[i];
    k->quantTable = c->quantTables[k->tq];
  }
  if (const Result r = allocateBuffers(c); r != JPG_OK) return r;
  c->flags &= ~kFlagMarkerAccessUsed;
  if (c->numComponents == 3 && isYcbcr(*c)) c->flags |= kFlagYcbcrToRgb;
  return JPG_OK;
}

// Reads the first two bytes: true for SOI.
bool readSoi(JpgStream *s) {
  uint8_t pair[kSoiLength] = {0, 0};
  streamRead(s, pair, kSoiLength);
  return (pair[0] << 8 | pair[1]) == static_cast<int>(kMarkerSoi);
}

Result openFile(JpgContext *c, int32_t length, uint32_t flags) {
  JpgStream *s = &c->stream;
  if (const Result r = streamOpenRead(s); r != JPG_OK) return r;
  const auto range = static_cast<uint32_t>(length);
  if (range > s->endOffset) return JPG_E_INVALID_PARAMETER;
  if (range != 0) s->endOffset = s->startOffset + range;
  if (!readSoi(s)) return JPG_E_NOT_JPEG;
  const bool noSearch = (flags & JPG_READ_COMPLETE) != 0 || (c->options & kOptionLenient) != 0;
  if (!noSearch && !fileHasEoi(s)) return JPG_E_NOT_JPEG;
  if (streamSeek(s, kSoiLength, kSeekBegin) == kSeekFailed) return JPG_E_SEEK;
  return parseProlog(c);
}

Result openMemory(JpgContext *c, const void *data, int32_t size, uint32_t flags) {
  JpgStream *s = &c->stream;
  s->mode = kModeMemory;
  s->base = static_cast<const uint8_t *>(data);
  s->current = const_cast<uint8_t *>(s->base);
  s->size = static_cast<uint32_t>(size);
  s->position = 0;
  streamOpenRead(s);  // of memory: can't fail
  if (!readSoi(s)) return JPG_E_NOT_JPEG;
  const bool inPieces = (flags & JPG_READ_PARTIAL_BITSTREAM) != 0;
  if (inPieces) c->options &= ~kOptionLenient;  // damage can't be looked into beyond a piece
  const bool noSearch =
      inPieces || (flags & JPG_READ_COMPLETE) != 0 || (c->options & kOptionLenient) != 0;
  if (!noSearch && !memoryHasEoi(s)) return JPG_E_NOT_JPEG;
  if (const Result r = parseProlog(c); r != JPG_OK) return r;
  c->flags |= (flags & kFlagPartialBitstream) | kFlagMemorySource;
  return JPG_OK;
}

// Hands the record to the caller, or destroys it.
Result finishProlog(JpgContext *c, Result r, JPGHANDLE *handle) {
  if (r == JPG_OK) {
    *handle = c;
  } else {
    closeReader(c);
  }
  return r;
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgReadPrologFromFile(const JpgWChar *path, int32_t startOffset, int32_t length,
                                        uint32_t flags, JPGHANDLE *handle) {
  if (handle != nullptr) *handle = nullptr;
  if (path == nullptr || handle == nullptr) return JPG_E_INVALID_HANDLE;
  if (startOffset < 0 || length < 0) return JPG_E_INVALID_PARAMETER;
  JpgContext *c = createContext(path, bestKernels());
  if (c == nullptr) return JPG_E_OUT_OF_MEMORY;
  c->options = optionsOf(flags);
  c->stream.startOffset = static_cast<uint32_t>(startOffset);
  const Result r = fileNameFits(path) ? openFile(c, length, flags) : JPG_E_OPEN_FAILED;
  return finishProlog(c, r, handle);
}

uint32_t JPG_CALL jpgReadPrologFromMemory(const void *data, int32_t size, uint32_t flags,
                                          JPGHANDLE *handle) {
  if (handle != nullptr) *handle = nullptr;
  if (data == nullptr || handle == nullptr) return JPG_E_INVALID_HANDLE;
  if (size < 1) return JPG_E_INVALID_PARAMETER;
  JpgContext *c = createContext(nullptr, bestKernels());
  if (c == nullptr) return JPG_E_OUT_OF_MEMORY;
  c->options = optionsOf(flags);
  return finishProlog(c, openMemory(c, data, size, flags), handle);
}

uint32_t JPG_CALL jpgReadEpilog(JPGHANDLE handle) {
  JpgContext *c = validReader(handle);
  return c != nullptr ? closeReader(c) : JPG_E_INVALID_HANDLE;
}

uint32_t JPG_CALL jpgReadGetCodingProcess(JPGHANDLE handle, uint32_t *process) {
  const JpgContext *c = validContext(handle);
  if (c == nullptr || process == nullptr) return JPG_E_INVALID_HANDLE;
  if (c->sofMarker < kMarkerSof0 || c->sofMarker > kMarkerSof3) return JPG_E_UNSUPPORTED;
  *process = JPG_PROCESS_BASELINE >> (c->sofMarker - kMarkerSof0);
  return JPG_OK;
}

uint32_t JPG_CALL jpgReadGetImageSize(JPGHANDLE handle, uint32_t *width, uint32_t *height) {
  const JpgContext *c = validContext(handle);
  if (c == nullptr || width == nullptr || height == nullptr) return JPG_E_INVALID_HANDLE;
  *width = c->width;
  *height = c->height;
  return JPG_OK;
}

uint32_t JPG_CALL jpgReadGetNumberOfChannels(JPGHANDLE handle, uint32_t *channels) {
  const JpgContext *c = validContext(handle);
  if (c == nullptr || channels == nullptr) return JPG_E_INVALID_HANDLE;
  *channels = c->numComponents;
  return JPG_OK;
}

uint32_t JPG_CALL jpgReadGetSamplePrecision(JPGHANDLE handle, uint32_t *precision) {
  const JpgContext *c = validContext(handle);
  if (c == nullptr || precision == nullptr) return JPG_E_INVALID_HANDLE;
  *precision = c->precision;
  return JPG_OK;
}

uint32_t JPG_CALL jpgReadSetNoColorConversion(JPGHANDLE handle) {
  JpgContext *c = validReader(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  c->flags |= kFlagNoColorConversion;
  return JPG_OK;
}
