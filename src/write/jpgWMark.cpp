// SPDX-License-Identifier: MIT
#include "write/jpgWMark.h"

#include "share/jpgMarkers.h"
#include "write/jpgWVLC.h"

namespace jpg {
namespace {

constexpr uint32_t kLengthField = 2;  // a length counts its own field
constexpr uint32_t kMaxSegmentData = 0xFFFF - kLengthField;
constexpr uint32_t kMaxLines = 0xFFFF;  // of DNL
constexpr uint32_t kRestartCount = 8;   // RST0 to RST7, in turn

}  // namespace

Result beginSegment(JpgContext *c, uint32_t marker, uint32_t length) {
  if (!isMarker(marker) || length == 0 || length > kMaxSegmentData) return JPG_E_INVALID_PARAMETER;
  c->segLength = length;
  c->segConsumed = 0;
  if (const Result r = writeMarker(c, marker); r != JPG_OK) return r;
  return writeNumber(c, length + kLengthField, 2);
}

Result writeSegment(JpgContext *c, uint32_t marker, const uint8_t *data, uint32_t length) {
  if (const Result r = beginSegment(c, marker, length); r != JPG_OK) return r;
  c->segConsumed = length;
  return writeBytes(c, data, length);
}

Result writeDnl(JpgContext *c) {
  const uint32_t lines = c->rowPosition;
  if (lines > kMaxLines) return JPG_E_INVALID_PARAMETER;
  const uint8_t data[2] = {static_cast<uint8_t>(lines >> 8), static_cast<uint8_t>(lines)};
  return writeSegment(c, kMarkerDnl, data, sizeof(data));
}

Result writeRestart(JpgContext *c) {
  const uint32_t marker = kMarkerRst0 + c->restartCounter;
  c->restartCounter = (c->restartCounter + 1) % kRestartCount;
  for (JpgScanComponent &component : c->scanComponents) component.dcPredictor = 0;
  c->mcusSinceRestart = 0;
  return writeMarker(c, marker);
}

}  // namespace jpg

using namespace jpg;

uint32_t JPG_CALL jpgWriteWriteMarkerCode(JPGHANDLE handle, uint32_t marker, uint32_t length) {
  JpgContext *c = validWriter(handle);
  return c != nullptr ? beginSegment(c, marker, length) : JPG_E_INVALID_HANDLE;
}

uint32_t JPG_CALL jpgWriteWriteMarkerData(JPGHANDLE handle, const void *data, uint32_t size,
                                          uint32_t *written) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr || data == nullptr) return JPG_E_INVALID_HANDLE;
  if (size == 0) return JPG_E_INVALID_PARAMETER;
  const uint32_t left = c->segLength - c->segConsumed;
  const uint32_t n = size < left ? size : left;
  if (written != nullptr) *written = n;
  if (n == 0) return JPG_NO_DATA;
  c->segConsumed += n;
  return writeBytes(c, static_cast<const uint8_t *>(data), n);
}

uint32_t JPG_CALL jpgWriteWriteMarkerSegment(JPGHANDLE handle, uint32_t marker, const void *data,
                                             uint32_t length) {
  JpgContext *c = validWriter(handle);
  if (c == nullptr || data == nullptr) return JPG_E_INVALID_HANDLE;
  if (const Result r = beginSegment(c, marker, length); r != JPG_OK) return r;
  return jpgWriteWriteMarkerData(handle, data, length, nullptr);
}
