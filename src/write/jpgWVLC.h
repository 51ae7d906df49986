// Bit output, marker output and the coding of MCUs.
//
// In: transformed and quantised values, marker codes, raw bytes. Out: bytes in the
// stream's 4096-byte stage, handed to the sink whenever it is full. Everything that
// the writer puts out goes through here, in the order of the calls.
//
// The stage is the stream's inputBuffer, bufIndex its fill. Pending bits stand
// right-aligned in bitBuffer; bitCount is the number of bits still free (32: none
// pending). Once the sink has come up short nothing more is put out, and every
// operation gives JPG_E_WRITE_FAULT.
#ifndef JPG_WRITE_WVLC_H
#define JPG_WRITE_WVLC_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kBitBufferSize = 32;

// WriteState::outputFailed.
constexpr uint32_t kOutputFine = 0;
constexpr uint32_t kOutputShort = 2;  // the sink took fewer bytes than given

// Pads the pending bits with 1-bits to a byte, puts them out, and the marker.
Result writeMarker(JpgContext *c, uint32_t marker);

// Puts raw bytes out. No bits may be pending.
Result writeBytes(JpgContext *c, const uint8_t *data, uint32_t n);

// Puts `n` bytes of a number out, most significant first.
Result writeNumber(JpgContext *c, uint32_t value, uint32_t n);

// Hands the staged bytes to the sink.
Result flushStage(JpgContext *c);

// Transforms, quantises and codes one MCU: the components' blocks one after
// another, which are overwritten. Writes a restart marker where an interval ends.
Result encodeMcu(JpgContext *c, int16_t *blocks);

}  // namespace jpg

#endif
