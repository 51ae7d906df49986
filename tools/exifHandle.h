// The Exif attributes of a file: their handle, for the thumbnail, and their entries.
#ifndef JPGTOOL_EXIFHANDLE_H
#define JPGTOOL_EXIFHANDLE_H

#include <cstdint>
#include <string>

#include "jpg.h"
#include "jpg/exif.hpp"
#include "limits.h"

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

  // As Reader::open.
  uint32_t open(const std::string &file, uint32_t flags, const Limits &limits, std::string *why);
  JPGEXIFHANDLE handle() const { return handle_; }

 private:
  JPGEXIFHANDLE handle_ = nullptr;
};

// All entries of a file; codes and reasons as those of ExifHandle::open.
uint32_t readExif(const std::string &file, uint32_t flags, const Limits &limits,
                  jpg::ExifData *data, std::string *why);

}  // namespace jpgtool

#endif
