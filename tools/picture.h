// SPDX-License-Identifier: MIT
// Picture files as the tool writes them: BMP, PGM, PPM, PAM and PNG.
#ifndef JPGTOOL_PICTURE_H
#define JPGTOOL_PICTURE_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "files.h"
#include "pngWriter.h"

namespace jpgtool {

// Rows of interleaved samples: bytes for values up to 255, 16-bit words above.
struct PixelFormat {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t channels = 0;  // 1 to 4
  uint32_t maxValue = 255;
  bool blueFirst = false;  // three channels: blue, green, red
};

inline uint32_t sampleBytes(const PixelFormat &format) { return format.maxValue > 255 ? 2 : 1; }
inline size_t rowBytes(const PixelFormat &format) {
  return size_t{format.width} * format.channels * sampleBytes(format);
}

// Sample `i` of a row.
inline uint32_t sampleAt(const PixelFormat &format, const uint8_t *row, size_t i) {
  if (sampleBytes(format) == 1) return row[i];
  uint16_t word;
  std::memcpy(&word, row + 2 * i, sizeof(word));
  return word;
}

// Stores a sample of one or two bytes.
inline void putSample(uint8_t *at, uint32_t bytes, uint32_t value) {
  const auto word = static_cast<uint16_t>(value);
  if (bytes == 1) *at = static_cast<uint8_t>(value);
  if (bytes == 2) std::memcpy(at, &word, sizeof(word));
}

// Bits that hold the largest value, at least 2.
uint32_t bitsOf(const PixelFormat &format);

enum class FileKind { kBmp, kPgm, kPpm, kPam, kPng };

// True for the extension of a kind of file that can be written.
bool isPictureKind(const std::string &extension);

// The kind of file by its name, or by `extension` unless that is empty; for "-", devices and pipes
// without one it is PGM, PPM or PAM by the channels. False, with the reason, when it can't hold
// the pixels.
bool chooseKind(const std::string &name, const std::string &extension, const PixelFormat &format,
                FileKind *kind, std::string *why);

// Writes rows from the top into a file, in constant memory, but for a BMP file that goes to a pipe:
// its rows stand bottom-up.
class PictureWriter {
 public:
  PictureWriter(OutputFile *out, FileKind kind, const PixelFormat &format);

  bool begin();  // the header
  bool putRows(const uint8_t *rows, size_t stride, uint32_t count);
  bool end();  // behind the last row

 private:
  bool beginBmp();
  bool beginNetpbm();
  uint16_t widened(uint16_t word) const;
  void convertRow(const uint8_t *row);
  bool putRow(const uint8_t *row);

  OutputFile *out_;
  FileKind kind_;
  PixelFormat format_;
  std::vector<uint8_t> line_;  // a row as the file has it
  uint64_t pixelOffset_ = 0;   // of a BMP's rows
  uint32_t next_ = 0;          // next row from the top
  std::vector<uint8_t> held_;  // rows of a BMP file that go to a pipe
  std::unique_ptr<PngWriter> png_;
};

}  // namespace jpgtool

#endif
