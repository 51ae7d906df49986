// SPDX-License-Identifier: MIT
// The byte stream inside a context: a file or a memory block, opened for
// reading (a source) or for writing (a sink).
//
// The bit reader takes bytes one by one with fetchByte; the header search and
// the writers move blocks with streamRead and streamWrite. Nothing here knows
// JPEG.
#ifndef JPG_SHARE_STREAM_H
#define JPG_SHARE_STREAM_H

#include <stdint.h>

#include "jpg.h"
#include "share/jpgAssert.h"

namespace jpg {

constexpr uint32_t kStreamBuffer = 4096;      // input block, and growth step of a memory sink
constexpr uint32_t kMaxFileName = 256;        // UTF-16 units, terminator included
constexpr uint32_t kSeekFailed = 0xFFFFFFFF;  // result of streamSeek on failure

// JpgStream::mode bits.
constexpr uint32_t kModeRead = 2;
constexpr uint32_t kModeWrite = 4;
constexpr uint32_t kModeMemory = 16;

// JpgStream::endState values.
constexpr uint32_t kEndNone = 0;        // data flow
constexpr uint32_t kEndPassed = 1;      // the end was reached earlier
constexpr uint32_t kEndReadFailed = 2;  // the last read failed or found the end
constexpr uint32_t kEndNotOpened = 3;   // the file could not be opened; never closed

// streamSeek origins, as the platform counts them.
constexpr uint32_t kSeekBegin = 0;
constexpr uint32_t kSeekCurrent = 1;
constexpr uint32_t kSeekEnd = 2;

}  // namespace jpg

// Field order is fixed; see the offsets checked in jpgShare.cpp.
struct JpgStream {
  uint32_t reserved0[3];
  uint8_t *current;       // memory source: next byte; memory sink: the output block
  uint32_t size;          // memory source: its length; memory sink: bytes written
  uint32_t heldFill;      // reader: bufFill while a marker is held (jpgRHold.h)
  uint32_t bitBuffer;     // reader: pending bits, the next one is bit 31
  uint32_t stuffHistory;  // reader: per byte appended to bitBuffer, newest in bit 0: 1 when
                          // it was an FF whose stuffed zero was dropped
  const uint8_t *base;    // memory source: its start
  uint32_t position;      // memory: current offset
  uint32_t heldMarker;    // reader: the marker that the data have come to (jpgRHold.h), 0 for none
  uint32_t padding;       // reader: zero bits appended behind the data since then
  uint32_t startOffset;   // file offset of the JPEG data (reading)
  uint32_t endOffset;     // file size, or startOffset + the caller's length
  uint32_t bytesFetched;  // bytes taken into inputBuffer since the last reset
  void *fileHandle;       // platform handle; null for memory
  uint32_t capacity;      // memory sink: allocated bytes
  uint32_t bufFill;       // valid bytes of inputBuffer
  uint32_t bitCount;      // reader: valid bits of bitBuffer; writer: free bits
  uint32_t mode;          // kMode bits
  uint32_t holdsMarkers;  // reader: 1: the bit reader stops at markers (jpgRHold.h)
  uint32_t bufIndex;      // next byte of inputBuffer
  uint32_t endState;      // kEnd value
  JpgWChar fileName[jpg::kMaxFileName];
  uint8_t inputBuffer[jpg::kStreamBuffer];
};

namespace jpg {

// Opens for reading: the file `fileName`, or with kModeMemory the block described
// by base, current and size. 0, JPG_E_OPEN_FAILED or JPG_E_SEEK.
uint32_t streamOpenRead(JpgStream *s);

// Opens for writing: creates the file, or starts an empty memory block.
// 0 or JPG_E_OPEN_FAILED.
uint32_t streamOpenWrite(JpgStream *s);

// Discards all buffered bytes and bits.
void streamReset(JpgStream *s);

// Moves to `offset` from `origin`; returns the new position relative to the
// start offset, or kSeekFailed. In a file with a start offset, kSeekEnd counts
// backwards from endOffset, and kSeekCurrent is not defined.
uint32_t streamSeek(JpgStream *s, uint32_t offset, uint32_t origin);

// Reads up to n bytes; returns their count. A file gives -1 at its end or on
// failure, memory gives 0 at its end.
int32_t streamRead(JpgStream *s, void *buffer, uint32_t n);

// Writes n bytes; returns n, or -1 when not all could be written. A memory sink
// grows in steps of kStreamBuffer bytes.
int32_t streamWrite(JpgStream *s, const void *data, uint32_t n);

// Closes the file, if one is open. 0 or JPG_E_FAIL. A sink's block stays.
uint32_t streamClose(JpgStream *s);

// Reads the next block into inputBuffer and returns its first byte. Once the data have ended or a
// read has failed (see endState), every call returns 0xFF.
uint8_t streamRefill(JpgStream *s);

// The next byte of a source.
inline uint8_t fetchByte(JpgStream *s) {
  JPG_ASSERT(s->bufIndex <= s->bufFill && s->bufFill <= kStreamBuffer);
  if (s->bufIndex != s->bufFill) return s->inputBuffer[s->bufIndex++];
  return streamRefill(s);
}

}  // namespace jpg

#endif
