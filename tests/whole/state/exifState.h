// SPDX-License-Identifier: MIT
// The model of an attribute handle: the TIFF structure and the thumbnail that it names.
#ifndef JPG_TESTS_WHOLE_STATE_EXIFSTATE_H
#define JPG_TESTS_WHOLE_STATE_EXIFSTATE_H

#include <memory>

#include "whole/state/readerState.h"

namespace jpgtest {

class ExifState {
 public:
  // The prolog: walks the segments of a read handle.
  uint32_t open(ReaderState *reader);

  // The 1st directory, looked at once.
  uint32_t parse();
  bool compressed() const { return compression_ == 6; }
  ReaderState *nested() { return nested_.get(); }
  uint32_t width() const { return compressed() ? nested_->width() : width_; }
  uint32_t height() const { return compressed() ? nested_->height() : height_; }
  uint32_t channels() const { return compressed() ? nested_->components() : 3; }
  // Rows of blue, green, red of an uncompressed thumbnail.
  uint32_t rgbRows(const JpgRect &rect, int32_t rows) const;
  // A second read of a compressed one begins anew.
  uint32_t rewind();

 private:
  uint32_t optionFlags_ = 0;  // of the read handle
  uint32_t number16(size_t at) const;
  uint32_t number32(size_t at) const;

  Bytes tiff_;
  size_t first_ = 0;  // offset of the 1st directory
  bool parsed_ = false;
  uint32_t compression_ = 0, photometric_ = 0, planar_ = 1;
  uint32_t width_ = 0, height_ = 0, strip_ = 0;
  uint32_t jpegAt_ = 0, jpegSize_ = 0;
  std::unique_ptr<ReaderState> nested_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_EXIFSTATE_H
