// SPDX-License-Identifier: MIT
// Picture files as the tool reads them to encode, compare or show them, row by row from the top:
// PGM, PPM, PAM, BMP and PNG. Every kind becomes samples of one format.
#ifndef JPGTOOL_SAMPLEREADER_H
#define JPGTOOL_SAMPLEREADER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "limits.h"
#include "picture.h"

namespace jpgtool {

// A file, or standard input for "-".
class PictureFile {
 public:
  PictureFile() = default;
  ~PictureFile();
  PictureFile(const PictureFile &) = delete;
  PictureFile &operator=(const PictureFile &) = delete;

  uint32_t open(const std::string &name, std::string *why);  // 0 or a code, with the reason
  int peek();                                                // the next byte, EOF at the end
  int get();
  bool read(void *data, size_t size);
  // Called before the first read(), seek() can be used. What can't seek is read into memory.
  bool makeSeekable();
  bool seek(uint64_t position);
  std::vector<uint8_t> readRest();

 private:
  bool hold();

  std::FILE *file_ = nullptr;
  bool held_ = false;  // in memory
  std::vector<uint8_t> bytes_;
  size_t at_ = 0;
};

// One kind of file. begin() comes first; then read() delivers the rows: words in the machine's
// order, of three colours red first.
class SampleReader {
 public:
  virtual ~SampleReader() = default;
  // Reads the headers. 0 or a code, with the reason.
  virtual uint32_t begin(const Limits &limits, std::string *why) = 0;
  virtual bool read(uint8_t *row) = 0;  // false when the file ends early or is damaged
  const PixelFormat &format() const { return format_; }

 protected:
  // Checks the size of a picture to encode.
  uint32_t checkSize(const Limits &limits, std::string *why) const;

  PixelFormat format_;
};

std::unique_ptr<SampleReader> makePnmReader(PictureFile *file);
std::unique_ptr<SampleReader> makeBmpReader(PictureFile *file);
std::unique_ptr<SampleReader> makePngReader(PictureFile *file);  // null when built without libpng

// Opens a file of any of these kinds, told by its first byte.
class SampleFile {
 public:
  uint32_t open(const std::string &name, const Limits &limits, std::string *why);
  // The same for a file whose first byte the caller has looked at.
  PictureFile *file() { return &file_; }
  uint32_t begin(const Limits &limits, std::string *why);
  const PixelFormat &format() const { return reader_->format(); }
  bool read(uint8_t *row) { return reader_->read(row); }

 private:
  PictureFile file_;
  std::unique_ptr<SampleReader> reader_;
};

}  // namespace jpgtool

#endif
