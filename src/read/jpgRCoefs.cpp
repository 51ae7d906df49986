// SPDX-License-Identifier: MIT
#include "read/jpgRCoefs.h"

#include <string.h>

#include "jpg.h"
#include "share/jpgAssert.h"
#include "share/jpgHeap.h"

namespace jpg {
namespace {

// Coefficients of a row of MCUs.
size_t rowLength(const JpgContext &c) { return size_t{c.mcusPerRow} * c.blocksPerMcu * kBlockSize; }

uint64_t rowBytes(const JpgContext &c) { return uint64_t{rowLength(c)} * sizeof(int16_t); }

uint32_t rowsOfPiece(const JpgContext &c) {
  const uint64_t bytes = rowBytes(c);
  if (bytes == 0 || bytes * c.mcuRows <= kCoefPieceBytes) return c.mcuRows;
  // A division of 32 bits: not every processor has a routine for 64.
  constexpr auto kPiece = static_cast<uint32_t>(kCoefPieceBytes);
  return bytes < kPiece ? kPiece / static_cast<uint32_t>(bytes) : 1;
}

// Pieces behind the first one.
uint32_t countPieces(const JpgContext &c) {
  const uint32_t rows = rowsOfPiece(c);
  return rows == c.mcuRows ? 0 : (c.mcuRows - 1) / rows;
}

}  // namespace

uint64_t firstPieceBytes(const JpgContext &c) {
  const uint64_t all = c.mcuRows * rowBytes(c);
  return all > kMaxHeapBlock ? all : rowsOfPiece(c) * rowBytes(c);
}

Result makeCoefPieces(JpgContext *c) {
  c->read.rowsPerPiece = rowsOfPiece(*c);
  const uint32_t count = countPieces(*c);
  if (count == 0) return JPG_OK;
  auto **pieces = static_cast<int16_t **>(heapAlloc(count * sizeof(int16_t *)));
  if (pieces == nullptr) return JPG_E_OUT_OF_MEMORY;
  memset(static_cast<void *>(pieces), 0, count * sizeof(int16_t *));
  c->read.storePieces = pieces;
  for (uint32_t i = 0; i < count; i++) {
    const uint32_t left = c->mcuRows - (i + 1) * c->read.rowsPerPiece;
    const uint32_t rows = left < c->read.rowsPerPiece ? left : c->read.rowsPerPiece;
    pieces[i] = static_cast<int16_t *>(heapAlloc(static_cast<size_t>(rows * rowBytes(*c))));
    if (pieces[i] == nullptr) return JPG_E_OUT_OF_MEMORY;
  }
  return JPG_OK;
}

void freeCoefPieces(JpgContext *c) {
  if (c->read.storePieces == nullptr) return;
  for (uint32_t i = 0; i < countPieces(*c); i++) heapRelease(c->read.storePieces[i]);
  heapFree(static_cast<void *>(c->read.storePieces));
  c->read.storePieces = nullptr;
}

int16_t *storedRow(const JpgContext &c, uint32_t mcuRow) {
  const uint32_t rows = c.read.rowsPerPiece;
  JPG_ASSERT(mcuRow < c.mcuRows);
  if (mcuRow < rows) return c.coefStore + mcuRow * rowLength(c);
  return c.read.storePieces[mcuRow / rows - 1] + mcuRow % rows * rowLength(c);
}

void clearStoreTo(JpgContext *c, uint32_t end) {
  for (uint32_t *row = &c->read.storeCleared; *row < end; ++*row) {
    memset(storedRow(*c, *row), 0, static_cast<size_t>(rowBytes(*c)));
  }
}

}  // namespace jpg
