// SPDX-License-Identifier: MIT
// A Windows bitmap in memory, as the library describes and fills it, and its file.
#ifndef JPGTOOL_DIB_H
#define JPGTOOL_DIB_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "files.h"
#include "jpg.h"

namespace jpgtool {

class Dib {
 public:
  // `bits` a pixel: 8, 16 or 24.
  explicit Dib(uint16_t bits) { info_.bmi.bmiHeader.biBitCount = bits; }

  BITMAPINFO *bmi() { return &info_.bmi; }
  int32_t rows() const { return info_.bmi.bmiHeader.biHeight; }
  // Bytes of the bitmap that has been described.
  uint64_t bytes() const;
  // Room for it. 0, JPG_E_OUT_OF_MEMORY, or JPG_E_UNSUPPORTED for more
  // than a .bmp file holds.
  uint32_t allocate();
  void *bits() { return bits_.get(); }
  bool write(OutputFile *out) const;
  // Turns the bitmap in memory. JPG_OK or JPG_E_OUT_OF_MEMORY.
  uint32_t turn(uint32_t orientation);

 private:
  struct Free {
    void operator()(void *block) const { std::free(block); }
  };
  uint32_t tableBytes() const;  // colours or masks behind the header

  union {
    BITMAPINFO bmi;
    uint8_t bytes[sizeof(BITMAPINFOHEADER) + 256 * sizeof(RGBQUAD)];
  } info_ = {};
  std::unique_ptr<uint8_t, Free> bits_;
  uint32_t size_ = 0;
};

// Checks before decoding that a bitmap of `in` may be written to `out`. Returns an exit status.
int checkBitmapFile(const std::string &in, const std::string &out);

// Writes a bitmap to a file. Returns an exit status.
int saveBitmap(const Dib &dib, const std::string &out);

}  // namespace jpgtool

#endif
