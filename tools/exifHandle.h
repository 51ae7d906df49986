// SPDX-License-Identifier: MIT
// The Exif attributes of a file: their handle, for the thumbnail, and their entries.
#ifndef JPGTOOL_EXIFHANDLE_H
#define JPGTOOL_EXIFHANDLE_H

#include <cstdint>
#include <string>

#include "input.h"
#include "jpg.h"
#include "jpg/exif.hpp"

namespace jpgtool {

// Owner of an attribute handle.
class ExifHandle {
 public:
  ExifHandle() = default;
  ~ExifHandle() {
    if (handle_ != nullptr) jpgReadExifReadAttributeEpilog(handle_);
  }
  ExifHandle(const ExifHandle &) = delete;
  ExifHandle &operator=(const ExifHandle &) = delete;

  // Takes the attributes of a stream, which need not be one that can be decoded. The flags are for
  // its thumbnail. 0, or a code with the reason.
  uint32_t open(const Input &input, uint32_t flags, std::string *why);
  JPGEXIFHANDLE handle() const { return handle_; }

 private:
  JPGEXIFHANDLE handle_ = nullptr;
};

// All entries of a stream; codes and reasons as those of ExifHandle::open. `offset` receives where
// the TIFF structure begins in the stream.
uint32_t readExif(const Input &input, jpg::ExifData *data, uint64_t *offset, std::string *why);

// How to turn the picture: 1 to 8, 1 without an entry that says so.
uint32_t orientationOf(const Input &input);

}  // namespace jpgtool

#endif
