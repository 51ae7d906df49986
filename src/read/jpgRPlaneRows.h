// SPDX-License-Identifier: MIT
// What the modules behind jpgRPlanes.h share: the memory of the planes, interpolation, and the
// formats of pixels.
#ifndef JPG_READ_RPLANEROWS_H
#define JPG_READ_RPLANEROWS_H

#include "read/jpgRPlanes.h"

namespace jpg {

// A ratio of sampling in lowest terms: `part` samples of the component stand for `whole` pixels.
struct PlaneRatio {
  uint32_t part;   // 1 to 4
  uint32_t whole;  // 1 to 4, not below part
};

struct PlaneComponent {
  PlaneRatio across, down;
  uint32_t blocksAcross, blocksDown;  // of an MCU
  uint32_t width;                     // samples of the picture
  uint32_t rows;                      // sample rows of a row of MCUs
  ptrdiff_t stride;                   // bytes from a row of samples to the next
  uint8_t *samples;  // of the first row: bytes, or 16-bit words if they have 12 bits
};

// The block that c->planes points to; rows of samples and work rows lie behind it.
struct Planes {
  uint32_t scale;  // code
  bool wide;       // samples of 12 bits
  bool smooth;
  uint32_t components;
  uint32_t cell;       // samples of a block, both ways
  uint32_t mcuHeight;  // rows of pixels
  uint32_t columns;    // pixels of a row, those of whole MCUs
  uint32_t kept;       // rows of MCUs that there is room for
  bool begun;          // a row was asked for since the start
  bool fromTop;        // the start is the picture's top
  uint32_t decoded;    // rows of MCUs since the start
  uint32_t row;        // rows of pixels delivered since the start
  uint32_t lastRow;    // rows of pixels from the start to the picture's lower edge; 0: unknown
  Result failure;      // of a row of MCUs that was decoded ahead
  const Kernels *kernels;
  YccRowKernel putYcc;  // for the layout; null if there is none
  PlaneComponent component[kMaxComponents];
  uint16_t *work[kMaxComponents];  // a row of pixels, component by component
  uint16_t *blend;                 // two rows of samples blended; one sample ahead of it is free
};

// Bytes that kernels may read behind a row of samples; as many may be read ahead of it.
constexpr uint32_t kRowSlack = 64;

// Rows of samples as bytes or as words, for which all rows are aligned.
template <typename Sample>
Sample *samplesOf(uint8_t *row) {
  return static_cast<Sample *>(static_cast<void *>(row));
}
template <typename Sample>
const Sample *samplesOf(const uint8_t *row) {
  return static_cast<const Sample *>(static_cast<const void *>(row));
}

// The two rows of samples that a row of pixels is made from, as addresses and with weights of
// 2 * whole in all; where rows aren't interpolated, the weights are 1 and 0.
struct RowPair {
  uint32_t upper, lower;  // rows since the start
  uint32_t upperWeight, lowerWeight;
};

// The rows for the row of pixels `y`, as they lie in a picture that goes on above and below.
// Negative rows are above the start.
struct RowPlace {
  int32_t upper;
  uint32_t lowerWeight;  // of 2 * whole
};
RowPlace rowPlaceOf(const PlaneRatio &down, uint32_t y);

// First sample of a row that is still held.
const uint8_t *planeRow(const Planes &p, const PlaneComponent &k, uint32_t row);

// Interpolates or replicates the row of pixels `y` of a component into `out`, `columns` samples.
void upsampleRow(const Planes &p, const PlaneComponent &k, const RowPair &rows, uint32_t y,
                 uint16_t *out, uint32_t columns);

// Stores a row of pixels from p.work.
void storePlaneRow(const Planes &p, const PlaneOutput &output, uint8_t *out, uint32_t columns);

}  // namespace jpg

#endif
