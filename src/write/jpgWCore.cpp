// SPDX-License-Identifier: MIT
// Opening and closing of write handles, settings, partial bitstreams.
#include "kernels/jpgKernels.h"
#include "share/jpgHeap.h"
#include "share/jpgMarkers.h"
#include "write/jpgWHead.h"
#include "write/jpgWHeld.h"
#include "write/jpgWMark.h"
#include "write/jpgWStore.h"
#include "write/jpgWVLC.h"

namespace jpg {
namespace {

constexpr uint32_t kDefaultSampling = 0x00221111;  // 4:2:0 for three components
constexpr uint32_t kDefaultQuality = 90;
constexpr uint32_t kDefaultPrecision = 8;
constexpr uint32_t kDefaultPredictor = 1;
constexpr uint32_t kMaxRestartInterval = 0xFFFF;  // mask of the 16-bit field
constexpr int32_t kMaxPredictor = 7;
constexpr int32_t kMaxQuality = 100;

// Opens the sink, writes SOI, sets the defaults.
Result initWriter(JpgContext *c) {
  if (const Result r = streamOpenWrite(&c->stream); r != JPG_OK) return r;
  writeMarker(c, kMarkerSoi);  // the stage is empty: can't fail
  c->samplingPacked = kDefaultSampling;
  c->write.predictor = kDefaultPredictor;
  c->quality = kDefaultQuality;
  c->flags = kFlagWriterOpen;
  c->restartInterval = 0;
  c->height = 0;
  c->numComponents = 0;
  c->restartCounter = 0;
  c->sofMarker = kMarkerSof0;
  for (uint32_t i = 0; i < 3; i++) c->scanComponents[i].id = static_cast<uint8_t>(i + 1);
  c->precision = kDefaultPrecision;
  return JPG_OK;
}

// What the encode calls have left to be written: DNL if the height was never set, or the whole
// picture where it was held.
Result finishPicture(JpgContext *c) {
  if (isHeld(*c) && c->write.frameOut != 0) return writeHeldPicture(c);
  const uint32_t height = c->write.frameOut != 0 ? c->write.frameHeight : c->height;
  return height == 0 ? writeDnl(c) : JPG_OK;
}

// Completes the stream.
Result finishStream(JpgContext *c) {
  if (c->write.outputFailed != kOutputFine) return JPG_E_WRITE_FAULT;
  if (const Result r = finishPicture(c); r != JPG_OK) return r;
  if (const Result r = writeMarker(c, kMarkerEoi); r != JPG_OK) return r;
  return flushStage(c);
}

// Destroys the record. Returns the first error.
Result closeWriter(JpgContext *c, Result r) {
  heapRelease(c->losslessRowBuffer);
  releaseStore(&c->write.store);
  const Result destroyed = destroyContext(c);
  return r != JPG_OK ? r : destroyed;
}

bool isMemorySink(const JpgContext &c) { return (c.stream.mode & kModeMemory) != 0; }

// Passes the sink's block to the caller; the sink is empty afterwards.
void handOver(JpgStream *s, void **data, uint32_t *size) {
  *data = s->current;
  *size = s->size;
  s->current = nullptr;
  s->capacity = 0;
  s->size = 0;
  s->position = 0;
}

// Checks the word's bytes from the lowest up: each holds two sampling factors of 1 or 2. A byte of
// 0 ends the check; bytes above it aren't looked at.
bool samplingIsValid(uint32_t packed) {
  for (uint32_t i = 0; i < kMaxComponents; i++, packed >>= 8) {
    const uint32_t byte = packed & 0xFF;
    if (byte < 0x11) return byte == 0;
    if (byte != 0x11 && byte != 0x12 && byte != 0x21 && byte != 0x22) return false;
  }
  return true;
}

// The headers go out with the first partial bitstream when no line has been
// encoded yet.
Result writeHeadersEarly(JpgContext *c) {
  if (c->rowPosition != 0 || (c->flags & kFlagHeadersWritten) != 0) return JPG_OK;
  if (c->write.outputFailed != kOutputFine) return JPG_OK;  // the caller reports it
  // Sizes that were never set are 0; others must fit their fields.
  if (c->width > kMaxDimension || c->height > kMaxDimension) return JPG_E_INVALID_PARAMETER;
  planFrame(c, settingsOf(*c));
  layOutFrame(c);
  if (const Result r = makeEncodingTables(c); r != JPG_OK) return r;
  const Result r = writeFrameHeaders(c);
  if (r == JPG_OK) c->flags |= kFlagHeadersWritten;
  return r;
}

}  // namespace
}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgWritePrologToFile(const JpgWChar *path, uint32_t flags, JPGHANDLE *handle) {
  if (handle != nullptr) *handle = nullptr;
  if (path == nullptr || handle == nullptr) return JPG_E_INVALID_HANDLE;
  JpgContext *c = createContext(path, bestKernels());
  if (c == nullptr) return JPG_E_OUT_OF_MEMORY;
  const Result r = fileNameFits(path) ? initWriter(c) : JPG_E_OPEN_FAILED;
  if (r != JPG_OK) return closeWriter(c, r);
  c->options = optionsOf(flags);
  *handle = c;
  return JPG_OK;
}

uint32_t JPG_CALL jpgWritePrologToMemory(uint32_t flags, JPGHANDLE *handle) {
  if (handle == nullptr) return JPG_E_INVALID_HANDLE;
  *handle = nullptr;
  JpgContext *c = createContext(nullptr, bestKernels());
  if (c == nullptr) return JPG_E_OUT_OF_MEMORY;
  c->stream.mode = kModeMemory;
  initWriter(c);  // memory is allocated when there is something to store: can't fail
  c->flags |= kFlagMemorySource | (flags & kFlagPartialBitstream);
  c->options = optionsOf(flags);
  *handle = c;
  return JPG_OK;
}

uint32_t JPG_CALL jpgWriteEpilogToFile(JPGHANDLE handle) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  const Result r = finishStream(c);
  if (isMemorySink(*c)) heapRelease(c->stream.current);  // wasn't passed to the caller
  return closeWriter(c, r);
}

uint32_t JPG_CALL jpgWriteEpilogToMemory(JPGHANDLE handle, void **data, uint32_t *size) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr || data == nullptr || size == nullptr) return JPG_E_INVALID_HANDLE;
  const Result r = finishStream(c);
  handOver(&c->stream, data, size);
  return closeWriter(c, r);
}

uint32_t JPG_CALL jpgWriteFreeBitstream(void *data) {
  return data != nullptr ? heapFree(data) : JPG_E_INVALID_HANDLE;
}

uint32_t JPG_CALL jpgWriteGetPartialBitstream(JPGHANDLE handle, void **data, uint32_t *size) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr || data == nullptr || size == nullptr) return JPG_E_INVALID_HANDLE;
  constexpr uint32_t kNeeded = kFlagMemorySource | kFlagPartialBitstream;
  if ((c->flags & kNeeded) != kNeeded || isHeld(*c)) return JPG_E_INVALID_FUNCTION;
  if (const Result r = writeHeadersEarly(c); r != JPG_OK) return r;
  if (c->write.outputFailed != kOutputFine) return JPG_E_FAIL;
  if (const Result r = writeMarker(c, kMarkerEoi); r != JPG_OK) return r;
  if (const Result r = flushStage(c); r != JPG_OK) return r;
  handOver(&c->stream, data, size);
  for (JpgScanComponent &component : c->scanComponents) component.dcPredictor = 0;
  // The next line of a lossless picture begins a piece: it has no line above it to predict from.
  if (c->sofMarker == kMarkerSof3) c->flags |= kFlagPositioned;
  return JPG_OK;
}

uint32_t JPG_CALL jpgWriteSetImageSize(JPGHANDLE handle, uint32_t width, uint32_t height) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  if (width == 0 || height == 0) return JPG_E_INVALID_PARAMETER;
  c->width = width;
  c->height = height;
  return JPG_OK;
}

uint32_t JPG_CALL jpgWriteSetNoColorConversion(JPGHANDLE handle) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  c->flags |= kFlagNoColorConversion;
  return JPG_OK;
}

uint32_t JPG_CALL jpgWriteSetSubsamplingFactor(JPGHANDLE handle, uint32_t packed) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  if (!samplingIsValid(packed)) return JPG_E_INVALID_PARAMETER;
  c->samplingPacked = packed;
  return JPG_OK;
}

uint32_t JPG_CALL jpgWriteSetNumberOfComponents(JPGHANDLE handle, int32_t count) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  if (count < 1 || count > static_cast<int32_t>(kMaxComponents)) return JPG_E_INVALID_PARAMETER;
  c->numComponents = static_cast<uint32_t>(count);
  return JPG_OK;
}

uint32_t JPG_CALL jpgWriteSetQuantizationFactor(JPGHANDLE handle, int32_t quality) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  if (quality < 1 || quality > kMaxQuality) return JPG_E_INVALID_PARAMETER;
  c->quality = static_cast<uint32_t>(quality);
  return JPG_OK;
}

uint32_t JPG_CALL jpgWriteSetRestartInterval(JPGHANDLE handle, int32_t mcus) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  c->restartInterval = static_cast<uint32_t>(mcus) & kMaxRestartInterval;
  return JPG_OK;
}

uint32_t JPG_CALL jpgWriteSetSpatialPredictor(JPGHANDLE handle, int32_t predictor) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr) return JPG_E_INVALID_HANDLE;
  if (predictor < 1 || predictor > kMaxPredictor) return JPG_E_INVALID_PARAMETER;
  c->write.predictor = static_cast<uint32_t>(predictor);
  return JPG_OK;
}
