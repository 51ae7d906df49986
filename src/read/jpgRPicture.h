// SPDX-License-Identifier: MIT
// The lenient reader's calls: every picture by one way, into rectangles at any scale.
#ifndef JPG_READ_RPICTURE_H
#define JPG_READ_RPICTURE_H

#include "read/jpgRLenient.h"

namespace jpg {

// The next `lines` rows of a DCT or lossless picture, DCT ones at scale code `scale`. 0,
// JPG_E_DAMAGED (all rows are stored), JPG_E_FAIL or, below full size, JPG_E_INVALID_PARAMETER if
// no rows remain, JPG_E_UNSUPPORTED, JPG_E_OUT_OF_MEMORY or JPG_E_SEEK.
Result readPicture(JpgContext *c, const JpgRect &rect, int32_t lines, uint32_t scale);

// The next rows of a progressive picture; `incremental` as in jpgReadProgressiveToRect(). As
// readPicture, and JPG_NO_DATA when an incremental call finds no scan.
Result readProgressivePicture(JpgContext *c, const JpgRect &rect, int32_t lines, bool incremental);

// Components of a pixel in a bitmap.
uint32_t pictureChannels(const JpgContext &c);

// Ahead of a walk along the segments: keeps the place in the picture, to which the next decode
// call returns by itself.
void leavePicture(JpgContext *c);

// Goes back to it. 0 or JPG_E_SEEK.
Result returnToPicture(JpgContext *c);

// The MCU row of a DCT picture where the next decode call begins.
uint32_t pictureRow(const JpgContext &c);

// Makes a DCT picture go on at an MCU row, which it must have.
void seekPictureRow(JpgContext *c, uint32_t row);

// The code and the stream offset of the first damage. JPG_NO_DATA if there is none so far.
Result tellDamage(const JpgContext &c, uint16_t *what, uint32_t *offset);

}  // namespace jpg

#endif
