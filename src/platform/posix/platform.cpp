// SPDX-License-Identifier: MIT
#include "platform.h"

#include <malloc.h>
#include <stdlib.h>

#include "platform/undefined.h"
#include "posixFile.h"

namespace jpg {
namespace {

// Blocks from this size on get an eighth more than they ask for when they grow. A sink in memory
// grows by 4096 bytes at a time, and for a block of this size every step would be a system call: 4
// % of the time of encoding 12 megapixels at quality 98. Memory that isn't touched takes no pages.
constexpr size_t kLargeBlock = size_t{1} << 20;

// Not under sanitizers, which wouldn't find accesses to the part that wasn't asked for.
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
