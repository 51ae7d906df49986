// SPDX-License-Identifier: MIT
// Planes: the samples of a few rows of MCUs, component by component, and the way from them to rows
// of pixels at any sampling factors.
//
// In: saturated sample blocks, by putBlock() or putMcu(). Out: rows of pixels in the caller's
// rectangle. A source decodes a row of MCUs into the planes when putPlaneRows() asks for it, each
// one once and in their order. With kOptionSmooth subsampled components are interpolated, and the
// planes hold two rows of MCUs: rows of pixels near the lower edge of one take samples of the next
// one, so the source runs ahead of the pixels by at most one row of MCUs. Without it samples are
// replicated, and one row of MCUs is enough.
//
// Rows count from a start: the top of the picture, or where a restart seek led. Any division of the
// picture into bands gives the same pixels.
#ifndef JPG_READ_RPLANES_H
#define JPG_READ_RPLANES_H

#include "kernels/jpgKernels.h"
#include "share/jpgShare.h"

namespace jpg {

struct Planes;

// Layout of a pixel in the caller's rectangle, for frames that have the components. Components are
// stored as bytes, or as 16-bit words where PlaneOutput::wide is set.
enum class PlaneFormat : uint32_t {
  kGray,        // component 0
  kComponents,  // all components in their order
  kRgbToBgr,    // red, green, blue as blue, green, red
  kYccToBgr,    // Y, Cb, Cr as blue, green, red; a fourth component isn't stored
  kCmykToBgr,   // cyan, magenta, yellow, black as blue, green, red
  kYcckToBgr,   // the same where the first three are stored as Y, Cb, Cr
  kCmyk,        // cyan, magenta, yellow, black
  kYcckToCmyk   // Y, Cb, Cr, black as cyan, magenta, yellow, black
};

struct PlaneOutput {
  PlaneFormat format;
  bool inverted;  // CMYK: 0 is full ink in the file. The formats into 32 bits then turn it round
  bool wide;  // 16-bit words of 0..4095 from samples of 12 bits; else these are rounded to bytes
};

// Makes the planes of the handle (c->planes) for its frame and for the scale in c->scanState, with
// nothing decoded, or leaves those that are there and fit. Sampling factors may be 1 to 4 for any
// component, in any ratio; a single component counts as 1 x 1. hMax, vMax, mcusPerRow, width and
// height are taken from the record. Samples have 12 bits if `wide`, and then blocks must come from
// the transforms of that kind. 0 or JPG_E_OUT_OF_MEMORY.
Result makePlanes(JpgContext *c, bool wide);

// Frees the planes. May be called without any.
void freePlanes(JpgContext *c);

// Forgets what was decoded: the stream has been moved, or there are new coefficients. The next rows
// are the first ones. May be called without planes.
void resetPlanes(JpgContext *c);

// Goes to a row of pixels of the picture, from which putPlaneRows() then goes on, where the source
// can give rows of MCUs in any order: it is asked for the one that holds the row and, ahead of it,
// for the one above. Does nothing if the planes are there already.
void seekPlanes(Planes *p, uint32_t row);

// Where the samples of a block go: `row` counts the component's block rows within the MCU row,
// `column` its blocks from the left. At smaller scales the cell in the block's corner is taken.
void putBlock(Planes *p, uint32_t component, uint32_t mcuRow, uint32_t row, uint32_t column,
              const int16_t *samples);

// The same for the blocks of an MCU that hold all components of the frame, one after another.
void putMcu(Planes *p, uint32_t mcuRow, uint32_t mcuColumn, const int16_t *blocks);

// Decodes a row of MCUs, counted from the start, into the planes. What it doesn't put is left
// undefined, but after a failure, the row counts as not decoded.
using McuRowReader = Result (*)(JpgContext *c, Planes *p, uint32_t mcuRow, void *state);
struct McuRowSource {
  McuRowReader read;
  void *state;
};

// Delivers `rows` rows of pixels, from the first one that wasn't delivered on, and adds those that
// were stored to c->rowPosition. Stores as many columns as `width` says, but none beyond the last
// MCU; 0 or less stores nothing. If the source fails, the rows above its row of MCUs are stored as
// at a picture's lower edge, and its code is returned once, by the call that wants rows of that
// row of MCUs; the call after that asks the source again.
Result putPlaneRows(JpgContext *c, Planes *p, const McuRowSource &source, const PlaneOutput &output,
                    const JpgRect &rect, int32_t rows, int32_t width);

}  // namespace jpg

#endif
