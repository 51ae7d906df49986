// SPDX-License-Identifier: MIT
// Whole pictures for tests: a description, coefficients made by rule, and the JPEG stream.
#ifndef JPG_TESTS_SUPPORT_PICTURE_H
#define JPG_TESTS_SUPPORT_PICTURE_H

#include <array>
#include <cstdint>
#include <vector>

#include "support/bytes.h"
#include "support/entropy.h"
#include "support/huffman.h"
#include "support/streamBuilder.h"

namespace jpgtest {

// How coefficients are made.
enum class Fill {
  kZero,             // nothing: grey
  kDcOnly,           // flat blocks of any brightness
  kSmooth,           // a few low frequencies, as photographs have them
  kNoFirstVertical,  // any frequency but the vertical frequency 1 (entries 8 to 15)
  kSparse,           // one to three coefficients anywhere: long runs of zeros
  kDense,            // every coefficient, moderate
  kExtreme,          // coefficients up to the limits of the code, far beyond those of pictures
};

struct PictureComponent {
  uint8_t id = 1;
  uint8_t sampling = 0x11;
  uint8_t tq = 0;
  uint8_t td = 0;
  uint8_t ta = 0;
  // Blocks in the order in which they are coded: MCU after MCU.
  std::vector<Block> blocks;
};

struct Picture {
  uint16_t width = 8;
  uint16_t height = 8;
  uint8_t sof = kSof0;
  uint8_t precision = 8;
  std::vector<PictureComponent> components;
  std::array<QuantTable, 4> quant;
  bool wideQuant = false;  // 16-bit entries in DQT
  std::array<HuffTable, 4> dc;
  std::array<HuffTable, 4> ac;
  uint16_t restartInterval = 0;
  bool heightByDnl = false;  // the frame says 0, a DNL segment behind the scan says the height
  Bytes before;              // segments behind SOI

  // Geometry; a picture of one component has MCUs of one block.
  unsigned hMax() const;
  unsigned vMax() const;
  unsigned mcusPerRow() const;
  unsigned mcuRows() const;
  unsigned mcuCount() const { return mcusPerRow() * mcuRows(); }
  unsigned mcuWidth() const { return 8 * hMax(); }
  unsigned mcuHeight() const { return 8 * vMax(); }
  unsigned blocksInMcu(size_t component) const;
};

// A picture with the sampling bytes given, one per component, identifiers from 1 on, tables 0 for
// the first component and 1 for the others, quantised by 1 (kExtreme) or by rising steps.
Picture makePicture(uint16_t width, uint16_t height, const std::vector<uint8_t> &samplings,
                    Fill fill = Fill::kSmooth, uint32_t seed = 1);
// A grey picture whose blocks are those given, from left to right, with quantisation steps of 1.
Picture grayPicture(const std::vector<Block> &blocks);
// A block of this DC value alone.
Block dcBlock(int32_t dc);

// Gives every table the best codes for what the picture holds (T.81 K.2).
void useOptimalTables(Picture &picture);
// Gives every table codes of up to 16 bits.
void useLongTables(Picture &picture);
// The tables of T.81 Annex K.3; only for coefficients of up to 10 bits.
void useAnnexKTables(Picture &picture);

// SOI up to and including SOS.
StreamBuilder headersOf(const Picture &picture);
// The coded data, one piece per restart interval, without the markers between them.
std::vector<Bytes> intervalsOf(const Picture &picture);
// The coded data with RST markers between the intervals.
Bytes scanOf(const Picture &picture);
// The whole stream.
Bytes encode(const Picture &picture);

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_PICTURE_H
