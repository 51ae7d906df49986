// SPDX-License-Identifier: MIT
// Rows of a picture file of any kind that the tool reads (JPEG, BMP, PGM, PPM, PAM, PNG), one by
// one from the top.
#ifndef JPGTOOL_PICTUREROWS_H
#define JPGTOOL_PICTUREROWS_H

#include <cstdint>
#include <string>
#include <vector>

#include "rowSource.h"
#include "sampleReader.h"

namespace jpgtool {

class PictureRows {
 public:
  PictureRows() = default;
  PictureRows(const PictureRows &) = delete;
  PictureRows &operator=(const PictureRows &) = delete;

  // 0, or the library's code or the one that fits best; `why` gives the reason when the tool itself
  // refuses the file. The kind of file is told by its first bytes; the settings are for JPEG
  // files.
  uint32_t open(const std::string &file, const ReadSettings &settings, std::string *why);
  // After open(), for a JPEG file: the same at another scale.
  uint32_t reopen(const ReadSettings &settings, std::string *why);
  bool isJpeg() const { return jpeg_ != nullptr; }
  uint64_t size() const { return isJpeg() ? input_.size() : sizeOfFile(name_); }  // of the file

  // Samples in component order, of three colours red first, bytes or words by maxValue.
  const PixelFormat &format() const { return format_; }

  // The next row of format().height rows. 0 or a code.
  uint32_t next(const uint8_t **row);

  // The code of damage that was passed over, else JPG_OK.
  uint32_t damage() const { return jpeg_ != nullptr ? jpeg_->damage() : JPG_OK; }

  // The meaning of a code of next() or damage(), with the offset in a JPEG file.
  std::string whyFailed(uint32_t code) const;

 private:
  uint32_t nextOfJpeg();

  std::string name_;
  Input input_;
  std::unique_ptr<RowSource> jpeg_;
  SampleFile samples_;
  PixelFormat format_;
  std::vector<uint8_t> row_;
  uint32_t bandRow_ = 0, bandRows_ = 0;  // of the JPEG source's band
};

}  // namespace jpgtool

#endif
