// Picture files as the tool reads them, band by band: PGM, PPM and BMP.
#ifndef JPGTOOL_PICTUREREADER_H
#define JPGTOOL_PICTUREREADER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "jpg.h"
#include "picture.h"

namespace jpgtool {

// Opens a file, or standard input for "-". Null on failure.
std::FILE *openInput(const std::string &name);

// A PGM or PPM file. Rows are delivered with words in the machine's order; of three
// channels blue comes first, unless the file's order is asked for.
class PnmReader {
 public:
  PnmReader(std::FILE *file, bool fileOrder) : file_(file), fileOrder_(fileOrder) {}
  bool begin(std::string *why);  // reads the header
  const PixelFormat &format() const { return format_; }
  uint32_t bits() const;  // bits that hold the largest value
  bool read(uint8_t *rows, uint32_t count);

 private:
  bool readNumber(uint32_t *number);
  void swapRow(uint8_t *row) const;

  std::FILE *file_;
  bool fileOrder_;
  PixelFormat format_;
};

// A BMP file. Rows are delivered as bands of a bottom-up bitmap, from the picture's top.
class BmpReader {
 public:
  explicit BmpReader(std::FILE *file) : file_(file) {}
  bool begin(std::string *why);
  // The bitmap's description for the library: bottom-up.
  const BITMAPINFO *bmi() const { return &info_.bmi; }
  uint32_t width() const { return static_cast<uint32_t>(info_.bmi.bmiHeader.biWidth); }
  uint32_t height() const { return height_; }
  bool isCoded() const;  // run-length coded: readCoded instead of read
  bool isGray() const;   // 8 bits with a grey palette
  // True if samplesOf can convert it: uncompressed rows of 8, 24 or 32 bits.
  bool hasByteSamples() const;
  // One row of the file as samples: grey, or red, green, blue.
  void samplesOf(const uint8_t *row, uint8_t *samples) const;
  size_t rowBytes() const;
  // Image rows first .. first + count - 1, the lowest first.
  bool read(uint8_t *rows, uint32_t first, uint32_t count);
  bool readCoded(std::vector<uint8_t> *data);

 private:
  bool readColors(uint32_t bytes);

  std::FILE *file_;
  union {
    BITMAPINFO bmi;
    uint8_t bytes[sizeof(BITMAPINFOHEADER) + 256 * sizeof(RGBQUAD)];
  } info_ = {};
  uint32_t pixelOffset_ = 0;
  uint32_t height_ = 0;
  bool topDown_ = false;
};

}  // namespace jpgtool

#endif
