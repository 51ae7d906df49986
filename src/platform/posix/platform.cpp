// SPDX-License-Identifier: MIT
#include "platform.h"

#include <malloc.h>
#include <stdlib.h>

#include "platform/undefined.h"
#include "posixFile.h"

namespace jpg {
namespace {

// A large block that grows gets an eighth more than it asks for: pages that nobody touches cost
// nothing. A sink in memory grows by 4096 bytes, and as a mapped block it would call the system
// each time, which is 4 % of the time that 12 megapixels take to encode at quality 98.
constexpr size_t kLargeBlock = size_t{1} << 20;

// Sanitizers, which know blocks by the sizes that are asked for, see those alone.
constexpr bool kGrowsAhead = !kIsWatched;

void *resized(void *block, size_t bytes) {
  if (!kGrowsAhead || bytes < kLargeBlock) return realloc(block, bytes);
  const size_t there = malloc_usable_size(block), ahead = bytes / 8;
  if (bytes <= there && there - bytes <= ahead) return block;
  void *grown = bytes > there ? realloc(block, bytes + ahead) : nullptr;
  return grown != nullptr ? grown : realloc(block, bytes);
}

}  // namespace

// There is one heap; its handle isn't used.
HANDLE GetProcessHeap() { return nullptr; }

// A block of 0 bytes is allowed and not null, as on the original system.
void *HeapAlloc(HANDLE /*heap*/, DWORD /*flags*/, size_t bytes) {
  void *block = malloc(bytes != 0 ? bytes : 1);
  markUndefined(block, bytes);
  return block;
}

void *HeapReAlloc(HANDLE /*heap*/, DWORD /*flags*/, void *block, size_t bytes) {
  const size_t before = lengthOf(block);
  void *grown = resized(block, bytes != 0 ? bytes : 1);
  markGrown(grown, before, bytes);
  return grown;
}

BOOL HeapFree(HANDLE /*heap*/, DWORD /*flags*/, void *block) {
  free(block);
  return 1;
}

HANDLE CreateFileW(const JpgWChar *name, DWORD access, DWORD /*share*/, void * /*security*/,
                   DWORD creation, DWORD /*attributes*/, HANDLE /*templateFile*/) {
  return posix::openFile(name, access, creation);
}

BOOL ReadFile(HANDLE file, void *buffer, DWORD bytes, DWORD *count, void * /*overlapped*/) {
  return posix::readFile(file, buffer, bytes, count);
}

BOOL WriteFile(HANDLE file, const void *buffer, DWORD bytes, DWORD *count, void * /*overlapped*/) {
  return posix::writeFile(file, buffer, bytes, count);
}

DWORD SetFilePointer(HANDLE file, LONG distance, LONG * /*distanceHigh*/, DWORD origin) {
  return posix::seekFile(file, distance, origin);
}

DWORD GetFileSize(HANDLE file, DWORD *high) { return posix::fileSize(file, high); }

BOOL CloseHandle(HANDLE file) { return posix::closeFile(file); }

BOOL IsProcessorFeaturePresent(DWORD feature) { return posix::hasProcessorFeature(feature); }

}  // namespace jpg
