// Frame headers of the write side: tables, SOF0, DRI, SOS, and the MCU geometry.
#ifndef JPG_WRITE_WHEAD_H
#define JPG_WRITE_WHEAD_H

#include <stdint.h>

#include "share/jpgShare.h"

namespace jpg {

constexpr uint32_t kMaxDimension = 0xFFFF;  // of a frame header's X and Y

// Codes of an encoding table: one entry per symbol.
constexpr uint32_t kEncodingEntries = 256;

// A Huffman table of the standard: its DHT source, and how many symbols it has.
struct StandardTable {
  const uint8_t *counts;
  const uint8_t *values;
  uint32_t symbols;
};

// Writes DHT for a table, and makes its encoding table in `table`, replacing what was
// there. tcTh is the table byte. 0, JPG_E_OUT_OF_MEMORY or JPG_E_WRITE_FAULT.
Result makeEncodingTable(const StandardTable &source, JpgHuffTable *table);
Result writeHuffmanTable(JpgContext *c, const StandardTable &source, uint32_t tcTh);

// Refuses, before anything is written, an image that a frame header can't describe:
// JPG_E_INVALID_PARAMETER for a width outside 1 to 65535 or a height above 65535.
Result checkFrameSize(const JpgRect &rect, uint32_t height);

// JPG_E_UNSUPPORTED when the record has no slots for the rectangle's channels.
Result checkComponentSlots(const JpgRect &rect);

// Takes width, components and `height` for the frame and names the components.
void takeFrame(JpgContext *c, const JpgRect &rect, uint32_t height);

// From here on encode calls go by the frame as it now is, whatever setters say.
void fixFrame(JpgContext *c);

// Writes the frame header with the components' sampling bytes and tables.
Result writeFrameHeader(JpgContext *c, uint32_t marker);

// Writes DRI when there is a restart interval.
Result writeRestartInterval(JpgContext *c);

// The reciprocals of 64 steps in zig-zag order, 8 times 1 to 255 each.
void makeReciprocals(const uint32_t *steps, QuantReciprocals *q);

// Writes the headers of a baseline image and sets the components up for encoding,
// by quality, samplingPacked, width, height, precision, numComponents and the
// components' identifiers. A failure leaves the headers incomplete.
Result writeFrameHeaders(JpgContext *c);

}  // namespace jpg

#endif
