// SPDX-License-Identifier: MIT
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

// Whether the codes of a table stand alone, or have zeros in place of the additional bits behind
// them, `length` counting both.
enum class CodeUse { kAlone, kWithBits };

// The first builds the encoding table of `source` in `table`, replacing what was there; the second
// writes its DHT segment with the table byte tcTh. 0, JPG_E_OUT_OF_MEMORY or JPG_E_WRITE_FAULT.
Result makeEncodingTable(const StandardTable &source, CodeUse use, JpgHuffTable *table);
Result writeHuffmanTable(JpgContext *c, const StandardTable &source, uint32_t tcTh);

// Refuses, before anything is written, an image that a frame header can't describe:
// JPG_E_INVALID_PARAMETER for a width outside 1 to 65535 or a height above 65535.
Result checkFrameSize(const JpgRect &rect, uint32_t height);

// JPG_E_UNSUPPORTED when the record has no slots for the rectangle's channels.
Result checkComponentSlots(const JpgRect &rect);

// A frame begins in steps. The first ones only plan it: they can fail and be repeated with other
// settings, since nothing has been written yet. Once writeFrameHeaders has run, encode calls use
// the frame as it was written; later setter calls have no effect on it.

// A frame's settings besides restart interval, colour conversion and sampling factors.
struct FrameSettings {
  uint32_t width;   // pixels
  uint32_t height;  // pixels, 0 = unknown
  uint32_t components;
};

// The settings by the setters alone, or for a picture that begins with this rectangle; the
// rectangle's height counts if none was set.
FrameSettings settingsOf(const JpgContext &c);
FrameSettings settingsOf(const JpgContext &c, const JpgRect &rect);
uint32_t frameHeight(const JpgContext &c, const JpgRect &rect);

// Copies the current settings into the frame.
void planFrame(JpgContext *c, const FrameSettings &settings);

// Sampling and geometry of the planned DCT frame.
void layOutFrame(JpgContext *c);

// Blocks in an MCU of the planned DCT frame, of all components.
uint32_t blocksOfMcu(const JpgContext &c);

// Makes the encoding tables of a DCT frame, kWithBits. 0 or JPG_E_OUT_OF_MEMORY.
Result makeEncodingTables(JpgContext *c);

// Makes the planned frame the record's frame, which the getters report.
void settleFrame(JpgContext *c, uint32_t marker, uint32_t precision);

// Gives the planned frame's components their identifiers.
void nameComponents(JpgContext *c);

// Writes the frame header with the components' sampling bytes and tables.
Result writeFrameHeader(JpgContext *c, uint32_t marker);

// Writes DRI when there is a restart interval.
Result writeRestartInterval(JpgContext *c);

// What SOS says: neighbouring components of the frame, from `first` on.
struct ScanHeader {
  uint32_t first;
  uint32_t count;
  uint8_t tables[kMaxComponents];  // Td << 4 | Ta, of these components
  uint8_t Ss;                      // lossless: the predictor
  uint8_t Se;
  uint8_t approximation;  // Ah << 4 | Al
};
Result writeScanHeader(JpgContext *c, const ScanHeader &scan);

// Fixes what the encoding of a DCT frame needs: from here on its settings count. Nothing is
// written.
void fixFrame(JpgContext *c);

// Writes DQT with the tables that the frame's components use.
Result writeQuantTables(JpgContext *c, uint32_t tables);

// Writes the headers of the planned baseline image, with tables for the set quality and precision,
// and sets the components up for encoding. Fails only when the sink takes too few bytes.
Result writeFrameHeaders(JpgContext *c);

}  // namespace jpg

#endif
