// SPDX-License-Identifier: MIT
#include "share/jpgStream.h"

#include <string.h>

#include "platform.h"
#include "share/jpgAssert.h"
#include "share/jpgHeap.h"

namespace jpg {
namespace {

constexpr uint8_t kFill = 0xFF;  // returned after the end of the data
constexpr uint32_t kMaxFilePosition = 0x7FFFFFFF;

HANDLE openForReading(const JpgWChar *name) {
  return CreateFileW(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE createForWriting(const JpgWChar *name) {
  return CreateFileW(name, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                     nullptr);
}

// Size of the named file, INVALID_FILE_SIZE when it can't be opened.
uint32_t probeFileSize(const JpgWChar *name) {
  HANDLE file = openForReading(name);
  if (file == INVALID_HANDLE_VALUE) return INVALID_FILE_SIZE;
  const uint32_t size = GetFileSize(file, nullptr);
  CloseHandle(file);
  return size;
}

uint32_t failOpen(JpgStream *s) {
  s->fileHandle = nullptr;
  s->endState = kEndNotOpened;
  return JPG_E_OPEN_FAILED;
}

// File position from the file's beginning; positions must fit 31 bits.
uint32_t seekFile(JpgStream *s, uint64_t position) {
  if (position > kMaxFilePosition) return kSeekFailed;
  return SetFilePointer(s->fileHandle, static_cast<LONG>(position), nullptr, FILE_BEGIN);
}

uint32_t seekFileRange(JpgStream *s, uint32_t offset, uint32_t origin) {
  uint64_t position = uint64_t{s->startOffset} + offset;
  if (origin == kSeekEnd) {
    if (offset > s->endOffset) return kSeekFailed;
    position = s->endOffset - offset;
  } else if (origin != kSeekBegin) {
    return kSeekFailed;
  }
  const uint32_t reached = seekFile(s, position);
  return reached == kSeekFailed ? kSeekFailed : reached - s->startOffset;
}

// Positions outside the block are accepted; reading there finds the end of the data.
uint32_t seekMemory(JpgStream *s, uint32_t offset, uint32_t origin) {
  uint32_t position = offset;
  if (origin == kSeekCurrent) position = s->position + offset;
  if (origin == kSeekEnd) position = s->size + offset;
  s->position = position;
  const uint32_t inside = position < s->size ? position : s->size;
  s->current = const_cast<uint8_t *>(s->base) + inside;
  return position;
}

int32_t readMemory(JpgStream *s, void *buffer, uint32_t n) {
  if (s->position >= s->size) return 0;
  const uint32_t left = s->size - s->position;
  const uint32_t count = n < left ? n : left;
  JPG_ASSERT(s->current == s->base + s->position);
  memcpy(buffer, s->current, count);
  s->current += count;
  s->position += count;
  return static_cast<int32_t>(count);
}

int32_t writeMemory(JpgStream *s, const void *data, uint32_t n) {
  const uint64_t end = uint64_t{s->position} + n;
  if (end > s->capacity) {
    const uint64_t capacity = (end + kStreamBuffer - 1) / kStreamBuffer * kStreamBuffer;
    if (capacity > kMaxHeapBlock) return -1;
    void *block = heapRealloc(s->current, static_cast<size_t>(capacity));
    if (block == nullptr) return -1;
    s->current = static_cast<uint8_t *>(block);
    s->capacity = static_cast<uint32_t>(capacity);
  }
  JPG_ASSERT(end <= s->capacity);
  if (n != 0) memcpy(s->current + s->position, data, n);
  s->position = static_cast<uint32_t>(end);
  s->size = s->position;
  return static_cast<int32_t>(n);
}

}  // namespace

uint32_t streamOpenRead(JpgStream *s) {
  s->mode |= kModeRead;
  if ((s->mode & kModeMemory) != 0) {
    s->endOffset = 0;
    s->fileHandle = nullptr;
  } else {
    s->endOffset = probeFileSize(s->fileName);
    s->fileHandle = openForReading(s->fileName);
    if (s->fileHandle == INVALID_HANDLE_VALUE) return failOpen(s);
    if (s->startOffset != 0 && streamSeek(s, 0, kSeekBegin) == kSeekFailed) {
      streamClose(s);
      return JPG_E_SEEK;
    }
  }
  streamReset(s);
  return JPG_OK;
}

uint32_t streamOpenWrite(JpgStream *s) {
  s->mode |= kModeWrite;
  s->fileHandle = nullptr;
  if ((s->mode & kModeMemory) == 0) {
    s->fileHandle = createForWriting(s->fileName);
    if (s->fileHandle == INVALID_HANDLE_VALUE) return failOpen(s);
  }
  streamReset(s);
  s->capacity = 0;
  return JPG_OK;
}

void streamReset(JpgStream *s) {
  s->bytesFetched = 0;
  s->bitBuffer = 0;
  s->stuffHistory = 0;
  s->bufIndex = 0;
  s->endState = kEndNone;
  s->position = 0;
  if ((s->mode & kModeRead) != 0) {
    s->bufFill = 0;
    s->bitCount = 0;
  } else {
    s->bitCount = 32;
  }
}

uint32_t streamSeek(JpgStream *s, uint32_t offset, uint32_t origin) {
  if ((s->mode & kModeMemory) != 0) return seekMemory(s, offset, origin);
  if (s->startOffset != 0) return seekFileRange(s, offset, origin);
  return SetFilePointer(s->fileHandle, static_cast<LONG>(offset), nullptr, origin);
}

int32_t streamRead(JpgStream *s, void *buffer, uint32_t n) {
  if ((s->mode & kModeMemory) != 0) return readMemory(s, buffer, n);
  DWORD count = 0;
  if (ReadFile(s->fileHandle, buffer, n, &count, nullptr) == 0 || count < 1) return -1;
  return static_cast<int32_t>(count);
}

int32_t streamWrite(JpgStream *s, const void *data, uint32_t n) {
  if ((s->mode & kModeMemory) != 0) return writeMemory(s, data, n);
  DWORD count = 0;
  if (WriteFile(s->fileHandle, data, n, &count, nullptr) == 0 || count != n) return -1;
  return static_cast<int32_t>(n);
}

uint32_t streamClose(JpgStream *s) {
  if (s->fileHandle == nullptr) return JPG_OK;
  const uint32_t r = CloseHandle(s->fileHandle) != 0 ? JPG_OK : JPG_E_FAIL;
  s->fileHandle = nullptr;
  return r;
}

uint8_t streamRefill(JpgStream *s) {
  if (s->endState != kEndNone) {
    s->endState = kEndPassed;
    return kFill;
  }
  const int32_t count = streamRead(s, s->inputBuffer, kStreamBuffer);
  if (count < 1) {  // memory reports its end as 0 bytes, files as -1
    s->endState = kEndReadFailed;
    return kFill;
  }
  JPG_ASSERT(count <= static_cast<int32_t>(kStreamBuffer));
  s->bufFill = static_cast<uint32_t>(count);
  s->bytesFetched += s->bufFill;
  s->bufIndex = 1;
  return s->inputBuffer[0];
}

}  // namespace jpg
