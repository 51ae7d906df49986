// Rows of a picture file of any kind that the tool reads (JPEG, BMP, PGM, PPM), one by one from the
// top.
#ifndef JPGTOOL_PICTUREROWS_H
#define JPGTOOL_PICTUREROWS_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "pictureReader.h"
#include "rowSource.h"

namespace jpgtool {

class PictureRows {
 public:
  PictureRows() = default;
  ~PictureRows();
  PictureRows(const PictureRows &) = delete;
  PictureRows &operator=(const PictureRows &) = delete;

  // 0, or the library's code or the one that fits best; `why` gives the reason when the tool itself
  // refuses the file. The kind of file is detected by its first bytes; the settings are for JPEG
  // files.
  uint32_t open(const std::string &file, const ReadSettings &settings, std::string *why);

  // Samples in component order, of three colours red first, bytes or words by maxValue.
  const PixelFormat &format() const { return format_; }

  // The next row of format().height rows. 0 or a code.
  uint32_t next(const uint8_t **row);

  // The meaning of a code of next(), with the offset in a JPEG file.
  std::string whyFailed(uint32_t code) const;

 private:
  uint32_t openBmp(std::string *why);
  uint32_t openPnm(std::string *why);
  uint32_t nextOfJpeg();
  uint32_t nextOfBmp();
  uint32_t nextOfPnm();

  std::FILE *file_ = nullptr;  // of BMP, PGM and PPM
  std::unique_ptr<RowSource> jpeg_;
  std::unique_ptr<BmpReader> bmp_;
  std::unique_ptr<PnmReader> pnm_;
  PixelFormat format_;
  std::vector<uint8_t> row_;
  std::vector<uint8_t> bmpRow_;  // in the file's format
  uint32_t y_ = 0;
  uint32_t bandRow_ = 0, bandRows_ = 0;  // of the JPEG source's band
};

// Sample `i` of a row.
uint32_t sampleAt(const PixelFormat &format, const uint8_t *row, size_t i);

}  // namespace jpgtool

#endif
