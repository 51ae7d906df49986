// SPDX-License-Identifier: MIT
// Writes PNG files row by row, with libpng where it was there when the tool was built.
#ifndef JPGTOOL_PNGWRITER_H
#define JPGTOOL_PNGWRITER_H

#include <cstdint>
#include <memory>

#include "files.h"

namespace jpgtool {

struct PixelFormat;

class PngWriter {
 public:
  virtual ~PngWriter() = default;
  // Rows are bytes, red first, or words with the high byte first.
  virtual bool begin() = 0;
  virtual bool putRow(const uint8_t *row) = 0;
  virtual bool end() = 0;
};

constexpr bool kHasPng =
#ifdef JPGTOOL_HAS_PNG
    true;
#else
    false;
#endif

// `bits` of a sample that count: 8, or 9 to 16 in words. Null without libpng.
std::unique_ptr<PngWriter> makePngWriter(OutputFile *out, const PixelFormat &format, uint32_t bits);

}  // namespace jpgtool

#endif
