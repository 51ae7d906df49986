// Cells: the n x n samples that a block contributes to an MCU, in the block's
// top-left corner. n is 8 at full size and 4, 2 or 1 in scaled output.
//
// The expansion of components to the MCU's full resolution and the walk that puts
// cells into a rectangle, shared by the full-size and the scaled routines.
#ifndef JPG_READ_RCELL_H
#define JPG_READ_RCELL_H

#include <stdint.h>

#include "read/jpgRClr.h"
#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kFullCell = 8;   // cell of full-size output
constexpr uint32_t kRowLength = 8;  // samples from a block's row to the next
constexpr int32_t kLevelShift = 128;

// Lists the MCU's blocks in blockMapA, components with fewer than the full number
// replaced by replicated cells in the scratch blocks. `sampling` is as ExpandRoutine
// takes it; `cell` is n. For MCUs of one block, of two (across: side by side), of four.
void expandSingle(JpgContext *c);
void expandPair(JpgContext *c, uint32_t sampling, bool across, uint32_t cell);
void expandQuad(JpgContext *c, uint32_t sampling, uint32_t cell);

// One row of a cell: the components' samples.
template <uint32_t kComponents>
struct CellRow {
  const int16_t *sample[kComponents];
};

inline uint8_t toByte(int16_t sample) { return static_cast<uint8_t>(sample + kLevelShift); }

// Pixel storage without colour conversion; In is the order of components in memory.
template <uint32_t... In>
struct PutComponents {
  static constexpr uint32_t kBytes = sizeof...(In);
  static constexpr uint32_t kComponents = sizeof...(In);
  static void putRow(const CellRow<kComponents> &row, uint8_t *out, uint32_t n) {
    for (uint32_t i = 0; i < n; i++) ((*out++ = toByte(row.sample[In][i])), ...);
  }
};

// Y, Cb, Cr stored as blue, green, red.
struct PutYccToBgr {
  static constexpr uint32_t kBytes = 3;
  static constexpr uint32_t kComponents = 3;
  static void putRow(const CellRow<kComponents> &row, uint8_t *out, uint32_t n) {
    const uint8_t *limit = jpgPixelLimit.entry + kPixelLimitZero;
    for (uint32_t i = 0; i < n; i++, out += kBytes) {
      const int32_t y = row.sample[0][i];
      const ColorPair cb = jpgCbTable.entry[row.sample[1][i] + kLevelShift];
      const ColorPair cr = jpgCrTable.entry[row.sample[2][i] + kLevelShift];
      out[0] = limit[y + cb.first];
      out[1] = limit[y + cb.second + cr.first];
      out[2] = limit[y + cr.second];
    }
  }
};

// One cell: `rows` rows of `columns` pixels.
template <typename Put>
void putCell(const JpgContext &c, const uint32_t *index, uint8_t *out, int32_t stride,
             uint32_t rows, uint32_t columns) {
  CellRow<Put::kComponents> row;
  for (uint32_t k = 0; k < Put::kComponents; k++) row.sample[k] = c.blockMapA[index[k]];
  for (uint32_t y = 0; y < rows; y++) {
    Put::putRow(row, out + static_cast<ptrdiff_t>(y) * stride, columns);
    for (uint32_t k = 0; k < Put::kComponents; k++) row.sample[k] += kRowLength;
  }
}

// Walks the MCU's cells, left to right and down, as far as the band (rect.height
// rows) and w pixels reach.
template <typename Put>
void putMcu(const JpgContext &c, const JpgRect &rect, int32_t x, int32_t w, int32_t cell) {
  const uint32_t *indices = c.blockMapB;
  ptrdiff_t offset = ptrdiff_t{x} * int32_t{Put::kBytes};  // of the cells' first pixel
  for (int32_t rows = rect.height; rows > 0; rows -= cell) {
    const uint32_t *index = indices;
    ptrdiff_t column = offset;
    const auto cellRows = static_cast<uint32_t>(rows < cell ? rows : cell);
    for (int32_t left = w; left > 0; left -= cell) {
      const auto cellColumns = static_cast<uint32_t>(left < cell ? left : cell);
      uint8_t *out = static_cast<uint8_t *>(rect.bits) + column;
      putCell<Put>(c, index, out, rect.stride, cellRows, cellColumns);
      index += kMaxComponents;
      column += cell * static_cast<int32_t>(Put::kBytes);
    }
    offset += static_cast<ptrdiff_t>(cell) * rect.stride;
    indices += kMaxComponents * c.hMax;
  }
}

}  // namespace jpg

#endif
