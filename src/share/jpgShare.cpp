// SPDX-License-Identifier: MIT
#include "share/jpgShare.h"

#include <string.h>

#include "share/jpgHeap.h"

// The record's layout on 32-bit targets, where every word and pointer has 4 bytes.
// On 64-bit hosts only pointers, and what follows them, take more room.
#define JPG_CHECK_OFFSET(field, offset)                                         \
  static_assert(sizeof(void *) != 4 || offsetof(JpgContext, field) == (offset), \
                "JpgContext::" #field " has moved")

static_assert(sizeof(void *) != 4 || sizeof(JpgContext) == jpg::kContextSize,
              "JpgContext must have 7372 bytes");
static_assert(sizeof(void *) != 4 || sizeof(JpgStream) == 4700, "JpgStream must have 4700 bytes");
static_assert(sizeof(void *) != 4 || sizeof(JpgScanComponent) == 44, "eleven words");
static_assert(sizeof(void *) != 4 || sizeof(JpgHuffTable) == 20, "five words");
static_assert(sizeof(JpgHuffCode) == 8, "two words");
JPG_CHECK_OFFSET(signature, 0);
JPG_CHECK_OFFSET(recordSize, 4);
JPG_CHECK_OFFSET(lastMarker, 12);
JPG_CHECK_OFFSET(flags, 28);
JPG_CHECK_OFFSET(rowPosition, 36);
JPG_CHECK_OFFSET(height, 48);
JPG_CHECK_OFFSET(numComponents, 60);
JPG_CHECK_OFFSET(scanState, 68);
JPG_CHECK_OFFSET(losslessRowBuffer, 72);
JPG_CHECK_OFFSET(scanDataOffset, 76);
JPG_CHECK_OFFSET(dcTables, 1180);
JPG_CHECK_OFFSET(acTables, 1260);
JPG_CHECK_OFFSET(quantTables, 1340);
JPG_CHECK_OFFSET(pendingHuffIds, 2364);
JPG_CHECK_OFFSET(mcuCount, 2400);
JPG_CHECK_OFFSET(eobRun, 2448);
JPG_CHECK_OFFSET(coefBuffer, 2452);
JPG_CHECK_OFFSET(blockDecoder, 2476);
JPG_CHECK_OFFSET(scanComponents, 2480);
JPG_CHECK_OFFSET(mcusSinceRestart, 2656);
JPG_CHECK_OFFSET(stream, 2660);
JPG_CHECK_OFFSET(jfifXDensity, 7360);
JPG_CHECK_OFFSET(Al, 7371);
#undef JPG_CHECK_OFFSET

namespace jpg {
namespace {

// Units of a name without its terminator, at most kMaxFileName.
uint32_t nameLength(const JpgWChar *name) {
  uint32_t n = 0;
  while (n < kMaxFileName && name[n] != 0) n++;
  return n;
}

}  // namespace

bool fileNameFits(const JpgWChar *fileName) { return nameLength(fileName) < kMaxFileName; }

JpgContext *createContext(const JpgWChar *fileName, const Kernels *kernels) {
  auto *c = static_cast<JpgContext *>(heapAlloc(sizeof(JpgContext)));
  if (c == nullptr) return nullptr;
  memset(c, 0, sizeof(JpgContext));
  c->signature = kContextSignature;
  c->recordSize = kContextSize;
  c->creation[0] = 4;
  c->creation[3] = 'b';
  c->kernels = kernels;
  if (fileName != nullptr && fileNameFits(fileName)) {
    memcpy(c->stream.fileName, fileName, nameLength(fileName) * sizeof(JpgWChar));
  }
  return c;
}

Result destroyContext(JpgContext *c) {
  for (uint32_t i = 0; i < kMaxTables; i++) {
    freeHuffTable(&c->dcTables[i]);
    freeHuffTable(&c->acTables[i]);
  }
  for (JpgHuffTable &table : c->read.retired) freeHuffTable(&table);
  const Result closed = streamClose(&c->stream);
  // A stale handle is refused as long as the memory isn't reused; volatile keeps the
  // store although the block is freed right after.
  *static_cast<volatile uint32_t *>(&c->signature) = 0;
  const Result freed = heapFree(c);
  return closed != JPG_OK ? closed : freed;
}

JpgContext *validContext(JPGHANDLE handle) {
  if (handle == nullptr || reinterpret_cast<uintptr_t>(handle) % 4 != 0) return nullptr;
  if (handle->signature != kContextSignature || handle->recordSize != kContextSize) return nullptr;
  return handle;
}

JpgContext *validReader(JPGHANDLE handle) {
  JpgContext *c = validContext(handle);
  return c != nullptr && (c->stream.mode & kModeRead) != 0 ? c : nullptr;
}

JpgContext *validWriter(JPGHANDLE handle) {
  JpgContext *c = validContext(handle);
  return c != nullptr && (c->stream.mode & kModeWrite) != 0 ? c : nullptr;
}

}  // namespace jpg
