// SPDX-License-Identifier: MIT
// Bit output, marker output and the coding of MCUs.
//
// In: transformed and quantised values, marker codes, raw bytes. Out: bytes in the
// stream's 4096-byte stage, handed to the sink whenever it is full. All output of the
// writer goes through here, in the order of the calls.
//
// The stage is the stream's inputBuffer, bufIndex its fill level. Pending bits are
// right-aligned in bitBuffer; bitCount is the number of free bits (32: none
// pending). Once the sink has taken too few bytes, nothing more is written, and every
// operation returns JPG_E_WRITE_FAULT.
#ifndef JPG_WRITE_WVLC_H
#define JPG_WRITE_WVLC_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kBitBufferSize = 32;

// WriteState::outputFailed.
constexpr uint32_t kOutputFine = 0;
constexpr uint32_t kOutputShort = 2;  // the sink took fewer bytes than given

// Pads the pending bits to a byte with 1-bits and writes them, then the marker.
Result writeMarker(JpgContext *c, uint32_t marker);

// Writes raw bytes. No bits may be pending.
Result writeBytes(JpgContext *c, const uint8_t *data, uint32_t n);

// Writes the low `n` bytes of a number, most significant first.
Result writeNumber(JpgContext *c, uint32_t value, uint32_t n);

// Hands the staged bytes to the sink.
Result flushStage(JpgContext *c);

// Transforms, quantises and codes one MCU, whose blocks follow each other by component and
// are overwritten. Writes a restart marker at the end of an interval. The levels of a picture that
// is held go into the store instead, which has room for them.
Result encodeMcu(JpgContext *c, int16_t *blocks);

// True where encodeMcuPair() serves the frame and is faster: the kernels transform two blocks at a
// time, but components have one block in an MCU.
bool encodesPairs(const JpgContext &c);

// encodeMcu() of two MCUs of n blocks each, which begin at the second block and at block n + 2 of
// the 2 n + 1. All are overwritten.
Result encodeMcuPair(JpgContext *c, int16_t *blocks);

// encodeMcu() of an MCU of which the picture has `columns` x `lines` pixels: blocks without a pixel
// of the picture are coded with the fewest bits, whatever they hold.
Result encodePartialMcu(JpgContext *c, int16_t *blocks, uint32_t columns, uint32_t lines);

}  // namespace jpg

#endif
