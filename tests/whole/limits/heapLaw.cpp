// SPDX-License-Identifier: MIT
#include "whole/limits/heapLaw.h"

#include "exif/jpgRExif.h"
#include "share/jpgShare.h"

namespace jpgtest {
namespace {

constexpr uint64_t kBlock = 128;      // a block: 64 coefficients of 16 bits
constexpr uint64_t kCodes = 257 * 8;  // a table's codes and their end
// A byte for each 16 bits that begin with a code longer than 10: 255 codes of 11 bits and one of 16
// have the most.
constexpr uint64_t kLookup = 255 * 32 + 1;
constexpr uint64_t kShortcuts = 4096 + 16 + 2 * sizeof(void *);  // words for 10 bits
constexpr uint64_t kTable = kCodes + kLookup + kShortcuts;
constexpr uint64_t kSkips = sizeof(size_t) >= 8 ? 4096 : 0;  // of an AC table
constexpr uint64_t kTables = 4 * (2 * kTable + kSkips);      // four DC, four AC
constexpr uint64_t kMcuBlocks = 16 + 16;                     // an MCU's, and those of its expansion
constexpr uint64_t kBlockMaps = 16 * (sizeof(void *) + 4);
constexpr uint64_t kStage = 4096;  // the memory sink grows by as much

// Blocks of a component that may have 2 x 2 of them in each MCU.
uint64_t blocksOfComponent(const Frame &frame) {
  const uint64_t across = (uint64_t{frame.width} + 15) / 16;
  const uint64_t down = (uint64_t{frame.height} + 15) / 16;
  // With the largest factors at 1, MCUs are 8 pixels wide: never more than these.
  return 4 * across * down;
}

}  // namespace

uint64_t readerBytes(const Frame &frame) {
  // A scan's tables live on while those of the next scan come in.
  uint64_t bytes = sizeof(JpgContext) + 2 * kTables;
  if (frame.lossless) return bytes + uint64_t{2} * frame.components * frame.width;
  bytes += kMcuBlocks * kBlock + kBlockMaps;
  // A sequential image has one more MCU, a progressive one the coefficients of all of it.
  const uint64_t store = frame.progressive ? frame.components * blocksOfComponent(frame) : 16;
  return bytes + store * kBlock;
}

uint64_t planeBytes(const Frame &frame) {
  constexpr uint64_t kHeader = 1024;
  constexpr uint64_t kSlack = 192;    // of a row of samples
  constexpr uint64_t kRows = 2 * 16;  // of two rows of MCUs
  const uint64_t row = (uint64_t{frame.width} + 15) / 16 * 16 + kSlack;
  // And work rows of 16 bits: one for each component, and one more.
  return kHeader + frame.components * kRows * row + 2 * (uint64_t{frame.components} + 1) * row;
}

uint64_t lenientBytes(const Frame &frame, bool store) {
  constexpr uint64_t kState = 2048;
  constexpr uint64_t kMcus = 2 * 4 * 16;  // blocks of two MCUs
  const uint64_t n = frame.components;
  const uint64_t bytes = sizeof(JpgContext) + 2 * kTables + kState;
  // A row to predict from and two that are under way.
  if (frame.lossless) return bytes + 3 * 2 * n * frame.width;
  // MCUs have up to 32 x 32 pixels and 4 x 4 blocks of a component.
  const uint64_t across = (uint64_t{frame.width} + 31) / 32;
  const uint64_t down = (uint64_t{frame.height} + 31) / 32;
  const uint64_t blocks = store ? n * 16 * across * down : kMcus;
  // Planes of two rows of MCUs, in 16 bits, and work rows.
  const uint64_t row = 2 * (32 * across + 192);
  return bytes + blocks * kBlock + 1024 + n * 64 * row + (n + 1) * row;
}

uint64_t reductionBytes(uint32_t width, uint32_t lines) {
  return uint64_t{3} * width * lines + 4 + uint64_t{2} * 3 * 4 * width;
}

uint64_t attributeBytes(uint32_t segmentBytes) {
  constexpr uint64_t kCursor = sizeof(JpgIfdCursor) + 32;
  // The segment's copy, and a strip table with at most one strip a byte.
  return sizeof(JpgExifAttributes) + segmentBytes + kCursor +
         uint64_t{segmentBytes} * sizeof(jpg::ExifStrip);
}

uint64_t writerBytes(const Frame &frame, uint64_t memoryBytes) {
  constexpr uint64_t kTablesWritten = 4 * 256 * 8 + kCodes;  // and one being made
  constexpr uint64_t kArea = 16 * 16 * sizeof(int16_t);      // pixels of an MCU, per component
  const uint64_t row = frame.lossless ? uint64_t{2} * frame.components * frame.width : 0;
  const uint64_t area = frame.lossless ? 0 : frame.components * kArea;
  const uint64_t sink = memoryBytes == 0 ? 0 : (memoryBytes + kStage - 1) / kStage * kStage;
  return sizeof(JpgContext) + kTablesWritten + area + row + sink;
}

uint64_t heldBytes(const Frame &frame, uint32_t lines) {
  constexpr uint64_t kPiece = 16384;  // bytes
  constexpr uint64_t kWork = 120 * 1024;
  const Frame held = {frame.width, lines, frame.components, false, false};
  const uint64_t values = frame.lossless ? uint64_t{frame.width} * lines * frame.components
                                         : frame.components * blocksOfComponent(held) * 64;
  const uint64_t pieces = (2 * values + kPiece - 1) / kPiece;
  // The list of pieces doubles, which takes both lists for a moment.
  const uint64_t list = (pieces < 64 ? 64 : 2 * pieces) * sizeof(void *);
  return pieces * kPiece + list + list / 2 + kWork;
}

}  // namespace jpgtest
